#include "support/process.h"

#include <sys/wait.h>

namespace qrt::test {
namespace {

// A temporary file that is gone when it is closed.
struct Capture {
  FILE* file = tmpfile();
  ~Capture() { fclose(file); }

  std::string text() {
    std::string all;
    rewind(file);
    for (int character; (character = getc(file)) != EOF;) all += static_cast<char>(character);
    return all;
  }
};

}  // namespace

Ended inChild(const std::function<void()>& work, const std::string& input) {
  Capture in, out, err;
  fwrite(input.data(), 1, input.size(), in.file);
  fflush(in.file);
  lseek(fileno(in.file), 0, SEEK_SET);
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(in.file), STDIN_FILENO);
    dup2(fileno(out.file), STDOUT_FILENO);
    dup2(fileno(err.file), STDERR_FILENO);
    work();
    fflush(nullptr);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::filesystem::remove_all(scratchFolder(child));
  Ended ended;
  if (WIFEXITED(status)) ended.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) ended.signal = WTERMSIG(status);
  ended.out = out.text();
  ended.err = err.text();
  return ended;
}

std::string apart(const std::function<void()>& work) {
  const Ended ended = inChild([&] {
    work();
    exit(testing::Test::HasFailure());
  });
  EXPECT_EQ(ended.exitCode, 0) << ended.out << ended.err;
  return ended.err;
}

}  // namespace qrt::test
