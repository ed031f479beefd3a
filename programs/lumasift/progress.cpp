// How far a run has come, shown on a terminal.
#include "progress.h"

#include <inttypes.h>
#include <stdio.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "platform/streams.h"
#include "sort/engine/work_state.h"

namespace qrt::sift {
namespace {

using namespace std::chrono_literals;

std::string percentage(int64_t part, int64_t whole) {
  return whole <= 0 ? "" : ", " + std::to_string(std::min<int64_t>(100 * part / whole, 100)) + " %";
}

// The figures are the session's own thread's: a look from beside, a moment old.
std::string describe(const sort::SortSession& session) {
  const sort::RunCounters& counters = session.run->counters;
  const int64_t read = counters.bytesRead, passed = counters.recordsPassed, written = counters.recordsWritten;
  char text[64];
  if (written > 0 && session.options->mainFunction == sort::MainFunction::sort) {
    snprintf(text, sizeof(text), "%" PRId64 " records written", written);
    return text + percentage(written, passed);
  }
  const sort::SortWorkState* const work = session.work;
  snprintf(text, sizeof(text), "%" PRId64 " MB read", read / 1000000);
  return text + percentage(read, work != nullptr ? work->inputSize : 0);
}

void show() {
  std::string line;
  sort::forEachSession(
      [](sort::SortSession* session, void* shown) { *static_cast<std::string*>(shown) = describe(*session); },
      &line);
  if (!line.empty()) fprintf(stderr, "\rlumasift: %s\033[K", line.c_str());
}

}  // namespace

Progress::Progress() {
  if (platform::isInteractive(stderr)) thread = std::thread([this] { showUntilEnd(); });
}

Progress::~Progress() {
  if (!thread.joinable()) return;
  {
    const std::scoped_lock hold(lock);
    ended = true;
  }
  ending.notify_one();
  thread.join();
}

void Progress::showUntilEnd() {
  std::unique_lock hold(lock);
  bool shown = false;
  for (auto pause = 1000ms; !ending.wait_for(hold, pause, [this] { return ended; }); pause = 250ms) {
    show();
    shown = true;
  }
  if (shown) fprintf(stderr, "\r\033[K");
}

}  // namespace qrt::sift
