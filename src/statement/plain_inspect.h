// The rules of INSPECT, character by character and phrase by phrase as they are told: the oracle of its
// tests.
#pragma once

#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "qrtrlib.h"

namespace qrt::statement {

// Carries out the statement. Returns the numbers of the messages that it calls for.
inline std::vector<int> plainInspect(const QrtInspectBlock& block) {
  struct View {
    uint8_t* address;
    int length;
    bool overpunched;
    uint8_t digits[31] = {};

    explicit View(const QrtInspectOperand& operand)
        : address(static_cast<uint8_t*>(operand.address)), length(std::max(operand.length, 0)) {
      const int flags = operand.itemFlags;
      const bool national = (operand.nationalFlags & 0x80) != 0, leads = (flags & 0x08) != 0;
      const bool isSigned = (flags & 0x10) != 0 && (national || (flags & 0x20) != 0);
      overpunched = isSigned && !national && (flags & 0x04) == 0;
      if (overpunched) {
        length = std::min(length, 31);
        std::copy(address, address + length, digits);
        if (length > 0) digits[leads ? 0 : length - 1] = 0x30 | (digits[leads ? 0 : length - 1] & 0x0F);
        return;
      }
      const int sign = national ? 2 : 1;
      if (isSigned) length = std::max(length - sign, 0);
      if (isSigned && leads) address += sign;
    }
    uint8_t* data() { return overpunched ? digits : address; }
  };
  struct Phrase {
    View to, compared;
    int flags, itemFlags, first, last;
  };
  enum {
    first = 0x02,
    leading = 0x04,
    characters = 0x10,
    converting = 0x20,
    replacing = 0x40,
    tallying = 0x80
  };

  std::vector<int> messages;
  View item(block.item);
  uint8_t* const data = item.data();
  const int width = (block.item.itemFlags & 0x41) != 0 ? 2 : 1;
  const auto find = [&](View delimiter) {
    for (int at = 0; delimiter.length > 0 && at + delimiter.length <= item.length; at += width)
      if (std::equal(data + at, data + at + delimiter.length, delimiter.data())) return at;
    return -1;
  };

  bool changed = false;
  for (int done = 0; done < block.phraseCount;) {
    std::vector<Phrase> group;
    while (done < block.phraseCount) {
      const QrtInspectPhrase& written = block.phrases[done];
      const int flags = written.replacement.phraseFlags;
      if (!group.empty() && (group.back().flags & tallying) != 0 && (flags & tallying) == 0) break;
      ++done;
      Phrase& phrase = group.emplace_back(Phrase{View(written.replacement), View(written.compared), flags,
                                                 written.replacement.itemFlags, 0, item.length - width});
      if ((flags & characters) != 0) phrase.compared.length = width;
      if ((flags & tallying) == 0 && (phrase.itemFlags & 0x02) == 0 &&
          phrase.to.length != phrase.compared.length) {
        messages.push_back((flags & characters) != 0 ? 76 : 77);
        phrase.to.length = phrase.compared.length = std::min(phrase.to.length, phrase.compared.length);
      }
      if ((phrase.itemFlags & 0x80) != 0) {
        const View delimiter(written.after);
        const int found = find(delimiter);
        phrase.first = found + delimiter.length;
        if (found < 0) phrase.last = -1;
      }
      if (phrase.last >= 0 && (flags & 0x01) != 0)
        if (const int found = find(View(written.before)); found >= 0) phrase.last = found - width;
    }

    const Phrase* lastPhrase = nullptr;
    for (int at = 0, step; at < item.length; at += step) {
      step = width;
      const Phrase* matched = nullptr;
      for (Phrase& phrase : group) {
        if (at < phrase.first || at > phrase.last) continue;
        if ((phrase.flags & leading) != 0 && at > phrase.first && lastPhrase != &phrase) {
          phrase.last = -1;
          continue;
        }
        const bool figurative = (phrase.itemFlags & 0x02) != 0;
        uint8_t* const to = phrase.to.data();
        uint8_t* const compared = phrase.compared.data();
        if ((phrase.flags & converting) != 0) {
          for (int place = 0; place + width <= phrase.compared.length; place += width)
            if (std::equal(data + at, data + at + width, compared + place)) {
              memmove(data + at, to + (figurative ? 0 : place), static_cast<size_t>(width));
              changed = true;
              break;
            }
          break;
        }
        const int length = phrase.compared.length;
        if (length == 0) continue;
        if ((phrase.flags & characters) == 0 &&
            (length > item.length - at || !std::equal(compared, compared + length, data + at))) {
          if ((phrase.flags & leading) != 0) phrase.last = -1;
          continue;
        }
        if ((phrase.flags & tallying) != 0) {
          uint32_t counter;
          memcpy(&counter, phrase.to.address, sizeof counter);
          ++counter;
          memcpy(phrase.to.address, &counter, sizeof counter);
        } else {
          const std::string before(reinterpret_cast<char*>(to),
                                   static_cast<size_t>(figurative ? width : length));
          for (int byte = 0; byte < length; ++byte)
            data[at + byte] =
                static_cast<uint8_t>(before[static_cast<size_t>(byte % (figurative ? width : length))]);
          changed = true;
        }
        if ((phrase.flags & first) != 0) phrase.last = -1;
        if ((phrase.flags & leading) != 0) matched = &phrase;
        step = length;
        break;
      }
      lastPhrase = matched;
    }
  }

  if (changed && item.overpunched) {
    const int sign = (block.item.itemFlags & 0x08) != 0 ? 0 : item.length - 1;
    item.digits[sign] = static_cast<uint8_t>((item.digits[sign] & 0x0F) | (item.address[sign] & 0xF0));
    std::copy(item.digits, item.digits + item.length, item.address);
  }
  return messages;
}

}  // namespace qrt::statement
