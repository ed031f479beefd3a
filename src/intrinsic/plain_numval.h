// The grammar of NUMVAL and NUMVAL-C read piece by piece: the oracle of the machine's tests.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "qrtrlib.h"

namespace qrt::intrinsic {

struct PlainReport {
  int32_t number;  // of the message
  uint8_t byte;    // with the position, from 1, for messages 152 and 155
  size_t position;
};

struct PlainNumval {
  std::vector<PlainReport> reports;
  std::string text = "0";  // sign, digits and "."
};

// What a byte text says to NUMVAL, or to NUMVAL-C with the currency string of the call.
inline PlainNumval plainNumval(const QrtNumvalControl& control, std::string_view argument, bool isNumvalC,
                               std::string_view currency) {
  PlainNumval read;
  if (!isNumvalC || control.currencySource < 1 || control.currencySource > 2) currency = "";
  if (isNumvalC && control.currencySource == 1) currency = {reinterpret_cast<const char*>(&control), 1};
  if (isNumvalC && control.currencySource == 2) {
    size_t fault = currency.find_first_of("+,-.0123456789");
    if (currency.ends_with(' ')) fault = std::min(fault, currency.size() - 1);
    if (currency.starts_with(' ')) fault = 0;
    if (fault != currency.npos)
      read.reports.push_back({155, static_cast<uint8_t>(currency[fault]), fault + 1});
  }

  const bool pointIsComma = control.decimalPoint == ',';
  const char point = pointIsComma ? ',' : '.', comma = pointIsComma ? '.' : ',';
  size_t at = 0, digits = 0;
  std::string sign, number;
  const auto ended = [&] { return at == argument.size(); };
  const auto isOneOf = [&](std::string_view set) { return !ended() && set.find(argument[at]) != set.npos; };
  const auto skipSpaces = [&] {
    while (isOneOf(" ")) ++at;
  };
  const auto takeDigits = [&](bool commas) {
    while (isOneOf("0123456789")) {
      number += argument[at++];
      ++digits;
      if (commas && isOneOf({&comma, 1})) {
        ++at;
        if (!ended() && !isOneOf("0123456789")) return false;
      }
    }
    return true;
  };
  const auto takeSign = [&] {
    if (isOneOf("+-")) sign = argument[at++];
  };
  const auto invalid = [&] {
    read.reports.push_back({152, static_cast<uint8_t>(argument[at]), at + 1});
    return read;
  };

  skipSpaces();
  takeSign();
  const bool signLeads = !sign.empty();
  skipSpaces();
  bool currencyLeads = false;
  if (isNumvalC && !isOneOf("+-.,0123456789") && !ended()) {
    if (currency.empty() || !argument.substr(at).starts_with(currency)) return invalid();
    at += currency.size();
    currencyLeads = true;
    skipSpaces();
  }
  const size_t numberAt = at;
  if (!takeDigits(isNumvalC)) return invalid();
  if (isOneOf({&point, 1})) {
    number += '.';
    ++at;
    takeDigits(false);
  }
  if (at == numberAt && !ended() && (signLeads || !currencyLeads)) return invalid();
  skipSpaces();
  if (!signLeads) {
    if (isOneOf("CD")) {
      const std::string_view second = argument[at++] == 'C' ? "R" : "B";
      if (isOneOf(second)) {
        sign.assign(1, '-');
        ++at;
      } else if (!ended()) {
        return invalid();
      }
    } else {
      takeSign();
    }
    skipSpaces();
  }
  if (!ended()) return invalid();
  if (digits == 0 || digits > 31) read.reports.push_back({digits == 0 ? 97 : 151, 0, 0});
  if (digits > 0) read.text = sign + number;
  return read;
}

}  // namespace qrt::intrinsic
