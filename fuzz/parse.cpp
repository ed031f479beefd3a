// Arbitrary pictures and texts through the parsing engine: the parts hold what the language read token by
// token says. Then the date services take the same strings.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <memory>
#include <string>

#include "datetime/plain_picture.h"

namespace {

using namespace qrt::datetime;

const PlainEras eras = {{"MEIJI", "AB"}, {"MINGUO"}, {"REPUBLIC OF CHINA"}};

// A varying string in storage of exactly its size, so that a sanitizer sees the first byte beyond.
struct Varying {
  std::unique_ptr<char[]> bytes;

  explicit Varying(const std::string& text) : bytes(new char[text.size() + 2]) {
    const auto length = static_cast<int16_t>(text.size());
    memcpy(bytes.get(), &length, sizeof length);
    memcpy(bytes.get() + 2, text.data(), text.size());
  }
  operator const QrtVaryingString*() const { return reinterpret_cast<const QrtVaryingString*>(bytes.get()); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The length of the picture, the picture, the text.
  if (size < 1) return 0;
  const std::string all(reinterpret_cast<const char*>(data) + 1, std::min<size_t>(size - 1, 4000));
  const std::string picture = all.substr(0, data[0]), input = all.substr(picture.size());
  const time_t now = time(nullptr);
  const PlainReading plain = plainParse(picture, input, localtime(&now)->tm_year + 1900 - 80, eras);

  static const std::vector<char> japanese = plainTable(eras, true), chinese = plainTable(eras, false);
  DTSZdate_parts parts;
  QrtFeedback feedback;
  int32_t code;
  DTSZCONVERT_from_picture(input.data(), picture.data(), &parts, &code, nullptr,
                           reinterpret_cast<const DTSZera_table*>(japanese.data()),
                           reinterpret_cast<const DTSZera_table*>(chinese.data()),
                           picture.data() + picture.size(), input.data() + input.size(), &feedback, 0);
  if (code != plain.code || (code == 0 && memcmp(&parts, &plain.parts, sizeof parts) != 0)) abort();

  const Varying text(input), shape(picture);
  int32_t day;
  double seconds;
  char field[QRT_DATE_FIELD];
  DTSDAYS(text, shape, &day, &feedback);
  if (day < 0 || day > QRT_LAST_LILIAN_DAY || (feedback.messageNumber != 0) != (day == 0)) abort();
  DTSSECS(text, shape, &seconds, &feedback);
  if ((feedback.messageNumber != 0) != (seconds == 0)) abort();
  if (day != 0) DTSDATE(&day, shape, field, &feedback);
  return 0;
}
