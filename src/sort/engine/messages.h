// Messages of the engine, its trace, and the totals at the end of a run.
#pragma once

#include <stdint.h>

#include <string_view>

#include "sort/engine/session.h"

namespace qrt::sort {

// One value of a message: a terminated text, or a number.
struct Insert {
  const char* text;
  int64_t number;

  Insert(const char* value) : text(value), number(0) {}
  Insert(int64_t value) : text(nullptr), number(value) {}
  Insert(int32_t value) : text(nullptr), number(value) {}
};

// Messages below this are errors: the first one ends the run and is its return code.
inline constexpr int32_t firstWarning = 256;

// Gives a message of the calling thread's session: the catalogue's text, else the built-in one. Once there
// was an error, nothing further is said. Returns the run's code for it (1 for message 2), so that a failing
// function can return it.
int32_t message(int32_t number);
int32_t message(int32_t number, Insert first);
int32_t message(int32_t number, Insert first, Insert second);

// Message 254; the run's return code is `code`, which is returned.
int32_t internalError(int32_t code);

// Message 73.
int32_t noMemory(size_t bytes);

// The text of a message with its inserts, cut to `capacity` and terminated; returns its length. `format`
// takes printf's %d, %u, %x and %s with "N$", flags and width; a value is shown by its own kind.
size_t formatMessage(char* target, size_t capacity, const char* format, const Insert* inserts, int32_t count);

// A line of the trace, as printf makes it; nothing happens unless a trace file is open and the calling thread
// is the session's own.
[[gnu::format(printf, 2, 3)]] void trace(SortSession& session, const char* format, ...);

// The entry and the exit of a traced function.
class TracedCall {
 public:
  TracedCall(SortSession& session, const char* name);
  ~TracedCall();
  TracedCall(const TracedCall&) = delete;
  TracedCall& operator=(const TracedCall&) = delete;

  // Notes the result for the exit line and passes it on.
  int32_t returns(int32_t result) {
    hasResult = true;
    return this->result = result;
  }

 private:
  SortSession& session;
  int32_t result = 0;
  bool hasResult = false;
};

// Reads the message catalogue that NLSPATH leads to; its absence is no failure.
void readCatalogue(SortSession& session);

// Message 278, for a program with a message file.
void writeStartLine(SortSession& session);

// The totals of a run whose return code is 0.
void writeTotals(SortSession& session);

// Traps signals for the session's life, unless it doesn't want that.
class SignalTrap {
 public:
  explicit SignalTrap(SortSession& session);
  ~SignalTrap();
  SignalTrap(const SignalTrap&) = delete;
  SignalTrap& operator=(const SignalTrap&) = delete;

 private:
  bool trapping;
};

}  // namespace qrt::sort
