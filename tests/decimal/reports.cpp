#include "reports.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <regex>

#include "support/process.h"

namespace qrt::test {
namespace {

// The binary form of a catalogue: a header of 32 bytes with the count of entries at 30, entries of number,
// variant and offset of the text, then the texts.
std::string harmlessCatalogue() {
  static constexpr uint16_t numbers[] = {39, 40, 48, 49, 50, 58, 59, 60, 61, 902, 903, 9999};
  std::string catalogue(32 + 8 * std::size(numbers), '\0'), texts;
  const auto put = [&](size_t at, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) catalogue[at + i] = static_cast<char>(value >> 8 * i);
  };
  put(30, std::size(numbers), 2);
  for (size_t i = 0; i < std::size(numbers); ++i) {
    put(32 + 8 * i, numbers[i], 2);
    put(34 + 8 * i, 1, 2);
    put(36 + 8 * i, static_cast<uint32_t>(catalogue.size() + texts.size()), 4);
    texts += (numbers[i] == 9999 ? "0 QRT IEEE 4096" : "0 reported") + std::string(1, '\0');
  }
  return catalogue + texts;
}

}  // namespace

Reported reportsOf(const std::function<std::string()>& work) {
  char folder[] = "/tmp/catalogueXXXXXX";
  const std::string path = std::string(mkdtemp(folder)) + "/qrtremsg.cat";
  const std::string catalogue = harmlessCatalogue();
  FILE* file = fopen(path.c_str(), "wb");
  fwrite(catalogue.data(), 1, catalogue.size(), file);
  fclose(file);
  const Ended ended = inChild([&] {
    setenv("NLSPATH", (std::string(folder) + "/%n").c_str(), 1);
    fputs(work().c_str(), stdout);
  });
  unlink(path.c_str());
  rmdir(folder);
  Reported reported{"", ended.out};
  const std::regex code("QRT([0-9]{3})I");
  for (std::sregex_iterator at(ended.err.begin(), ended.err.end(), code), end; at != end; ++at)
    reported.numbers += std::to_string(std::stoi((*at)[1])) + " ";
  return reported;
}

std::string hexadecimal(const void* bytes, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    char pair[3];
    snprintf(pair, sizeof pair, "%02X", static_cast<const unsigned char*>(bytes)[i]);
    text += pair;
  }
  return text;
}

}  // namespace qrt::test
