// The date services in their two exported forms: as they are, and as twins for host data.
#pragma once

#include <string.h>

#include <algorithm>

#include "decimal/float_hexadecimal.h"
#include "qrtrlib.h"

namespace qrt::datetime {

// The services behind the entries of these names, with their arguments (see qrtrlib.h).
int16_t qrtdtsdays(const QrtVaryingString* input, const QrtVaryingString* picture, int32_t* lilianDay,
                   QrtFeedback* feedback);
int16_t qrtdtscbldy(const QrtVaryingString* input, const QrtVaryingString* picture, int32_t* integerDate,
                    QrtFeedback* feedback);
int16_t qrtdtssecs(const QrtVaryingString* input, const QrtVaryingString* picture, double* lilianSeconds,
                   QrtFeedback* feedback);
int16_t qrtdtsdate(const int32_t* lilianDay, const QrtVaryingString* picture, char* output,
                   QrtFeedback* feedback);
int16_t qrtdtsdatm(const double* lilianSeconds, const QrtVaryingString* picture, char* output,
                   QrtFeedback* feedback);
int16_t qrtdtsseci(const double* lilianSeconds, int32_t* year, int32_t* month, int32_t* day, int32_t* hours,
                   int32_t* minutes, int32_t* seconds, int32_t* milliseconds, QrtFeedback* feedback);
int16_t qrtdtsisec(const int32_t* year, const int32_t* month, const int32_t* day, const int32_t* hours,
                   const int32_t* minutes, const int32_t* seconds, const int32_t* milliseconds,
                   double* lilianSeconds, QrtFeedback* feedback);
int16_t qrtdtsdywk(const int32_t* lilianDay, int32_t* weekday, QrtFeedback* feedback);
int16_t qrtdtsgmto(int32_t* hours, int32_t* minutes, double* seconds, QrtFeedback* feedback);
int16_t qrtdtsgmt(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback);
int16_t qrtdtsutc(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback);
int16_t qrtdtsloct(int32_t* lilianDay, double* lilianSeconds, char* text, QrtFeedback* feedback);
int16_t qrtkbzedt4(char* date, QrtFeedback* feedback);
int16_t qrtdtsscen(const int32_t* window, QrtFeedback* feedback);
int16_t qrtdtsqcen(int32_t* window, QrtFeedback* feedback);

// An argument of a host twin, by the type that the plain service takes: `plain` is what that gets, `giveBack`
// hands the result to the caller. Host data is big-endian, text EBCDIC, floating point hexadecimal.
// `textSize` is the size of a text that the service writes.
template <typename Pointer, int32_t textSize>
struct HostArgument;

inline int32_t swapped(int32_t value) {
  return static_cast<int32_t>(__builtin_bswap32(static_cast<uint32_t>(value)));
}

template <int32_t textSize>
struct HostArgument<const int32_t*, textSize> {
  int32_t value;

  explicit HostArgument(const int32_t* host) : value(swapped(*host)) {}
  const int32_t* plain() { return &value; }
  void giveBack() {}
};

template <int32_t textSize>
struct HostArgument<int32_t*, textSize> {
  int32_t* host;
  int32_t value = 0;

  explicit HostArgument(int32_t* result) : host(result) {}
  int32_t* plain() { return &value; }
  void giveBack() { *host = swapped(value); }
};

template <int32_t textSize>
struct HostArgument<const double*, textSize> {
  double value;

  explicit HostArgument(const double* host) {
    uint64_t hex;
    memcpy(&hex, host, sizeof hex);
    hex = __builtin_bswap64(hex);
    value = decimal::qrtcConvHex8toIEEE(&hex);
  }
  const double* plain() { return &value; }
  void giveBack() {}
};

template <int32_t textSize>
struct HostArgument<double*, textSize> {
  double* host;
  double value = 0;

  explicit HostArgument(double* result) : host(result) {}
  double* plain() { return &value; }
  void giveBack() {
    uint64_t hex = 0;
    decimal::qrtcConvIEEE8toHex(value, &hex);
    hex = __builtin_bswap64(hex);
    memcpy(host, &hex, sizeof hex);
  }
};

template <int32_t textSize>
struct HostArgument<const QrtVaryingString*, textSize> {
  static constexpr int32_t room = 256;
  int16_t length;
  char text[room];

  explicit HostArgument(const QrtVaryingString* host) {
    const auto hostLength = static_cast<int16_t>(__builtin_bswap16(static_cast<uint16_t>(host->length)));
    int32_t filled = room;
    if (hostLength <= 0 ||
        qrtConvToASCII(host->text, std::min<int32_t>(hostLength, room), text, &filled) != 0)
      filled = 0;
    length = static_cast<int16_t>(filled);
  }
  const QrtVaryingString* plain() { return reinterpret_cast<const QrtVaryingString*>(this); }
  void giveBack() {}
};

template <int32_t textSize>
struct HostArgument<char*, textSize> {
  char* host;
  char text[textSize];

  explicit HostArgument(char* result) : host(result) {}
  char* plain() { return text; }
  void giveBack() {
    int32_t length = textSize;
    qrtConvToEBCDIC(text, textSize, host, &length);
  }
};

template <int32_t textSize>
struct HostArgument<QrtFeedback*, textSize> {
  QrtFeedback* host;  // null where the caller wants a message instead
  QrtFeedback value = {};

  explicit HostArgument(QrtFeedback* result) : host(result) {}
  QrtFeedback* plain() { return host != nullptr ? &value : nullptr; }
  void giveBack() {
    if (host == nullptr) return;
    if (value.messageNumber != 0) {
      constexpr char facility[] = {'\xC4', '\xE3', '\xE2'};  // "DTS"
      value.severity = __builtin_bswap16(value.severity);
      value.messageNumber = __builtin_bswap16(value.messageNumber);
      value.instance = __builtin_bswap32(value.instance);
      memcpy(value.facility, facility, sizeof facility);
    }
    *host = value;
  }
};

// A service as it is.
template <auto service, int32_t textSize = 0, typename... Pointers>
int16_t plain(Pointers... arguments) {
  return service(arguments...);
}

// Its twin for host data.
template <auto service, int32_t textSize = 0, typename... Pointers>
int16_t host(Pointers... arguments) {
  const auto call = [](HostArgument<Pointers, textSize>... converted) {
    const int16_t result = service(converted.plain()...);
    (converted.giveBack(), ...);
    return result;
  };
  return call(HostArgument<Pointers, textSize>(arguments)...);
}

}  // namespace qrt::datetime
