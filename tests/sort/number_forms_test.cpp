// Forms of numbers against the numbers: whoever compares forms as bytes compares values.
#include "sort/engine/number_forms.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <random>
#include <string>
#include <vector>

namespace {

using Form = std::basic_string<uint8_t>;

Form textForm(const std::string& text) {
  Form form(text.size() + 6, 0xEE);
  form.resize(qrt::sort::numericTextForm(text, '.', ',', form.data()));
  return form;
}

Form decimalForm(int64_t value, size_t leadingZeros) {
  Form form(qrt::sort::longestDecimalForm, 0xEE);
  const std::string digits = std::string(leadingZeros, '0') + std::to_string(value < 0 ? -value : value);
  form.resize(qrt::sort::decimalForm(value < 0, digits, form.data()));
  return form;
}

int order(const auto& first, const auto& second) {
  return first < second ? -1 : first > second;
}

TEST(NumberForms, OrderOfNumbers) {
  std::mt19937 random(1);
  std::vector<int64_t> values = {0, 1, -1, 9, 10, 99, 100, -99, -100};
  for (int count = 0; count < 60; ++count)
    values.push_back(static_cast<int64_t>(random()) % (int64_t{1} << random() % 32) - (int64_t{1} << random() % 31));
  for (const int64_t first : values)
    for (const int64_t second : values) {
      const Form forms[] = {decimalForm(first, random() % 5), decimalForm(second, random() % 5)};
      EXPECT_EQ(order(forms[0], forms[1]), order(first, second)) << first << " " << second;

      // As text, in thousandths, with what may stand around the digits.
      const auto text = [&](int64_t thousandths) {
        char digits[40];
        snprintf(digits, sizeof(digits), "%s%s%0*lld.%03lld%s", random() % 2 ? " \t" : "",
                 thousandths < 0 ? "-"
                 : random() % 2  ? "+"
                                 : "",
                 static_cast<int>(random() % 6), llabs(thousandths) / 1000, llabs(thousandths) % 1000,
                 random() % 2 ? "00" : " x");
        return std::string(digits);
      };
      const std::string texts[] = {text(first), text(second)};
      EXPECT_EQ(order(textForm(texts[0]), textForm(texts[1])), order(first, second))
          << texts[0] << " " << texts[1];
    }
}

TEST(NumberForms, Spellings) {
  const Form zero = {2, 0, 0, 0, 0};
  for (const char* text : {"", " ", "-", "abc", "0", "-0.000", "+000", ".", ",,"})
    EXPECT_EQ(textForm(text), zero);
  EXPECT_EQ(textForm("1,234.50"), textForm("01234.5"));
  EXPECT_EQ(textForm("1234"), (Form{2, 0, 4, 0x23, 0x45, 0}));
  EXPECT_EQ(textForm("-1.5"), (Form{1, 0xFF, 0xFE, 0xDF, 0x9F, 0xFF}));
  EXPECT_EQ(decimalForm(-123, 0), (Form{0, 0xFD, 0xFE, 0xDC}));
  uint8_t form[qrt::sort::longestDecimalForm];
  EXPECT_EQ(qrt::sort::decimalForm(false, std::string(510, '9'), form), 257u);
  EXPECT_EQ(qrt::sort::decimalForm(false, std::string(511, '9'), form), 0u);
}

}  // namespace
