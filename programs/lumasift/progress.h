// How far a run has come, shown on a terminal.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace qrt::sift {

// From a second after it is made until its end, a line on standard error that tells how far the engine's runs
// of this process are; nothing where standard error is no terminal.
class Progress {
 public:
  Progress();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void showUntilEnd();

  std::mutex lock;
  std::condition_variable ending;
  bool ended = false;
  std::thread thread;
};

}  // namespace qrt::sift
