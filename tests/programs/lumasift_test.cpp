// lumasift: its help, its exit codes, standard streams, and what an interrupted run leaves behind.
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "support/process.h"

using namespace qrt::test;

namespace {

const std::string command = QRT_BUILD_DIRECTORY "/bin/lumasift";

struct Folder {
  std::string path = "/tmp/qrtsiftXXXXXX";

  Folder() { path = mkdtemp(path.data()); }
  ~Folder() { std::filesystem::remove_all(path); }
  std::string lines(const std::string& name, size_t count) const {
    std::ofstream file(path + "/" + name);
    for (size_t line = 0; line < count; ++line) file << line * 7919 % 100003 << std::string(80, 'x') << "\n";
    return path + "/" + name;
  }
};

Ended shell(const std::string& words, const std::string& input = "") {
  return inChild([&] { execl("/bin/sh", "sh", "-c", words.c_str(), nullptr); }, input);
}

TEST(Lumasift, EndsWithTheEnginesCode) {
  const Folder folder;
  const std::string many = folder.lines("many", 20000);
  const struct {
    std::string words, input;
    int exitCode;
    std::string out, err;  // how they start
  } rows[] = {
      {command, "b\na", 0, "a\r\nb\n", "Lumasift: 7351-256 EOL assumed on input file <stdin>\n"},
      {command + " -r - -", "a\nb\n", 0, "b\na\n", "Lumasift: 7351-258 Total input: 4 bytes, 2 records\n"},
      {command + " -x nomsg", "b\na\n\x1A", 0, "a\nb\n", ""},
      {command + " -h", "", 1,
       "Usage: lumasift [-s MainFunction]...[Option][-x ExtendedOption]\n\t\t\t\t [-b", ""},
      {command + " --help", "", 0, "Usage: lumasift [-s MainFunction]", ""},
      {command + " --version", "", 0, "lumasift ", ""},
      {command + " -Z", "", 10, "", "Lumasift: 7351-010 Invalid option specified: -Z\n"},
      {command + " -c", "b\na\n", 1, "", "Lumasift: 7351-001 Record number 2 in <stdin> is not in order\n"},
      {command + " " + folder.path + "/none", "", 36, "", "Lumasift: 7351-036 "},
      {command + " -x 'msg " + folder.path + "/none/m'", "", 37, "",
       "Lumasift: 7351-037 Cannot open message file"},
      {command + " > /dev/full", "a\n", 35, "", "Lumasift: 7351-035 Write error on file <stdout>, rc=112\n"},
      {command + " < " + folder.path, "", 34, "", "Lumasift: 7351-034 Read error on file <stdin>, rc=21\n"},
      // The reader of the output goes away.
      {"{ " + command + " -T " + folder.path + " " + many + "; echo $? >&2; } | head -c 3", "", 0, "0xx",
       "Lumasift: 7351-035 Write error on file <stdout>, rc=32\n35\n"},
  };
  for (const auto& row : rows) {
    const Ended ended = shell(row.words, row.input);
    EXPECT_EQ(ended.exitCode, row.exitCode) << row.words << ended.err;
    EXPECT_EQ(ended.out.substr(0, row.out.size()), row.out) << row.words;
    EXPECT_EQ(ended.err.substr(0, row.err.size()), row.err) << row.words;
    EXPECT_EQ(ended.err.empty(), row.err.empty()) << ended.err;
  }
}

// A terminal that is closed fails behind what was typed; that isn't the end of a file.
TEST(Lumasift, SeesAReadThatFailsBehindSomeBytes) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const int other = open(ptsname(terminal), O_RDWR | O_NOCTTY);
  ASSERT_EQ(write(other, "b\na\n", 4), 4);
  close(other);
  const Ended ended = inChild([&] {
    dup2(terminal, STDIN_FILENO);
    execl(command.c_str(), "lumasift", nullptr);
  });
  close(terminal);
  EXPECT_EQ(ended.exitCode, 34);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "Lumasift: 7351-034 Read error on file <stdin>, rc=5\n");
}

// Interrupted with runs on disk, while it waits for more input: no file stays, and the code says so. Behind a
// second the terminal shows how far it is.
TEST(Lumasift, LeavesNothingWhenInterrupted) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const Folder folder;
    const std::string temporary = folder.path + "/temporary";
    std::filesystem::create_directory(temporary);
    const std::string lines = folder.lines("lines", 30000);
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    const std::string screen = ptsname(terminal);
    int input[2];
    ASSERT_EQ(pipe(input), 0);
    const pid_t child = fork();
    if (child == 0) {
      dup2(input[0], STDIN_FILENO);
      close(input[1]);
      dup2(open(screen.c_str(), O_RDWR | O_NOCTTY), STDERR_FILENO);
      execl(command.c_str(), "lumasift", "-T", temporary.c_str(), "-o", "/dev/null", lines.c_str(), "-",
            nullptr);
      _exit(99);
    }
    close(input[0]);
    // A run on disk and, once, the progress.
    std::string shown;
    while (std::filesystem::is_empty(temporary) ||
           std::filesystem::is_empty(*begin(std::filesystem::directory_iterator(temporary))))
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (signal == SIGINT) {
      char text[200];
      const ssize_t count = read(terminal, text, sizeof(text));
      shown.assign(text, static_cast<size_t>(std::max<ssize_t>(count, 0)));
      EXPECT_EQ(shown.rfind("\rlumasift: 2 MB read", 0), 0U) << shown;
    }
    kill(child, signal);
    int status;
    waitpid(child, &status, 0);
    close(input[1]);
    close(terminal);
    EXPECT_EQ(WEXITSTATUS(status), 255);
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
  }
}

}  // namespace
