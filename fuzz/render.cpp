// Arbitrary pictures, dates and field sizes through the rendering engine: the field holds what the language
// read token by token says.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "datetime/plain_picture.h"

namespace {

using namespace qrt::datetime;

const PlainEras eras = {{"MEIJI", "AB"}, {"MINGUO"}, {"REPUBLIC OF CHINA"}};

// Parts in the range that the fields of a date have.
DTSZdate_parts partsFrom(const uint8_t* bytes) {
  const auto from = [&](int32_t least, int32_t most) { return least + *bytes++ % (most - least + 1); };
  DTSZdate_parts parts = {};
  parts.era_type = from(0, 2);
  parts.year = from(0, 255) * 47;
  parts.month = from(1, 12), parts.day = from(1, 31), parts.day_of_year = from(1, 366);
  parts.hour = from(0, 23), parts.minute = from(0, 59), parts.second = from(0, 59);
  parts.millisecond = from(0, 255) * 3, parts.ampm = from(0, 1), parts.weekday = from(1, 7);
  parts.jp_year = from(1, 255), parts.jp_month = from(1, 12), parts.jp_day = from(1, 31),
  parts.jp_era = from(0, 3);
  parts.ch_year = from(1, 255), parts.ch_month = from(1, 12), parts.ch_day = from(1, 31),
  parts.ch_era = from(0, 2);
  return parts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t head = 20;  // the room and the parts; the rest is the picture
  if (size < head) return 0;
  const size_t room = data[0] % 81;
  const DTSZdate_parts parts = partsFrom(data + 1);
  const std::string picture(reinterpret_cast<const char*>(data) + head, size - head);
  const PlainText plain = plainRender(parts, picture, room, eras);

  static const std::vector<char> japanese = plainTable(eras, true), chinese = plainTable(eras, false);
  std::vector<char> field(room + 1);  // not empty, so that it has an address
  int32_t code;
  DTSZOUTPUT_date(field.data(), picture.data(), &parts, &code, nullptr,
                  reinterpret_cast<const DTSZera_table*>(japanese.data()),
                  reinterpret_cast<const DTSZera_table*>(chinese.data()), picture.data() + picture.size(),
                  field.data() + room, 1);
  if (code != plain.code || memcmp(field.data(), plain.text.data(), plain.text.size()) != 0 ||
      field[room] != 0)
    abort();
  return 0;
}
