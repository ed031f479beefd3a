#include "reports.h"

#include <stdio.h>

#include <regex>

#include "support/catalogue_writer.h"
#include "support/process.h"

namespace qrt::test {

Reported reportsOf(const std::function<std::string()>& work) {
  std::vector<CatalogueEntry> entries = {usualControl};
  for (const int number : {39, 40, 48, 49, 50, 53, 54, 55, 58, 59, 60, 61, 902, 903})
    entries.push_back({static_cast<uint16_t>(number), 1, "0 reported"});
  const Catalogue catalogue(entries);
  const Ended ended = inChild([&] { fputs(work().c_str(), stdout); });
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
