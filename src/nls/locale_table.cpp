// The table of locales: the EBCDIC code pages of each, the double-byte space of its multi-byte code page, and
// the code pages that its PC systems and open systems use.
#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "qrtrlib.h"

namespace qrt::nls {
namespace {

// PC, PC with the euro sign, window system, the same with the euro sign, ISO or EUC, the same with the euro
// sign, by number; 0 for none. The multi-byte locales list what they have in the order of age.
using Numbers = std::array<uint16_t, 6>;
constexpr Numbers westEurope = {850, 858, 1252, 5348, 819, 923};
constexpr Numbers unitedStates = {437, 858, 1252, 5348, 819, 923};
constexpr Numbers frenchCanada = {863, 858, 1252, 5348, 819, 923};
constexpr Numbers iceland = {861, 858, 1252, 5348, 819, 923};
constexpr Numbers norway = {865, 858, 1252, 5348, 819, 923};
constexpr Numbers portugal = {860, 858, 1252, 5348, 819, 923};
constexpr Numbers centralEurope = {852, 9044, 1250, 5346, 912, 0};
constexpr Numbers cyrillic = {866, 808, 1251, 5347, 915, 0};
constexpr Numbers southCyrillic = {855, 872, 1251, 5347, 915, 0};
constexpr Numbers ukraine = {1125, 848, 1251, 5347, 1124, 0};
constexpr Numbers arabic = {864, 17248, 1256, 5352, 1089, 0};
constexpr Numbers greek = {869, 9061, 1253, 5349, 813, 4909};
constexpr Numbers hebrew = {862, 867, 1255, 9447, 916, 0};
constexpr Numbers estonian = {922, 902, 1257, 5353, 0, 0};
constexpr Numbers baltic = {921, 901, 1257, 5353, 914, 0};
constexpr Numbers turkish = {857, 9049, 1254, 5350, 920, 0};
constexpr Numbers simplifiedChinese = {1381, 1386, 1383, 5488, 0, 0};
constexpr Numbers traditionalChinese = {950, 1370, 964, 0, 0, 0};
constexpr Numbers japanese = {932, 943, 5050, 33722, 954, 0};
constexpr Numbers korean = {949, 1363, 970, 0, 0, 0};
constexpr Numbers thai = {874, 9066, 1162, 1161, 0, 0};
constexpr Numbers vietnamese = {1129, 1163, 1258, 5354, 0, 0};

struct Space {
  uint8_t bytes[2] = {0x20, 0x20};
};

template <size_t size>
constexpr void write(char (&field)[size], std::string_view text) {
  std::copy(text.begin(), text.end(), field);
}

template <size_t size>
constexpr void writeName(char (&field)[size], uint32_t number) {
  if (number == 0) return;
  write(field, "QMC-");
  uint32_t power = 100;  // three digits at least
  while (number / power > 9) power *= 10;
  for (char* at = field + 4; power > 0; power /= 10) *at++ = static_cast<char>('0' + number / power % 10);
}

constexpr QrtLocaleRow row(std::string_view key, uint16_t ebcdic, uint16_t ebcdicEuro, const Numbers& others,
                           Space space = {}) {
  QrtLocaleRow made{};
  write(made.key, key);
  std::copy(std::begin(space.bytes), std::end(space.bytes), made.doubleByteSpace);
  writeName(made.ebcdic, ebcdic);
  writeName(made.ebcdicEuro, ebcdicEuro);
  for (size_t i = 0; i < others.size(); ++i) writeName(made.others[i], others[i]);
  return made;
}

}  // namespace
}  // namespace qrt::nls

using namespace qrt::nls;

constexpr QrtLocaleRow LCCP_Tbl[QRT_LOCALE_ROWS] = {
    row("CA_ES", 285, 1145, westEurope),
    row("DA_DK", 277, 1142, westEurope),
    row("DE_DE", 273, 1141, westEurope),
    row("DE_CH", 500, 1148, westEurope),
    row("EN_AU", 37, 1140, westEurope),
    row("EN_BE", 500, 1148, westEurope),
    row("EN_GB", 285, 1146, westEurope),
    row("EN_JP", 37, 1140, westEurope),
    row("EN_US", 37, 1140, unitedStates),
    row("EN_ZA", 37, 1140, westEurope),
    row("ES_ES", 284, 1145, westEurope),
    row("FI_FI", 278, 1143, westEurope),
    row("FR_BE", 500, 1148, westEurope),
    row("FR_CA", 37, 1140, frenchCanada),
    row("FR_CH", 500, 1148, westEurope),
    row("FR_FR", 297, 1148, westEurope),
    row("IS_IS", 871, 1149, iceland),
    row("IT_CH", 500, 1148, westEurope),
    row("IT_IT", 280, 1144, westEurope),
    row("NL_BE", 500, 1148, westEurope),
    row("NL_NL", 37, 1140, westEurope),
    row("NO_NO", 277, 1142, norway),
    row("PT_BR", 37, 1140, westEurope),
    row("PT_PT", 37, 1140, portugal),
    row("SQ_AL", 500, 1148, westEurope),
    row("SV_SE", 278, 1143, westEurope),
    row("HR_HR", 870, 1153, centralEurope),
    row("CS_CZ", 870, 1153, centralEurope),
    row("HU_HU", 870, 1153, centralEurope),
    row("PL_PL", 870, 1153, centralEurope),
    row("RO_RO", 870, 1153, centralEurope),
    row("SH_SP", 870, 1153, centralEurope),
    row("SK_SK", 870, 1153, centralEurope),
    row("SL_SI", 870, 1153, centralEurope),
    row("BE_BY", 1025, 1154, cyrillic),
    row("BG_BG", 1025, 1154, southCyrillic),
    row("MK_MK", 1025, 1154, southCyrillic),
    row("RU_RU", 1025, 1154, cyrillic),
    row("UK_UA", 1123, 1158, ukraine),
    row("AR_AA", 420, 16804, arabic),
    row("EL_GR", 875, 4971, greek),
    row("IW_IL", 424, 12712, hebrew),
    row("ET_EE", 1122, 1157, estonian),
    row("LV_LV", 1112, 1156, baltic),
    row("LT_LT", 1112, 1156, baltic),
    row("TR_TR", 1026, 1155, turkish),
    row("ZH_CN", 0, 1388, simplifiedChinese, {{0xA1, 0xA1}}),
    row("ZH_TW", 1371, 937, traditionalChinese, {{0xA1, 0x40}}),
    row("JA_JP", 939, 1399, japanese, {{0x81, 0x40}}),
    row("JA_JP", 930, 1390, japanese, {{0x81, 0x40}}),
    row("KO_KR", 933, 1364, korean, {{0xA1, 0xA1}}),
    row("TH_TH", 0, 9030, thai),
    row("VI_VT", 1130, 1164, vietnamese),
};
