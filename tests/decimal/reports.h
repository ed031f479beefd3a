// Messages as compiled code causes them: work done in a child process under a catalogue in which no message
// ends the run.
#pragma once

#include <functional>
#include <string>

namespace qrt::test {

struct Reported {
  std::string numbers;  // of the messages, in order, each followed by a blank
  std::string output;   // what the work returned
};

Reported reportsOf(const std::function<std::string()>& work);

std::string hexadecimal(const void* bytes, size_t count);

}  // namespace qrt::test
