// The program gdg, run as a user does.

#include "fileio/file_program.h"

using namespace qrt::test;

namespace {

using Gdg = InFolder;

Ended gdg(const std::string& words) {
  return inChild([&] {
    execl("/bin/sh", "sh", "-c", ("exec " QRT_BUILD_DIRECTORY "/bin/gdg " + words).c_str(), nullptr);
  });
}

TEST_F(Gdg, LooksAfterAGroup) {
  struct {
    const char* words;
    int code;
    std::string out, err;  // what is among the lines
  } const table[] = {
      {"--version", 0, "gdg ", ""},
      {"alter --help", 0, "--noscratch", ""},
      {"", 2, "", "subcommand"},
      {"create --limit 1001 G", 2, "", "1001"},
      {"create G H --limit 3 --empty --file-system PLT", 0, "", ""},
      {"create G", 1, "", "Error: GDG G already exists.\ngdg: create G failed\n"},
      {"create 'G(+1)'", 1, "", "no name or number"},
      {"alter G --empty", 2, "", "both or none"},
      {"alter G --days 4", 0, "", ""},
      {"print N G H", 1, "= 3\n  Days        = 4\n  Empty\n  Scratch", "gdg: print N failed"},
      {"alter G --noempty --noscratch", 0, "", ""},
      {"print 'G(*)'", 0,
       "GDG: G\n  Catalogue   = ./G.catalogue\n  Limit       = 3\n  Days        = 4\n  NoEmpty\n"
       "  NoScratch\n  Entries     = 0\n",
       ""},
      {"delete 'G(0)'", 1, "", "not found"},
      {"delete G H", 0, "", ""},
      {"delete G", 1, "", "not found"}};
  for (const auto& row : table) {
    const Ended ended = gdg(row.words);
    EXPECT_EQ(ended.exitCode, row.code) << row.words;
    EXPECT_TRUE(ended.out.find(row.out) != ended.out.npos && ended.out.empty() == row.out.empty())
        << ended.out;
    EXPECT_TRUE(ended.err.find(row.err) != ended.err.npos && ended.err.empty() == row.err.empty())
        << ended.err;
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder));
}

}  // namespace
