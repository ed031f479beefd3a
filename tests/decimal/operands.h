// Operands of decimal services: random packed items, their digits as text, results between guard bytes; and
// the messages that compiled code causes.
#pragma once

#include "support/catalogue_writer.h"
#include "support/guards.h"

namespace qrt::test {

using Bytes = std::vector<uint8_t>;

inline std::mt19937_64 random_(20261124);

inline int32_t below(int32_t bound) {
  return static_cast<int32_t>(random_() % static_cast<uint32_t>(bound));
}

struct Reported {
  std::string numbers;  // of the messages, in order, each followed by a blank
  std::string output;   // what the work returned
};

// Work done in a child process under a catalogue in which no message ends the run.
inline Reported reportsOf(const std::function<std::string()>& work) {
  std::vector<CatalogueEntry> entries = {usualControl};
  for (const int number : {39, 40, 48, 49, 50, 53, 54, 55, 58, 59, 60, 61, 902, 903})
    entries.push_back({static_cast<uint16_t>(number), 1, "0 reported"});
  const Catalogue catalogue(entries);
  const Ended ended = inChild([&] { fputs(work().c_str(), stdout); });
  Reported reported{"", ended.out};
  for (size_t at = 0; (at = ended.err.find("QRT", at)) != std::string::npos; at += 3)
    reported.numbers += std::to_string(std::stoi(ended.err.substr(at + 3, 3))) + " ";
  return reported;
}

// The bytes of an item, or of a text, as two digits each.
inline std::string hexadecimal(const auto& bytes) {
  std::string text;
  for (const uint8_t byte : bytes) text += {"0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
  return text;
}

inline const uint8_t* bytes(const std::string& text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

// The bytes of a text in hexadecimal.
inline Bytes fromHexadecimal(const std::string& text) {
  Bytes bytes;
  for (size_t at = 0; at < text.size(); at += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoi(text.substr(at, 2), nullptr, 16)));
  return bytes;
}

// A valid packed item: often with leading zeros, any sign nibble, now and then a digit in the spare nibble.
inline Bytes anyItem(int32_t digits) {
  const int32_t spare = digits % 2 == 0, zeros = below(3) == 0 ? below(digits + 1) : 0;
  std::string text(digits + spare, '0');
  for (int32_t at = spare + zeros; at < digits + spare; ++at) text[at] = static_cast<char>('0' + below(10));
  if (spare != 0 && below(8) == 0) text[0] = static_cast<char>('0' + below(10));
  return fromHexadecimal(text + "ABCDEF"[below(6)]);
}

inline std::string digitsOf(const Bytes& item, int32_t digits) {
  return hexadecimal(item).substr(2 * item.size() - 1 - digits, digits);
}

inline bool hasMinus(const Bytes& item) {
  return (item.back() & 15) == 0xB || (item.back() & 15) == 0xD;
}

// The low-order digits of a text as a packed item in hexadecimal, with the sign that a result gets.
inline std::string packedText(std::string digits, int32_t count, bool minus) {
  digits.insert(0, count, '0');
  digits.erase(0, digits.size() - count);
  if (digits.find_first_not_of('0') == digits.npos) minus = false;
  return (count % 2 == 0 ? "0" : "") + digits + (minus ? 'D' : 'C');
}

// What `work` stores into that many bytes, in hexadecimal.
template <typename Work>
std::string stored(size_t size, Work work) {
  return hexadecimal(itemAfter(size, work));
}

}  // namespace qrt::test
