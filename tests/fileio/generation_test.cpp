// Generation groups: names, the catalogue to the byte, what is dropped when, and the commands that are run.
#include <errno.h>
#include <sys/stat.h>

#include <chrono>
#include <numeric>
#include <span>

#include "fileio/plain_generation.h"
#include "generations.h"

using namespace qrt::test;

namespace {

struct Generations : InFolder {};

bool exists(const std::string& name) {
  return std::filesystem::exists(std::filesystem::symlink_status(name));
}

TEST_F(Generations, NamesPickGenerations) {
  std::filesystem::create_directory("d(0)");
  makeGroup("d(0)/G", {4, 5, 9});
  makeGroup("G", {9998, 9999, 1});
  makeGroup("EMPTY", {});
  makeFile("G.g0007v00", "found by its file");
  std::filesystem::create_directory("G.g0008v00");
  // Each name with what it stands for; "!" allows to make it. G(+9998) is found in an older wrap.
  for (const auto& [row, found] :
       rowsOf("d(0)/G = -1 d(0)/G | d(0)\\G(*) = -1 d(0)\\G | d(0)/G(0) = 1 d(0)/G.g0009v00 | "
              "d(0)/G(-00) = 1 d(0)/G.g0009v00 | d(0)/G(-2) = 1 d(0)/G.g0004v00 | "
              "d(0)/G(2) = 1 d(0)/G.g0004v00 | d(0)/G(-3) = 0 | d(0)/G(3) = 0 | d(0)/G(+1) = 0 | "
              "d(0)/G.g0004v00 = 1 d(0)/G.g0004v00 | !d(0)/G.g0000v00 = 0 | d(0)/G.g0004v01 = 0 | "
              "G(+1) = 0 | !G(+9998) = 1 G.g9999v00 | G(0) = 1 G.g0001v00 | G(+6) = 1 G.g0007v00 | "
              "G(0) = 1 G.g0007v00 | G.g0008v00 = 0 | !G(+9999) = 1 G.g0007v00 | EMPTY = -1 EMPTY | "
              "EMPTY(0) = 0 | EMPTY(1) = 0 | !UNKNOWN(+1) = 0 | !UNKNOWN = 0 | G(x) = 0 | G() = 0 | "
              "G(+) = 0 | G(0)  = 0 | !EMPTY(+1) = 1 EMPTY.g0001v00")) {
    const size_t start = row[0] == '!' ? 1 : 0;
    EXPECT_EQ(resolved(row.substr(start), start == 1), found) << row;
  }
  const std::string longest(259, 'x');
  for (const std::string& name :
       Texts{longest, longest + "x", "G(10000)", "G(-99999999999)", "(+1)", "", "d/", ".g0001v00"}) {
    errno = 0;
    EXPECT_EQ(resolved(name, true), "0") << name;
    EXPECT_EQ(errno == EINVAL, name != longest) << name;
  }
}

std::string fileOf(int generation) {
  char name[32];
  snprintf(name, sizeof(name), "G.g%04dv00", generation);
  return name;
}

using Model = qrt::fileio::plain::Group;

// Whether the catalogue is the model's, wherever its wraps start from.
bool agree(const Image& image, const Model& model) {
  const size_t size = model.entries.size();
  for (size_t at = 0; at < 1000; ++at) {
    const auto [wraps, generation] = at < size ? model.entries[at] : Model::Entry{};
    const int wrapsBack = at < size ? model.entries.back().first - wraps : 0;
    const uint32_t ofEntry = at < size ? image[wrap] - 0x8000u * static_cast<uint32_t>(wrapsBack) : 0;
    if (image[entries + at] != ofEntry + static_cast<uint32_t>(generation)) return false;
  }
  return image[count] == size && image[latest] == static_cast<uint32_t>(model.newest()) &&
         (image[wrap] & (size > 0 ? 0x7FFF : ~0u)) == 0;
}

// One random step, taken by the library and by the model.
void step(Model& model, std::mt19937& random, bool often) {
  const auto oneIn = [&](unsigned n) { return random() % n == 0; };
  const auto upTo = [&](unsigned n) { return 1 + static_cast<int>(random() % n); };
  if (oneIn(30) && !model.files.empty()) {  // a file goes behind the catalogue's back
    std::filesystem::remove(fileOf(*model.files.begin()));
    model.files.erase(model.files.begin());
  }
  const unsigned kind = random() % 12;
  if (kind == 0) {
    constexpr int ofWraps[] = {1, 999, 1000, 8999, 9000, 9999};  // where the sides of a wrap begin and end
    const int generation = oneIn(2) ? ofWraps[random() % 6] : (oneIn(2) ? 0 : 9699) + upTo(300);
    const bool create = oneIn(2);
    if (create || model.files.contains(generation)) model.add(generation);
    EXPECT_EQ(resolved(fileOf(generation), create), model.has(generation) ? "1 " + fileOf(generation) : "0");
  } else if (kind == 1 && !model.entries.empty()) {
    const int victim = model.entries[random() % model.entries.size()].second;
    if (!model.files.contains(victim)) return;
    EXPECT_EQ(GDS_unlink(fileOf(victim).c_str(), ""), 0);
    model.remove(victim);
  } else if (kind == 2 && (often || oneIn(50))) {
    if (often) model.limit = static_cast<size_t>(upTo(40));
    model.empty = oneIn(4);
    if (model.entries.size() > model.limit) model.makeRoom(0);
    const int set = (model.empty ? QRT_GDG_EMPTY : 0) | (model.scratch ? QRT_GDG_SCRATCH : 0);
    EXPECT_EQ(GDG_Alter("G", static_cast<int>(model.limit), -1, set, "sys"), 0);
  } else if (kind == 3 && (often || oneIn(50))) {
    model.removeMissing();
    EXPECT_EQ(GDG_Cleanup("G", "sys"), 0);
  } else {
    const int ahead = oneIn(8) ? upTo(60) : 1, generation = model.above(ahead);
    model.add(generation);
    EXPECT_EQ(resolved("G(+" + std::to_string(ahead) + ")", true), "1 " + fileOf(generation));
    if (oneIn(20)) return;
    makeFile(fileOf(generation), "x");
    model.files.insert(generation);
  }
}

TEST_F(Generations, RandomHistoriesAsModelled) {
  std::mt19937 random(74);
  for (const int limitOfGroup : {1, 2, 5, 40, 1000}) {
    const bool large = limitOfGroup == 1000;
    Model model;
    model.limit = static_cast<size_t>(limitOfGroup);
    model.scratch = !large;
    ASSERT_EQ(GDG_Create("G", limitOfGroup, 0, model.scratch ? QRT_GDG_SCRATCH : 0, "sys"), 0);
    model.add(9950);
    resolved(fileOf(9950), true);
    for (int steps = large ? 1500 : 600; steps > 0; --steps) {
      step(model, random, !large);
      ASSERT_TRUE(agree(imageOf("G"), model)) << "limit " << limitOfGroup << ", " << steps << " to go";
    }
    EXPECT_EQ(GDG_Unlink("G(*)", "sys"), 0);
    for (const int generation : model.files)
      ASSERT_EQ(exists(fileOf(generation)), large || !model.has(generation));
    EXPECT_FALSE(exists("G.catalogue"));
    for (const auto& file : std::filesystem::directory_iterator(".")) std::filesystem::remove(file);
  }
}

TEST_F(Generations, NumbersOfWrapsRunOut) {
  GDG_Create("G", 10, 0, 0, "sys");
  Image image = imageOf("G");
  const uint32_t before[] = {0xFFFF0000 + 9998, 0xFFFF8000 + 2, 0xFFFF8000 + 9999},
                 after[] = {9998, 0x8000 + 2, 0x8000 + 9999, 0x10000 + 1};
  image[count] = 3;
  std::ranges::copy(before, image.begin() + entries);
  writeImage("G", image);
  resolved("G(+1)", true);
  image = imageOf("G");
  EXPECT_TRUE(image[count] == 4 && std::ranges::equal(after, std::span(image).subspan(entries, 4)));
}

TEST_F(Generations, CatalogueFilesToTheByte) {
  ASSERT_EQ(GDG_Create("G", 7, 30, 0xFF, "krd"), 0);
  struct stat state;
  ASSERT_EQ(stat("G.catalogue", &state), 0);
  EXPECT_EQ(state.st_mode & 0777, 0600u);
  Image image = imageOf("G");
  image[flags] &= 0xFFFFFF;
  EXPECT_EQ(image, (Image{0x0A474447, 1234, 1, 7, 30, 3, 0, 0, 0, 2}));

  std::filesystem::remove("G.catalogue");
  makeGroup("G", {9999, 1}, 9, QRT_GDG_EMPTY | QRT_GDG_SCRATCH);
  image = imageOf("G");
  EXPECT_EQ(std::vector(image.begin() + entries, image.begin() + entries + 2),
            (std::vector<uint32_t>{9999, 0x8001}));
  EXPECT_EQ(std::vector(image.begin() + 6, image.begin() + 9), (std::vector<uint32_t>{2, 1, 0x8000}));
  const auto changed = [image](size_t word, uint32_t value) {
    Image other = image;
    other[word] = value;
    return other;
  };
  Image foreign = image;
  for (uint32_t& word : foreign) word = __builtin_bswap32(word);
  foreign[magic] = image[magic];
  Image foreignAndNew = foreign;
  foreignAndNew[version] = __builtin_bswap32(2);
  const std::string swapped = "Info: Endian swapped!\n", future = "Error: GDG catalogue version unkown!\n";
  struct {
    Image image;
    size_t bytes;
    const char* found;
    std::string told;
  } const table[] = {{image, 4096, "1 G.g0001v00", ""},
                     {foreign, 4096, "1 G.g0001v00", swapped},
                     {image, 4095, "0", ""},
                     {image, 0, "0", ""},
                     {changed(magic, 0), 4096, "0", ""},
                     {changed(version, 2), 4096, "0", future},
                     {changed(version, 0), 4096, "0", ""},
                     {foreignAndNew, 4096, "0", swapped + future},
                     {changed(count, 1001), 4096, "0", ""},
                     {changed(count, 0x80000000), 4096, "0", ""},
                     {changed(latest, 77), 4096, "1 G.g0001v00", ""}};
  for (const auto& row : table) {
    writeImage("G", row.image, row.bytes);
    const std::string before = contentOf("G.catalogue");
    const Ended ended = inChild([] { printf("%s", resolved("G(0)").c_str()); });
    EXPECT_EQ(ended.out + ended.err, row.found + row.told);
    // One of the other byte order is written back in this one, without Empty and Scratch.
    Image after = row.bytes == 4096 ? imageOf("G") : image;
    if (row.told == swapped) after[flags] &= 0xFFFF;
    EXPECT_TRUE(row.told == swapped ? after == changed(flags, 0) : contentOf("G.catalogue") == before);
  }
}

TEST_F(Generations, AgeAndSizeKeepGenerations) {
  makeGroup("G", {1, 2}, 2);
  EXPECT_EQ(GDG_Alter("G", -1, 7, -1, nullptr), 0);
  const auto setAge = [](int generation, std::chrono::seconds age) {
    last_write_time(std::filesystem::path(fileOf(generation)),
                    std::filesystem::file_time_type::clock::now() - age);
  };
  constexpr std::chrono::hours week(7 * 24);
  setAge(1, week - std::chrono::minutes(1));
  EXPECT_EQ(resolved("G(+1)", true), "1 G.g0003v00");
  EXPECT_EQ(imageOf("G")[count], 3u) << "above the limit, for the oldest is too young";
  makeFile("G.g0003v00", "");
  setAge(1, week);
  EXPECT_EQ(resolved("G(+1)", true), "1 G.g0004v00");
  EXPECT_EQ(imageOf("G")[count], 3u) << "the first of two goes, the second stops the walk";
  EXPECT_FALSE(exists("G.g0001v00"));
  EXPECT_EQ(GDG_Unlink("G", nullptr), 0);
  EXPECT_FALSE(exists("G.g0002v00") || exists("G.catalogue")) << "whatever their age";

  GDG_Create("G", 1000, 1, QRT_GDG_EMPTY, "sys");
  Image image = imageOf("G");
  image[count] = 1000;
  std::iota(image.begin() + entries, image.end(), 1u);
  writeImage("G", image);
  makeFile("G.g0001v00", "");
  image = imageOf("G");
  EXPECT_EQ(resolved("G(+1)", true), "0");
  EXPECT_EQ(imageOf("G"), image);
}

TEST_F(Generations, GenerationsFailuresAndWarningsAreShown) {
  std::filesystem::create_directories("D.catalogue");
  makeGroup("G", {1, 2, 3}, 3);
  std::filesystem::remove("G.g0001v00");
  setenv("QDBINSTANCE", "i", 1);
  setenv("HOME", folder, 1);
  const std::string shown = inChild([] { GDG_Print("G", ""); }).out;
  EXPECT_EQ(shown.substr(shown.find("  Entries")),
            "  Entries     = 3\n  GDS:\n1            0: G.g0001v00 (missing)\n2            0: G.g0002v00\n"
            "3            0: G.g0003v00\n");
  const std::string told = apart([] {
    std::string results;
    for (const int result :
         {GDG_Create(nullptr, 1, 0, 0, ""), GDG_Create("N", 1001, 0, 0, ""), GDG_Create("./G", 1, 0, 0, ""),
          GDG_Create("G.g0002v00/N", 1, 0, 0, ""), GDG_Print("N(*)", ""), GDG_Print("D", ""),
          GDG_Print("G(3)", ""), GDG_Print("G(-3)", ""), GDG_Print("G(-2)", ""),
          GDG_Alter("G", 1, -1, -1, "QDB"), GDS_unlink("N(0)", ""),
          // From here on they succeed.
          GDG_Create("new/er/N", 1, 0, 0, ""), GDS_unlink("G(+1)", ""), GDS_unlink("G(2)", ""),
          GDG_Alter("G", 1, -1, -1, "hdu"), GDS_unlink("G", ""), GDG_Create("T", 0, 3, -1, "ORA")})
      results += result == 0 ? '+' : '-';
    EXPECT_EQ(results, "-----------++++++");
  });
  EXPECT_EQ(told,
            "Error: GDG_Create name/limit invalid\nError: GDG_Create name/limit invalid\n"
            "Error: GDG ./G already exists.\n"
            "Could not create catalogue structure\nTried G.g0002v00\n tune $gdg_home?\n"
            "Error: GDG N not found.\nError: GDG catalogue ./D.catalogue is not regular.\n"
            "Error: Direct access exceeds the entries allocated for GDG G\n"
            "Error: Relative access exceeds the entries allocated for GDG G\nError: GDS G not found.\n"
            "Error: GDG G not found.\n"
            "Error: GDG_remove:unlink(G.g0001v00) - 2 No such file or directory\n"
            "Warning: Changing File System from sys to hdu\n"
            "If this is unintended, please reset it before doinganything else!\n"
            "Warning: File System ora does not support the -D option, forcing a value of 0!\n");
}

// The programs of the file server and the database write down their words, and fail for a name with "gone".
TEST_F(Generations, RunsCommandsWithoutAShell) {
  std::filesystem::create_directory("bin");
  for (const char* program : {"bin/kfsadmin", "bin/qdb"}) {
    makeFile(program,
             "#!/bin/sh\necho noise; echo noise >&2\n{ printf '%s' \"${0##*/}\"; printf '[%s]' "
             "\"$@\"; echo; } >>" +
                 std::string(folder) + "/log\ncase \"$*\" in *gone*) exit 1;; esac\n");
    chmod(program, 0755);
  }
  setenv("PATH", (std::string(folder) + "/bin:" + path).c_str(), 1);
  setenv("gdg_home", (std::string(folder) + "/home").c_str(), 1);
  setenv("TRAX_TK_KFS_SERVER", "/.:/srv's; touch x", 1);
  const std::string evil = "$(touch x);a b*\"";
  const auto lifeOf = [&](const std::string& base, const char* letters) {
    EXPECT_EQ(GDG_Create(base.c_str(), 1, 0, -1, letters), 0);
    for (const char* const suffix : {".g0001v00", ".g0002v00"})
      EXPECT_EQ(resolved(base + "(+1)", true, letters), "1 " + base + suffix);
    const std::string lines = contentOf("log");
    std::filesystem::remove("log");
    return lines;
  };
  // The oldest is asked for before it is deleted.
  EXPECT_EQ(lifeOf(evil, "kfs"), "kfsadmin[query][file][-server][/.:/srv's; touch x][" + evil +
                                     ".g0001v00]\nkfsadmin[destroy][file][-server][/.:/srv's; touch x][" +
                                     evil + ".g0001v00]\n");
  EXPECT_TRUE(exists("home/kfs/srv's; touch x/" + evil + ".catalogue"));
  setenv("HELVA_CDS_ROOT", "/.:", 1);
  EXPECT_EQ(lifeOf("/.:/top/gone", "xxx"),
            "kfsadmin[query][file][-server][/.:/srv's; touch x//.:/top][gone.g0001v00]\n");
  EXPECT_TRUE(exists("home/kfs/top/gone.catalogue"));
  setenv("QDBINSTANCE", "inst", 1);
  EXPECT_EQ(lifeOf("d/S.T b", "qdb"),
            "qdb[describe][table][S.\"T b.g0001v00\"]\nqdb[drop][table][S.\"T b.g0001v00\"]\n");
  EXPECT_TRUE(exists("home/qdb/inst/S.T b.catalogue"));
  setenv("QDBDBDFT", "data", 1);
  EXPECT_EQ(lifeOf("a.b/T", "QDBx"), "") << "no schema, no table";
  EXPECT_TRUE(exists("home/qdb/inst/data/T.catalogue"));
  EXPECT_FALSE(exists("x"));
}

TEST_F(Generations, CompanionsGoWithTheirFile) {
  const std::string directory = "d; *", base = directory + "/b*'c";
  ASSERT_EQ(GDG_Create(base.c_str(), 5, 0, -1, "hdu"), 0);
  ASSERT_EQ(resolved(base + "(+1)", true, "hdu"), "1 " + base + ".g0001v00");
  const std::string file = "b*'c.g0001v00";
  const Texts gone = {file,         "." + file + ".GXMEA",   "." + file + ".GXMMAP",
                      "@" + file,   ".@" + file + ".GXMEA",  file + ".@1",
                      file + ".@*", "." + file + ".@2.GXMEA"},
              kept = {"bXXc.g0001v00.@1", ".bX'c.g0001v00.@2.GXMEA", "d", "." + file + ".@3"};
  for (const Texts* const names : {&gone, &kept})
    for (const std::string& name : *names) makeFile(directory + "/" + name, "x");
  EXPECT_EQ(resolved(base + ".g0001v00", false, "hdu"), "1 " + base + ".g0001v00");
  EXPECT_EQ(GDS_unlink((base + "(0)").c_str(), "hdu"), 0);
  for (const std::string& name : gone) EXPECT_FALSE(exists(directory + "/" + name)) << name;
  for (const std::string& name : kept) EXPECT_TRUE(exists(directory + "/" + name)) << name;
  // A companion makes a plain file one of that kind, and a missing one makes it a missing file.
  makeGroup("P", {1, 2});
  makeFile(".P.g0002v00.GXMEA", "");
  resolved("P(0)");
  EXPECT_EQ(imageOf("P")[fileSystem], 2u);
  EXPECT_EQ(GDG_Cleanup("P", nullptr), 0);
  EXPECT_EQ(imageOf("P")[entries], 2u);
  EXPECT_TRUE(exists("P.g0001v00"));
}

}  // namespace
