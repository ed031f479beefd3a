// What the end of a process looks like from outside: code run in a child, its exit code and what it wrote.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <functional>

namespace qrt::test {

struct Ended {
  int exitCode = -1;  // of a normal exit; -1 when a signal ended the child
  int signal = 0;     // 0 for a normal exit
  std::string out, err;
};

// Where a process may make a folder of its own, in memory where the machine has such a place.
inline std::string scratchFolder(pid_t process) {
  return (std::filesystem::exists("/dev/shm") ? "/dev/shm/qrt." : "/tmp/qrt.") + std::to_string(process);
}

// Runs `work` in a forked child with standard input from `input`; a child that returns from `work` exits 0.
// Its scratch folder goes with it.
Ended inChild(const std::function<void()>& work, const std::string& input = "");

// Runs expectations in a process of their own. Returns what it wrote on standard error.
std::string apart(const std::function<void()>& work);

}  // namespace qrt::test
