// Arbitrary command lines are cut into the words that the plain rules give. No program is started.
#include "program/command_line.h"

#include <stdint.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::string> plainWords(const std::string& line) {
  std::vector<std::string> words(1);
  bool quoted = false;
  for (size_t at = 0; at < line.size(); ++at) {
    if (line[at] == '"') quoted = !quoted;
    const bool separator = line[at] == ' ' && !quoted;
    if (separator && (at == 0 || line[at - 1] != ' ' || words.back() != "")) words.emplace_back();
    if (!separator && (line[at] != '"' || words.size() > 1)) words.back() += line[at];
  }
  return words;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string line(reinterpret_cast<const char*>(data),
                         strnlen(reinterpret_cast<const char*>(data), size));
  const auto exact = std::make_unique<char[]>(line.size() + 1);  // a sanitizer sees the first byte beyond
  memcpy(exact.get(), line.c_str(), line.size() + 1);
  const auto command = std::make_unique<qrt::program::CommandLine>();
  const std::vector<std::string> words = plainWords(line);
  if (command->split(exact.get()) != (line.size() <= 511 && words.size() <= 19)) abort();
  if (line.size() > 511 || words.size() > 19) return 0;
  size_t at = 0;
  for (; command->words[at] != nullptr; ++at)
    if (at >= words.size() || command->words[at] != words[at]) abort();
  if (at != words.size()) abort();
  return 0;
}
