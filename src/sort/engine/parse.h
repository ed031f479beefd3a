// The option language: an option text or the words of a command line into the options of a session.
#pragma once

#include <span>
#include <string_view>

#include "sort/engine/session.h"

namespace qrt::sort {

inline constexpr char usageText[] =
    "Usage: lumasift [-s MainFunction]...[Option][-x ExtendedOption]\n"
    "\t\t\t\t [-bdefinr][-k FieldRange]...[--]...[Infile]...";

// Release of the engine, as the trace shows it.
inline constexpr int32_t versionParts[] = {1, 2, 0};

// What the engine is called with. Everything stays the caller's and must live as long as the session.
struct EngineArguments {
  bool calledByProgram = true;             // false for a command line
  std::string_view text;                   // the option text; unused for a command line
  std::span<const char* const> arguments;  // the words of a command line behind the command's name
  const BufferRow* sources = nullptr;
  BufferRow* targets = nullptr;
  UserExit inputExit = nullptr;
  UserExit outputExit = nullptr;
  const uint8_t* collatingTable = nullptr;
  ErrorCallback errorCallback = nullptr;
  void* callbackContext = nullptr;
};

// Fills the options of a new session and its limits, opens message and trace file. Returns 0, or the run's
// return code after its message; 1 after the usage text.
int32_t prepare(SortSession& session, const EngineArguments& arguments);

// Writes the options to the trace, for human readers.
void traceOptions(SortSession& session);

}  // namespace qrt::sort
