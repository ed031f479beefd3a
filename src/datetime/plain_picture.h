// The picture language token by token, on strings and with the names of the C locale: the oracle of both
// engines.
#pragma once

#include <string.h>

#include <string>
#include <vector>

#include "qrtrlib.h"

namespace qrt::datetime {

inline const std::vector<std::string> plainMonths = {"January",   "February", "March",    "April",
                                                     "May",       "June",     "July",     "August",
                                                     "September", "October",  "November", "December"};
inline const std::vector<std::string> plainWeekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                       "Thursday", "Friday", "Saturday"};
inline const std::vector<std::string> plainRomans = {"I",   "II",   "III", "IV", "V",  "VI",
                                                     "VII", "VIII", "IX",  "X",  "XI", "XII"};

struct PlainEras {
  std::vector<std::string> japanese, chineseShort, chineseLong;
};

// The table of the Japanese names, or of the Chinese ones, in storage of exactly its size; its dates are all
// 0.
inline std::vector<char> plainTable(const PlainEras& eras, bool japanese) {
  const auto count = static_cast<int32_t>((japanese ? eras.japanese : eras.chineseShort).size());
  std::vector<char> block(sizeof count + sizeof(DTSZera) * static_cast<size_t>(count));
  memcpy(block.data(), &count, sizeof count);
  const auto add = [&](const std::vector<std::string>& names, size_t width) {
    for (std::string name : names) {
      name.resize(width, ' ');
      block.insert(block.end(), name.c_str(), name.c_str() + width + 1);
    }
  };
  if (japanese) add(eras.japanese, QRT_JAPANESE_NAME);
  if (!japanese) add(eras.chineseShort, QRT_CHINESE_SHORT_NAME);
  if (!japanese) add(eras.chineseLong, QRT_CHINESE_LONG_NAME);
  return block;
}

inline std::string plainUpper(std::string text) {
  for (char& byte : text)
    if (byte >= 'a' && byte <= 'z') byte = static_cast<char>(byte - 32);
  return text;
}

inline std::string plainLower(std::string text) {
  for (char& byte : text)
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte + 32);
  return text;
}

// Length of the run at `at` of the letters.
inline size_t plainRun(const std::string& text, size_t at, const char* letters) {
  const size_t end = text.find_first_not_of(letters, at);
  return (end == std::string::npos ? text.size() : end) - at;
}

inline std::string plainDigits(int32_t value, size_t width, bool suppress) {
  std::string digits = std::to_string(value);
  digits = std::string(width, '0') + digits;
  digits = digits.substr(digits.size() - width);
  if (!suppress) return digits;
  const size_t first = digits.find_first_not_of('0');
  return first == std::string::npos ? "0" : digits.substr(first);
}

struct PlainText {
  std::string text;
  int32_t code = 0;
};

// What a picture shows of parts whose month, day, weekday... are in range, in a field of `room` bytes; text
// behind the last byte written isn't there.
inline PlainText plainRender(const DTSZdate_parts& parts, const std::string& picture, size_t room,
                             const PlainEras& eras) {
  PlainText out;
  if (room == 0) return {"", 4};
  const int32_t type = parts.era_type;
  const int32_t year = type == 1 ? parts.jp_year : type == 2 ? parts.ch_year : parts.year;
  const int32_t month = type == 1 ? parts.jp_month : type == 2 ? parts.ch_month : parts.month;
  const int32_t day = type == 1 ? parts.jp_day : type == 2 ? parts.ch_day : parts.day;
  bool suppress = false;
  size_t at = 0;
  const auto next = [&](size_t offset) { return at + offset < picture.size() ? picture[at + offset] : '\0'; };
  const auto show = [&](const std::string& text) {
    for (const char byte : text) {
      if (out.text.size() == room) out.code = 4;
      if (out.code == 0) out.text += byte;
    }
  };
  const auto needs = [&](size_t bytes) {
    if (room - out.text.size() < bytes) out.code = 4;
    return out.code == 0;
  };
  const auto literal = [&] { show({picture[at]}), ++at; };
  const auto number = [&](size_t letters, int32_t value, size_t width, bool suppressed = false) {
    at += letters;
    show(plainDigits(value, width, suppressed));
  };
  const auto name = [&](size_t run, const std::string& fullName, size_t most) {
    if (run == 3 && !needs(3)) return;
    const bool padded = run == 3 || (next(run) != 'z' && next(run) != 'Z');
    const size_t letters = padded ? run : run + 1;
    if (letters > most) {
      out.code = 24;
      return;
    }
    const std::string text = fullName.substr(0, run == 3 ? 3 : letters);
    for (size_t i = 0; i < letters && (padded || i < text.size()); ++i) {
      const char letter = picture[at + i];
      const std::string byte(1, i < text.size() ? text[i] : ' ');
      show(letter >= 'a' && letter <= 'z' ? plainLower(byte) : plainUpper(byte));
    }
    at += letters;
  };
  while (at < picture.size() && out.code == 0) {
    const char c = picture[at];
    const bool z = suppress;
    suppress = false;
    const size_t run = plainRun(picture, at, std::string(1, c).c_str());
    const size_t anyCase = plainRun(picture, at, (plainUpper({c}) + plainLower({c})).c_str());
    if (c == 'Y') {
      if (run == 2 && z)
        type == 0 ? void(out.code = 24) : number(2, year, 3, true);
      else if (run == 3)
        number(3, type == 0 ? 0 : year, 3);
      else if (run == 2 && type == 0 && (year < 1582 || year > 9999))
        out.code = 64;
      else if (run == 2 || (type == 0 && (run == 1 || run == 4)))
        number(run, year, run);
      else
        literal();
    } else if (c == 'M' || c == 'm') {
      if (anyCase == 1 && z)
        number(1, month, 2, true);
      else if (anyCase == 1 && (next(1) == 'I' || next(1) == 'i'))
        number(2, parts.minute, 2);
      else if (anyCase == 2)
        number(2, month, 2);
      else if (anyCase >= 3)
        name(anyCase, plainMonths[static_cast<size_t>(parts.month - 1)], 20);
      else
        literal();
    } else if (c == 'W' || c == 'w') {
      if (anyCase >= 3)
        name(anyCase, plainWeekdays[static_cast<size_t>(parts.weekday - 1)], 10);
      else
        literal();
    } else if (c == 'D' && (run == 2 || (run == 1 && z))) {
      number(run, day, 2, run == 1);
    } else if (c == 'D' && run == 3) {
      number(3, parts.day_of_year, 3);
    } else if (c == 'H' && (run == 2 || (run == 1 && z))) {
      number(run, parts.hour, 2, run == 1);
    } else if (c == 'S' && run == 2) {
      number(2, parts.second, 2);
    } else if (c == '9') {
      if (run > 3) out.code = 24;
      at += run;
      if (out.code == 0) show(plainDigits(parts.millisecond, 3, false).substr(0, run));
    } else if (c == 'A' || c == 'a') {
      std::string token;
      for (const char* text : {"AP", "ap", "A.P.", "a.p."})
        if (picture.compare(at, strlen(text), text) == 0) token = text;
      if (token.empty())
        literal();
      else if (needs(token.size())) {
        std::string text = parts.ampm == 0 ? "A" : "P";
        text += token.size() == 4 ? ".M" : "M";
        show(c == 'A' ? text : plainLower(text));
        at += token.size();
      }
    } else if (c == 'R' && (run == 4 || (run == 3 && next(3) == 'Z'))) {
      std::string text = plainRomans[static_cast<size_t>(parts.month - 1)];
      if (run == 4) text.resize(4, ' ');
      if (room - out.text.size() < text.size()) text.assign(text.size(), ' ');
      show(text);
      at += 4;
    } else if (c == '<' && (next(1) == 'J' || next(1) == 'C')) {
      const size_t letters = plainRun(picture, at + 1, next(1) == 'J' ? "J" : "C");
      const bool japanese = next(1) == 'J';
      const bool closed = at + 1 + letters < picture.size() && picture[at + 1 + letters] == '>';
      if (!closed || !(letters == 4 || (letters == 8 && !japanese)) || type == (japanese ? 2 : 1)) {
        out.code = 24;
        break;
      }
      const auto& names = japanese ? eras.japanese : letters == 4 ? eras.chineseShort : eras.chineseLong;
      const auto index = static_cast<size_t>(japanese ? parts.jp_era : parts.ch_era);
      if (index < 1 || index > names.size())
        out.code = 14;
      else if (needs(letters)) {
        std::string text = names[index - 1];
        text.resize(letters, ' ');
        show(text);
        at += letters + 2;
      }
    } else if (c == 'Z' && next(1) != 0 && strchr("YMDH", next(1)) != nullptr) {
      suppress = true;
      ++at;
    } else {
      literal();
    }
  }
  if (out.code != 0 && out.code != 4) out.text = std::string(room, ' ');
  return out;
}

inline std::string plainNormalised(const std::string& text) {
  std::string to;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] != ' ')
      to += plainUpper({text[at]});
    else if (!to.empty() && text[at - 1] != ' ')
      to += '/';
  }
  if (!to.empty() && to.back() == '/') to.pop_back();
  return to;
}

struct PlainReading {
  DTSZdate_parts parts{};
  int32_t code = 0;
};

// What a picture reads from a text; years of two digits stand in a century window that begins in `firstYear`.
inline PlainReading plainParse(std::string picture, std::string input, int32_t firstYear,
                               const PlainEras& eras) {
  PlainReading out;
  DTSZdate_parts& parts = out.parts;
  if (picture.find_first_not_of(' ') == std::string::npos) picture = "MM/DD/YY";
  picture = plainNormalised(picture);
  input = plainNormalised(input);
  size_t at = 0, in = 0;
  bool suppress = false, year = false, month = false, day = false;
  const auto next = [&](size_t offset) { return at + offset < picture.size() ? picture[at + offset] : '\0'; };
  const auto digits = [&](size_t most, bool all = false) {
    const size_t count = std::min(most, plainRun(input, in, "0123456789"));
    if (all && count < most) out.code = 16;
    const int32_t value = count == 0 ? 0 : std::stoi(input.substr(in, count));
    in += count;
    return value;
  };
  const auto within = [&](int32_t value, int32_t least, int32_t most, int32_t code) {
    if (out.code == 0 && (value < least || value > most)) out.code = code;
    return value;
  };
  const auto name = [&](const std::vector<std::string>& names, bool full, int32_t code) {
    for (size_t index = 0; index < names.size(); ++index) {
      const std::string whole = plainUpper(names[index]);
      if (input.compare(in, 3, whole, 0, 3) != 0) continue;
      const std::string wanted = full ? whole : whole.substr(0, 3);
      if (input.compare(in, wanted.size(), wanted) != 0) break;
      in += wanted.size();
      return static_cast<int32_t>(index) + 1;
    }
    out.code = code;
    return 0;
  };
  while (at < picture.size() && out.code == 0) {
    const char c = picture[at];
    const size_t run = plainRun(picture, at, std::string(1, c).c_str());
    const bool z = suppress, ofEra = parts.era_type != 0;
    const size_t withZ = run + (next(run) == 'Z');
    if (c == 'Y' || c == 'M' || c == 'D' || c == 'H') suppress = false;
    if (c == 'Y') {
      at += run;
      year = true;
      if (run == (z ? 2u : 3u))
        ofEra ? void(parts.year = digits(3)) : void(out.code = 24);
      else if (run == 4 || (run == 2 && !ofEra)) {
        if (parts.year != 0) out.code = 24;
        parts.year = digits(run);
        if (run == 2)
          while (parts.year < firstYear) parts.year += 100;
      } else if (run == 2)
        parts.year = digits(2);
      else
        out.code = 24;
    } else if (c == 'M' && run == 1 && !z && next(1) == 'I') {
      at += 2;
      if (parts.minute != 0) out.code = 24;
      if (out.code == 0) parts.minute = within(digits(2, true), 0, 59, 10);
    } else if (c == 'M') {
      at += withZ;
      month = true;
      int32_t value = 0;
      if (withZ == 2 || (withZ == 1 && z)) {
        value = digits(2);
        if (!ofEra) within(value, 1, 12, 8);
      } else if (withZ == 1 || withZ > 20)
        out.code = 24;
      else
        value = name(plainMonths, withZ > 3, 8);
      if (parts.month == 0) parts.month = value;
    } else if (c == 'W') {
      at += withZ;
      if (withZ < 3 || withZ > 20)
        out.code = 4;
      else
        parts.weekday = name(plainWeekdays, withZ > 3, 4);
    } else if (c == 'D') {
      at += run;
      const size_t count = z ? 2 : run;
      if (parts.day != 0 || parts.day_of_year != 0 || (count != 2 && count != 3))
        out.code = 24;
      else if (count == 3)
        parts.day_of_year = within(digits(3), 1, 366, 4);
      else {
        parts.day = digits(2);
        if (!ofEra) within(parts.day, 1, 31, 4);
      }
      day = true;
      month |= parts.day_of_year != 0;
    } else if (c == 'H') {
      at += run;
      if (!z && run != 2)
        out.code = 24;
      else
        parts.hour = within(digits(2), 0, 23, 9);
    } else if (c == 'S') {
      at += run;
      if (run != 2)
        out.code = 24;
      else
        parts.second = within(digits(2, true), 0, 59, 11);
    } else if (c == '9') {
      at += run;
      if (run > 3)
        out.code = 24;
      else
        for (int32_t value = digits(run, true), zeros = 0; zeros < 4 - static_cast<int32_t>(run); ++zeros)
          parts.millisecond = zeros == 0 ? value : parts.millisecond * 10;
    } else if (c == 'A') {
      const bool points = picture.compare(at, 3, "A.P") == 0;
      if (!points && picture.compare(at, 2, "AP") != 0) {
        out.code = 24;
        break;
      }
      at += points ? 3 : 2;
      if (points && next(0) == '.') ++at;
      const std::string text = input.substr(in, points ? 3 : 2);
      const bool morning = text == (points ? "A.M" : "AM"), evening = text == (points ? "P.M" : "PM");
      in += text.size();
      if (points && in < input.size() && input[in] == '.') ++in;
      if (!morning && !evening)
        out.code = 16;
      else if (parts.hour > 12 || (parts.hour < 1 && (evening || points)))
        out.code = 9;
      else if (evening && parts.hour < 12)
        parts.hour += 12;
      else if (morning && points && parts.hour == 12)
        parts.hour = 0;
      parts.ampm = evening;
    } else if (c == 'R') {
      month = true;
      if (run != 4 && !(run == 3 && next(3) == 'Z')) {
        out.code = 24;
        break;
      }
      at += 4;
      const std::string numeral = input.substr(in, plainRun(input, in, "IVX"));
      int32_t value = 0;
      for (size_t index = 0; index < 12; ++index)
        if (numeral == plainRomans[index]) value = static_cast<int32_t>(index) + 1;
      if (value == 0) out.code = numeral.empty() ? 16 : 8;
      if (parts.month == 0) parts.month = value;
      in += numeral.size();
    } else if (c == '<' && (next(1) == 'J' || next(1) == 'C')) {
      const bool japanese = next(1) == 'J';
      const size_t letters = plainRun(picture, at + 1, japanese ? "J" : "C");
      const auto& names = japanese ? eras.japanese : letters == 4 ? eras.chineseShort : eras.chineseLong;
      if (next(1 + letters) != '>' || names.empty() || !(letters == 4 || (letters == 8 && !japanese))) {
        out.code = 24;
        break;
      }
      at += letters + 2;
      int32_t found = 0;
      for (size_t index = 0; index < names.size() && found == 0; ++index) {
        const std::string wanted = plainNormalised(names[index]).substr(0, letters);
        if (wanted.empty() || input.compare(in, wanted.size(), wanted) != 0) continue;
        found = static_cast<int32_t>(index) + 1;
        in += wanted.size();
      }
      if (found == 0)
        out.code = 3;
      else if (parts.year != 0 || parts.month != 0 || parts.day != 0 || parts.day_of_year != 0)
        out.code = 2;
      parts.era_type = japanese ? 1 : 2;
      (japanese ? parts.jp_era : parts.ch_era) = found;
    } else if (c == '<' || c == 'Z') {
      suppress = true;
      ++at;
    } else {
      if (in == 0) out.code = 24;
      if (in == input.size()) out.code = 16;
      ++at, ++in;
    }
    if (out.code == 0 && at < picture.size() && in >= input.size()) out.code = 16;
  }
  if (out.code == 0 && !(year && month && day)) out.code = 32;
  return out;
}

}  // namespace qrt::datetime
