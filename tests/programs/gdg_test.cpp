// The program gdg, run as a user does.
#include <qrtrlib.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

#include "support/process.h"

using namespace qrt::test;

namespace {

Ended gdg(std::vector<std::string> words) {
  return inChild([&] {
    std::vector<char*> arguments{const_cast<char*>("gdg")};
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(QRT_BUILD_DIRECTORY "/bin/gdg", arguments.data());
    _exit(99);
  });
}

TEST(Gdg, LooksAfterAGroup) {
  char folder[] = "/tmp/qrtXXXXXX";
  std::filesystem::current_path(mkdtemp(folder));
  struct {
    std::vector<std::string> words;
    int code;
    const char *out, *err;  // what is among the lines; null for none
  } const table[] = {
      {{"--version"}, 0, "gdg ", nullptr},
      {{"alter", "--help"}, 0, "--noscratch", nullptr},
      {{}, 2, nullptr, "subcommand"},
      {{"create", "--limit", "1001", "G"}, 2, nullptr, "1001"},
      {{"create", "--file-system", "abc", "G"}, 2, nullptr, "abc"},
      {{"create", "G", "H", "--limit", "3", "--empty", "--file-system", "PLT"}, 0, nullptr, nullptr},
      {{"create", "G"}, 1, nullptr, "Error: GDG G already exists.\ngdg: create G failed\n"},
      {{"create", "G(+1)"}, 1, nullptr, "no name or number"},
      {{"alter", "G", "--empty"}, 2, nullptr, "both or none"},
      {{"alter", "G", "--days", "4"}, 0, nullptr, nullptr},
      {{"print", "N", "G", "H"},
       1,
       "Limit       = 3\n  Days        = 4\n  Empty\n  Scratch",
       "gdg: print N failed"},
      {{"alter", "G", "--noempty", "--noscratch"}, 0, nullptr, nullptr},
      {{"print", "G(*)"}, 0, "NoEmpty\n  NoScratch", nullptr},
      {{"cleanup", "G"}, 0, nullptr, nullptr},
      {{"delete", "G(0)"}, 1, nullptr, "not found"},
      {{"delete", "G", "H"}, 0, nullptr, nullptr},
      {{"delete", "G"}, 1, nullptr, "not found"},
  };
  for (const auto& row : table) {
    const Ended ended = gdg(row.words);
    const std::string words = testing::PrintToString(row.words);
    EXPECT_EQ(ended.exitCode, row.code) << words;
    EXPECT_TRUE(row.out == nullptr ? ended.out.empty() : ended.out.find(row.out) != ended.out.npos)
        << words << ended.out;
    EXPECT_TRUE(row.err == nullptr ? ended.err.empty() : ended.err.find(row.err) != ended.err.npos)
        << words << ended.err;
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  std::filesystem::current_path("/");
  std::filesystem::remove(folder);
}

}  // namespace
