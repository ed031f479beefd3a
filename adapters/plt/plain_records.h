// Record files the plain way: a list of records that is searched from one end to the other, and COBOL's rules
// of keys, duplicates and position, with the statuses of each verb. It takes relative and sequential files
// for indexed ones whose prime key, the number with its highest byte first, lies ahead of the record.
#pragma once

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "qrtrlib.h"

namespace qrt::plt::plain {

struct Row {
  std::string record;
  std::vector<uint64_t> order;  // for each key, when the record got it
};

inline constexpr uint32_t numberLength = 4;

inline std::string bytesOf(uint32_t number) {
  number = __builtin_bswap32(number);
  return {reinterpret_cast<const char*>(&number), numberLength};
}
inline uint32_t numberOf(const std::string& record) {
  uint32_t number;
  memcpy(&number, record.data(), numberLength);
  return __builtin_bswap32(number);
}

// What an indexed file does, by the book.
struct Model {
  std::vector<QrtFileKey> keys;
  uint32_t minimum, maximum;
  bool numbered, plain, sequential;  // relative or sequential file; sequential file; sequential access
  std::vector<Row> rows = {};
  uint64_t clock = 0;
  uint16_t mode = 0;
  size_t key = 0;                            // of reference
  bool positioned = false;                   // READ NEXT has where to go on from
  bool inclusive = false;                    // at the record there, else behind it
  std::pair<std::string, uint64_t> at = {};  // key and order
  std::string lastKey = {};                  // prime key of the record read or written last
  bool hasLast = false, hasRead = false;

  std::string part(const std::string& record, size_t number) const {
    return record.substr(keys[number].offset, keys[number].length);
  }
  bool repeats(size_t number) const { return number > 0 && (keys[number].flags & QRT_KEY_DUPLICATES) != 0; }
  std::pair<std::string, uint64_t> place(const Row& row, size_t number) const {
    return {part(row.record, number), repeats(number) ? row.order[number] : 0};
  }
  // The record with the lowest place that `wanted` holds for, or the highest.
  template <typename Wanted>
  Row* extreme(size_t number, bool highest, Wanted&& wanted) {
    Row* best = nullptr;
    for (Row& row : rows)
      if (wanted(place(row, number)) &&
          (best == nullptr || (place(row, number) < place(*best, number)) != highest))
        best = &row;
    return best;
  }
  Row* byKey(size_t number, const std::string& value) {
    return extreme(number, false, [&](const auto& place) { return place.first == value; });
  }

  void open(uint16_t asked) {
    if ((asked & QRT_OPEN_OUTPUT) != 0) rows.clear();
    mode = asked;
    key = 0;
    positioned = inclusive = true;
    at = {};
    hasRead = false;
    hasLast = (asked & QRT_OPEN_EXTEND) != 0 && !rows.empty();
    if (hasLast) lastKey = part(extreme(0, true, [](auto&&) { return true; })->record, 0);
  }

  std::string took(const Row& row, std::string& record) {
    record = row.record;
    lastKey = part(record, 0);
    at = place(row, key);
    positioned = hasRead = true;
    inclusive = false;
    const Row* next = extreme(key, false, [&](const auto& place) { return place > at; });
    return repeats(key) && next != nullptr && part(next->record, key) == at.first ? "02" : "00";
  }
  std::string read(size_t number, bool nextAsked, const std::string& area, std::string& record) {
    hasRead = false;
    if ((mode & QRT_OPEN_CAN_READ) == 0) return "47";
    const bool goesOn = sequential || nextAsked;
    if (goesOn && !positioned) return "46";
    if (!goesOn) key = number;
    const Row* found =
        goesOn ? extreme(key, false, [&](const auto& place) { return inclusive ? place >= at : place > at; })
               : byKey(key, part(area, key));
    positioned = found != nullptr;
    if (!positioned) return goesOn ? "10" : "23";
    return took(*found, record);
  }
  std::string start(size_t number, uint8_t relation, const std::string& area, uint32_t length) {
    hasRead = false;
    if ((mode & QRT_OPEN_CAN_READ) == 0) return "47";
    if (length == 0 || length > keys[number].length) length = keys[number].length;
    const std::string given = part(area, number).substr(0, length);
    const bool down = relation == QRT_START_LESS || relation == QRT_START_NOT_GREATER;
    const Row* found = extreme(number, down, [&](const auto& place) {
      const int order = place.first.substr(0, length).compare(given);
      return relation == QRT_START_EQUAL     ? order == 0
             : relation == QRT_START_GREATER ? order > 0
             : relation == QRT_START_LESS    ? order < 0
             : down                          ? order <= 0
                                             : order >= 0;
    });
    positioned = found != nullptr;
    if (!positioned) return "23";
    key = number;
    at = place(*found, number);
    inclusive = true;
    return "00";
  }

  bool fits(const std::string& record) const {
    uint32_t keyed = 0;
    for (const QrtFileKey& each : keys) keyed = std::max(keyed, each.offset + each.length);
    return record.size() >= std::max(minimum, keyed) && record.size() <= maximum;
  }
  // Stores a record in place of `old`, or as a new one.
  std::string store(const std::string& record, Row* old) {
    std::string status = "00";
    for (size_t number = 0; number < keys.size(); ++number)
      for (Row& row : rows)
        if (&row != old && part(row.record, number) == part(record, number)) {
          if (!repeats(number)) return "22";
          if (old == nullptr || part(old->record, number) != part(record, number)) status = "02";
        }
    if (old == nullptr) old = &rows.emplace_back(Row{"", std::vector<uint64_t>(keys.size())});
    for (size_t number = 0; number < keys.size(); ++number)
      if (old->order[number] == 0 || part(old->record, number) != part(record, number))
        old->order[number] = clock + 1;
    ++clock;
    old->record = record;
    return status;
  }
  // With a number in sequential access the record gets the next one.
  std::string write(std::string& record) {
    hasRead = false;
    if ((mode & QRT_OPEN_IO) != 0 && sequential) return "92";
    if ((mode & QRT_OPEN_CAN_WRITE) == 0) return "48";
    if (!fits(record)) return "44";
    if (numbered && sequential) record.replace(0, numberLength, bytesOf(hasLast ? numberOf(lastKey) + 1 : 1));
    if (numbered && numberOf(record) == 0) return "24";
    if (sequential && hasLast && part(record, 0) <= lastKey) return part(record, 0) < lastKey ? "21" : "22";
    const std::string status = store(record, nullptr);
    if (sequential && status < "10") hasLast = true, lastKey = part(record, 0);
    return status;
  }
  std::string rewrite(std::string record) {
    const bool afterRead = std::exchange(hasRead, false);
    if ((mode & QRT_OPEN_CAN_REWRITE) == 0) return "49";
    if (sequential && !afterRead) return "43";
    if (numbered && sequential) record.replace(0, numberLength, lastKey);
    if (sequential && part(record, 0) != lastKey) return "21";
    Row* const old = byKey(0, part(record, 0));
    if (!fits(record)) return numbered && old == nullptr ? "23" : "44";
    if (plain && old->record.size() != record.size()) return "44";
    return old != nullptr ? store(record, old) : "23";
  }
  std::string remove(const std::string& area) {
    const bool afterRead = std::exchange(hasRead, false);
    if ((mode & QRT_OPEN_CAN_REWRITE) == 0) return "49";
    if (sequential && !afterRead) return "43";
    Row* const row = byKey(0, sequential ? lastKey : part(area, 0));
    if (row == nullptr) return "23";
    rows.erase(rows.begin() + (row - rows.data()));
    return "00";
  }
};

}  // namespace qrt::plt::plain
