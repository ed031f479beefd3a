// Keys of common types built byte by byte: what key building is measured against, and its oracle.
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

namespace qrt::sort::plain {

// The logical bytes of a key.
struct Key {
  std::string bytes;

  void put(uint32_t byte) { bytes += static_cast<char>(byte); }

  // A field of a line: no byte is the terminator, 0.
  void addLineField(std::string_view field) {
    for (const char character : field) {
      const auto byte = static_cast<uint8_t>(character);
      put(byte < 10 ? byte + 1U : byte);
    }
    put(0);
  }

  void addBytes(std::string_view field) { bytes += field; }

  // Digits from the highest on: sign, count of bytes, pairs that end with the last digit.
  void addDigits(bool negative, std::string digits) {
    if (digits.size() % 2 != 0) digits.insert(0, 1, 0);
    std::string pairs;
    for (size_t at = 0; at < digits.size(); at += 2) {
      const auto pair = static_cast<char>(digits[at] << 4 | digits[at + 1]);
      if (!pairs.empty() || pair != 0) pairs += pair;
    }
    const uint32_t flip = negative && !pairs.empty() ? 0xFF : 0;
    put(flip != 0 ? 0 : 0xF0);
    put(static_cast<uint32_t>(pairs.size()) ^ flip);
    for (const char pair : pairs) put(static_cast<uint8_t>(pair) ^ flip);
  }

  void addPacked(std::string_view field) {
    std::string nibbles;
    for (const char byte : field) {
      nibbles += static_cast<char>(static_cast<uint8_t>(byte) >> 4);
      nibbles += static_cast<char>(byte & 0xF);
    }
    const char sign = nibbles.back();
    nibbles.pop_back();
    addDigits(sign == 0xB || sign == 0xD, nibbles);
  }

  void addZoned(std::string_view field) {
    std::string digits;
    for (const char byte : field) digits += static_cast<char>(byte & 0xF);
    const int zone = static_cast<uint8_t>(field.back()) >> 4;
    addDigits(zone == 0xB || zone == 0xD || (zone >= 4 && zone <= 7), digits);
  }

  // The words that are stored, with the record's number at the end.
  std::vector<uint32_t> words(uint32_t sequence) const {
    std::string whole = bytes;
    whole.resize((bytes.size() + 3) / 4 * 4);
    std::vector<uint32_t> result;
    for (size_t at = 0; at < whole.size(); at += 4) {
      uint32_t word = 0;
      for (size_t byte = at; byte < at + 4; ++byte) word = word << 8 | static_cast<uint8_t>(whole[byte]);
      result.push_back(word);
    }
    result.push_back(0);
    result.push_back(sequence);
    return result;
  }
};

}  // namespace qrt::sort::plain
