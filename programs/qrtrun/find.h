// The module of a main program, and the entry in it.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace qrt::run {

// Exit codes of qrtrun where no program ran; they are those that shells use.
inline constexpr int usageError = 2, cannotBeLoaded = 126, notFound = 127;

// Why no program runs; the text says what to do about it.
struct Failure : std::runtime_error {
  int exitCode;

  Failure(int code, const std::string& text) : std::runtime_error(text), exitCode(code) {}
};

struct MainProgram {
  std::string path;  // of the module
  int32_t (*entry)(void* argument);
};

// Loads a module, given by its path or by a bare name, and finds the entry of that name in it; an empty one
// stands for the module's base name or, without such an entry, for that in upper case. Throws a Failure.
MainProgram loadMainProgram(const std::string& module, const std::string& entry);

}  // namespace qrt::run
