// Texts of era tables in a catalogue of their own: either a table that its lookups can walk, or none.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <string>

#include "../tests/support/catalogue_writer.h"

using namespace qrt::test;

namespace {

void require(bool condition) {
  if (!condition) abort();
}

void walk(DTSZera_table* table, bool chinese) {
  if (table == nullptr) return;
  require(table->count >= 0 && table->count <= QRT_MOST_ERAS);
  for (int32_t year = 1582; year < 2100; year += 3) {
    DTSZdate_parts parts{};
    parts.year = year;
    parts.month = 2;
    parts.day = 29;
    (chinese ? DTSZCHI_date : DTSZJAP_date)(&parts, table);
    const int32_t era = chinese ? parts.ch_era : parts.jp_era;
    require(era >= 0 && era <= table->count);
    parts.era_type = chinese ? QRT_ERA_CHINESE : QRT_ERA_JAPANESE;
    int32_t code;
    DTSZDATE_chk(&parts, &code, chinese ? nullptr : table, chinese ? table : nullptr);
  }
  _qrtCheckFree(table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = "0 " + std::string(reinterpret_cast<const char*>(data), size);
  setenv("COBMSGS", "/dev/null", 1);
  static const Catalogue place({usualControl});
  std::ofstream(place.path + "/qrtremsg.cat", std::ios::binary)
      << catalogueBytes({usualControl, {216, 1, text}, {216, 2, text}});
  Catalogue::forget();
  QrtFeedback feedback{};
  DTSZera_table* table = nullptr;
  DTSZGetJapEra(&table, &feedback);
  walk(table, false);
  DTSZGetChiEra(&table, &feedback);
  walk(table, true);
  return 0;
}
