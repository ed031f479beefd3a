// Merge of sources and check of their order, over files.
#include <gtest/gtest.h>

#include "command.h"

namespace {

using namespace qrt::test;

// Only the first of the lines that start with the same key.
std::string firstOfEach(const std::string& lines) {
  std::istringstream stream(lines);
  std::string kept, last;
  for (std::string line; std::getline(stream, line); last = line)
    if (last.empty() || line.compare(0, 6, last, 0, 6) != 0) kept += line + "\n";
  return kept;
}

TEST(MainMerge, JoinsAnyNumberOfSources) {
  std::mt19937 random(31);
  for (const size_t count : {1, 2, 16, 255, 256, 257, 600}) {
    const Directory directory;
    std::vector<std::string> words = {"-m", "-k1.1,1.6", "-T", directory.path, "-o", directory / "output"};
    std::string all;
    for (size_t source = 0; source < count; ++source) {
      const std::string lines = sortedLines(makeLines(random() % 40, 300, random() % 30, random));
      words.push_back(directory / std::to_string(source).c_str());
      std::ofstream(words.back(), std::ios::binary) << lines;
      all += lines;
    }
    ASSERT_EQ(runCommand(words), 0);
    EXPECT_TRUE(contentOf(directory / "output") == sortedLines(all)) << count << " sources";
    words.insert(words.begin(), "-u");
    ASSERT_EQ(runCommand(words), 0);
    EXPECT_TRUE(contentOf(directory / "output") == firstOfEach(sortedLines(all))) << count << " sources, -u";
  }
}

TEST(MainSort, KeepsTheFirstOfEqualKeysThroughAllRuns) {
  std::mt19937 random(32);
  const Directory directory;
  const std::string lines = makeLines(5000, 400, 3, random);
  std::ofstream(directory / "input", std::ios::binary) << lines;
  for (const int32_t sortBuffer : {300, 5000, 1000000}) {
    ASSERT_EQ(
        runCommand({"-u", "-k1.1,1.6", "-T", directory.path, "-o", directory / "output", directory / "input"},
                   [&](auto& work) { work.sizes.sortBuffer = sortBuffer; }),
        0);
    EXPECT_TRUE(contentOf(directory / "output") == firstOfEach(sortedLines(lines)));
  }
}

TEST(MainCheck, FindsTheFirstRecordOutOfOrderInEachSource) {
  const Directory directory;
  const struct {
    std::vector<const char*> sources;
    std::vector<std::string> options;
    int32_t expected;
    const char* told;
  } cases[] = {
      {{"a\nb\nc\n"}, {}, 0, ""},
      {{"a\nb\nb\nc\n"}, {}, 0, ""},
      {{"a\nb\nb\nc\n"}, {"-u"}, 1, "002 Equal-keyed records detected"},
      {{"a\nc\nb\nd\n"}, {}, 1, "001 Record number 3 in <0> is not in order"},
      {{"a\nc\nb\nd\n"}, {"-r"}, 1, "001 Record number 2 in <0> is not in order"},
      {{"x\ny\n", "a\nb\n"}, {}, 0, ""},
      {{"x\ny\n", "a\nc\nb\n"}, {}, 1, "001 Record number 3 in <1> is not in order"},
      {{"z\na\nb\n"}, {"-x", "skiprec 1"}, 0, ""},
      {{"a\nz\nb\n"}, {"-x", "select 1 lt \"x\""}, 0, ""},
      {{"", "a\n", ""}, {}, 0, ""},
  };
  for (const auto& [sources, options, expected, told] : cases) {
    std::vector<std::string> words = {"-c", "-x", "msg " + (directory / "told")};
    words.insert(words.end(), options.begin(), options.end());
    for (size_t source = 0; source < sources.size(); ++source) {
      words.push_back(directory / std::to_string(source).c_str());
      std::ofstream(words.back(), std::ios::binary) << sources[source];
    }
    EXPECT_EQ(runCommand(words), expected) << sources[0];
    std::string text = contentOf(directory / "told");
    if (const size_t at = text.find(directory.path + "/"); at != std::string::npos)
      text.erase(at, directory.path.size() + 1);
    EXPECT_EQ(text, *told == 0 ? "" : std::string("Lumasift: 7351-") + told + "\n") << sources[0];
  }
}

}  // namespace
