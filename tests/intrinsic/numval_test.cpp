// NUMVAL and NUMVAL-C through all their entries, under a catalogue in which no message ends the run;
// LOWER-CASE, UPPER-CASE and REVERSE.
#include <ctype.h>

#include "intrinsic/plain_numval.h"
#include "statement/pictures.h"
#include "support/catalogue_writer.h"

using namespace qrt::test;

namespace {

struct Call {
  bool isNumvalC;
  QrtNumvalControl control;
  std::string argument, currency;

  qrt::intrinsic::PlainNumval read() const {
    return qrt::intrinsic::plainNumval(control, argument, isNumvalC, currency);
  }
};

// Makes the call and writes its result area to standard error, behind the messages. A wide text is UTF-16
// with high bytes that must not matter.
void make(const Call& call, bool wide, auto numval, auto numvalC) {
  std::string argument = call.argument, currency = call.currency, area(16, '\xEE');
  for (std::string* const text : {&argument, &currency})
    for (size_t at = 1; wide && at <= text->size(); at += 2) text->insert(at, 1, static_cast<char>(at * 37));
  const auto length = static_cast<int32_t>(argument.size()), more = static_cast<int32_t>(currency.size());
  auto* result = reinterpret_cast<double*>(area.data());
  if (call.isNumvalC)
    numvalC(&call.control, length, argument.data(), more, currency.data(), result);
  else
    numval(&call.control, length, argument.data(), result);
  fwrite(area.data(), 1, area.size(), stderr);
}

std::string expectedOf(const Call& call) {
  const auto plain = call.read();
  std::string messages;
  for (const auto& [number, byte, position] : plain.reports) {
    messages += "QRT" + std::to_string(1000 + number).substr(1) + "I  ";
    if (position > 0) messages += std::to_string(byte) + " " + std::to_string(position) + " ";
    messages += call.isNumvalC ? "NUMVAL-C\n\n" : "NUMVAL\n\n";
  }
  const long double value = strtold(plain.text.c_str(), nullptr);
  const auto rounded = static_cast<double>(value);
  std::string both = messages + std::string(16, '\xEE') + messages + std::string(16, '\xEE');
  memcpy(&both[messages.size()], &rounded, 8);
  memcpy(&both[both.size() - 16], &value, 10);
  return both + both;
}

void expectAllAsRead(const std::vector<Call>& calls) {
  const char *plain = "0 %s", *withByte = "0 %d %d %s";
  const Catalogue catalogue(
      {usualControl, {97, 1, plain}, {151, 1, plain}, {152, 1, withByte}, {155, 1, withByte}});
  const Ended ended = inChild([&] {
    for (const Call& call : calls) {
      make(call, false, _qrtcNumval, _qrtcNumvalC);
      make(call, false, _qrtcNumval16, _qrtcNumvalC16);
      make(call, true, _qrtuNumval, _qrtuNumvalC);
      make(call, true, _qrtuNumval16, _qrtuNumvalC16);
    }
  });
  std::string_view rest = ended.err;
  for (const Call& call : calls) {
    const std::string expected = expectedOf(call);
    ASSERT_EQ(rest.substr(0, expected.size()), expected)
        << "'" << call.argument << "' '" << call.currency << "'";
    rest.remove_prefix(expected.size());
  }
  ASSERT_EQ(rest, "");
}

TEST(Numval, ReadsTheGrammar) {
  std::mt19937 random(20);
  const auto any = [&](std::vector<std::string> choices) { return choices[random() % choices.size()]; };
  const auto digits = [&] {
    std::string text(random() % 4 == 0 ? random() % 24 : 0, '0');
    for (uint32_t more = random() % (random() % 40 == 0 ? 600 : 20); more > 0; --more)
      text += static_cast<char>('0' + random() % 10);
    return text;
  };
  std::vector<Call> calls(20000);
  for (auto& [isNumvalC, control, text, currency] : calls) {
    isNumvalC = random() % 2 == 0;
    control = {static_cast<uint8_t>("$CBx\xA4"[random() % 5]), static_cast<uint8_t>(".,;"[random() % 3]),
               static_cast<int16_t>(random() % 3)};
    currency = any({"EUR", "$", "CR", "D", "F S", "\xE2\x82\xAC", "", " E", "E ", "E1", "-"});
    // It follows the grammar, for a while at least.
    text = any({"", "", " "}) + any({"", "", "+", "-"}) + any({"", " "});
    text += any({"", currency, {static_cast<char>(control.currency)}}) + any({"", " "}) + digits();
    while (random() % 3 == 0) text += any({",", ".", ""}) + digits();
    text += any({"", "", " "}) + any({"", "", "+", "-", "CR", "DB", "C", "D"}) + any({"", " "});
    while (random() % 3 == 0)
      text.insert(random() % (text.size() + 1), any({" ", "-", "5", ".", "C", "B", "r"}));
  }
  expectAllAsRead(calls);
}

TEST(Numval, AnInvalidTextEndsTheRun) {
  constexpr QrtNumvalControl control = {'$', '.', QRT_CURRENCY_BYTE};
  double result = 0;
  const Ended ended = inChild([&] { _qrtcNumvalC(&control, 5, "$12 3", 0, nullptr, &result); });
  EXPECT_EQ(ended.exitCode, 3);
  EXPECT_EQ(ended.err.find("QRT152S  FUNCTION NUMVAL-C: byte 5 of the argument is invalid: hexadecimal 33"),
            0);
}

TEST(Letters, CaseAndReverse) {
  for (int32_t length = -1; length < 300; ++length) {
    std::string text, lower, upper;
    for (int32_t at = 0; at < length; ++at) {
      text += static_cast<char>(at);
      lower += static_cast<char>(tolower(at % 256));
      upper += static_cast<char>(toupper(at % 256));
    }
    std::string units(text.size(), '#');  // half a unit stays as it was
    for (size_t at = 0, last = text.size() / 2 * 2; at < last; at += 2)
      units.replace(at, 2, text, last - at - 2, 2);
    const auto expect = [&](auto entry, const std::string& expected) {
      ASSERT_EQ(itemAfter(text.size(), [&](uint8_t* item) { entry(length, bytes(text), item); }), expected);
    };
    expect(_qrtToLower, lower);
    expect(_qrtToUpper, upper);
    expect(_qrtcReverse, std::string(text.rbegin(), text.rend()));
    expect(_qrtcReverseUnicode, units);
    auto* const same = reinterpret_cast<uint8_t*>(text.data());
    _qrtToUpper(length, same, same);
    ASSERT_EQ(text, upper) << "in place";
  }
}

}  // namespace
