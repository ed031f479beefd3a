// Picture records laid out as a compiler does, and results between guard bytes.
#pragma once

#include <qrtrlib.h>
#include <string.h>

#include <string>
#include <string_view>
#include <vector>

namespace qrt::test {

inline const uint8_t* bytes(std::string_view text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

// A record of type Record: a 16-bit number, then `rest`.
template <typename Record>
class RecordOf {
 public:
  RecordOf(int number, std::string_view rest) : bytes_(2 + rest.size() + sizeof(Record)) {
    const auto narrow = static_cast<int16_t>(number);
    memcpy(bytes_.data(), &narrow, 2);
    memcpy(bytes_.data() + 2, rest.data(), rest.size());
  }
  operator const Record*() const { return reinterpret_cast<const Record*>(bytes_.data()); }

 private:
  std::vector<uint8_t> bytes_;
};

// `zeroRule` makes the picture's length negative.
inline RecordOf<QrtNumEditPicture> editPicture(std::string_view picture, int kind, bool zeroRule = false,
                                               char point = '.', char currency = '$') {
  const int length = static_cast<int>(picture.size());
  return {zeroRule ? -length : length,
          std::string{point, currency, static_cast<char>(kind)} + std::string(picture)};
}

inline RecordOf<QrtNumDeeditPicture> deeditPicture(std::string_view picture) {
  return {static_cast<int>(picture.size()), picture};
}

inline RecordOf<QrtCurrency> currency(std::string_view text) {
  return {static_cast<int>(text.size()), text};
}

// An area of `size` bytes of '?' with guard bytes around it.
class Guarded {
 public:
  explicit Guarded(size_t size) : area_(guard + size + guard, filler), size_(size) {
    area_.replace(guard, size, size, '?');
  }
  uint8_t* data() { return reinterpret_cast<uint8_t*>(area_.data()) + guard; }
  bool intact() const {
    const std::string band(guard, filler);
    return area_.substr(0, guard) == band && area_.substr(guard + size_) == band;
  }
  std::string text() const { return area_.substr(guard, size_); }

 private:
  static constexpr size_t guard = 8;
  static constexpr char filler = '\xEE';
  std::string area_;
  size_t size_;
};

}  // namespace qrt::test
