// The date services: what they take from and give to the caller's storage, around the calendar arithmetic and
// the two picture engines, and how result codes become conditions.
#include "datetime/services.h"

#include <math.h>

#include <string_view>

#include "datetime/blocks.h"
#include "datetime/calendar.h"
#include "datetime/condition.h"
#include "datetime/parse.h"
#include "datetime/render.h"
#include "frame/guard.h"
#include "platform/clock.h"

using namespace qrt;
using namespace qrt::datetime;

using enum Condition;

constexpr QrtFeedback DTSCTVAL[QRT_CONDITIONS] = {feedbackOf(success),
                                                  feedbackOf(noStorage),
                                                  feedbackOf(offsetUnknown),
                                                  feedbackOf(clockUnknown),
                                                  feedbackOf(secondsOutOfRange),
                                                  feedbackOf(secondsWithoutEra),
                                                  feedbackOf(noFullDate),
                                                  feedbackOf(badDayOfText),
                                                  feedbackOf(badEra),
                                                  feedbackOf(badHours),
                                                  feedbackOf(badDay),
                                                  feedbackOf(dayOutOfRange),
                                                  feedbackOf(outsideCalendar),
                                                  feedbackOf(badYear),
                                                  feedbackOf(badMilliseconds),
                                                  feedbackOf(badMinutes),
                                                  feedbackOf(badMonth),
                                                  feedbackOf(badPicture),
                                                  feedbackOf(badSeconds),
                                                  feedbackOf(shortDateText),
                                                  feedbackOf(badEraYear),
                                                  feedbackOf(dayWithoutEra),
                                                  feedbackOf(shortTimeText),
                                                  feedbackOf(dateCut),
                                                  feedbackOf(timeCut),
                                                  feedbackOf(localTimeUnknown),
                                                  feedbackOf(badWindow)};

namespace {

constexpr double secondsOfDay = 86400.0, firstSecond = 86400.0, lastSecond = 265621679999.999;
constexpr int32_t millisecondsOfDay = 86'400'000;
constexpr int32_t mostWindow = 100;

// What a service reports: an element of DTSCTVAL, or the one record that isn't there.
using Outcome = const QrtFeedback*;

consteval Outcome told(Condition condition) {
  Outcome found = DTSCTVAL;
  while (found->messageNumber != static_cast<uint16_t>(condition)) ++found;
  return found;
}

// A code of parsing that has no condition of its own.
constexpr QrtFeedback withoutCondition = {
    .severity = 0, .messageNumber = 1, .classByte = 0, .facility = {}, .instance = 0};

int16_t report(QrtFeedback* feedback, Outcome outcome) {
  if (feedback != nullptr)
    *feedback = *outcome;
  else if (outcome->messageNumber != 0)
    qrtWriteERRmsg(outcome->messageNumber, 0);
  return 0;
}

// What a code means in the parsing of a date, of a time, and as a result of the check of a date.
struct CodeMeaning {
  int32_t code;
  Outcome ofDate, ofTime, ofCheck;
};
constexpr Outcome other = &withoutCondition;
constexpr CodeMeaning codeMeanings[] = {{1, other, other, told(outsideCalendar)},
                                        {2, other, other, told(badEraYear)},
                                        {3, told(badEra), told(badEra), other},
                                        {4, told(badDayOfText), told(badDayOfText), told(badDayOfText)},
                                        {8, told(badMonth), told(badMonth), told(badMonth)},
                                        {9, other, told(badHours), other},
                                        {10, other, told(badMinutes), other},
                                        {11, other, told(badSeconds), other},
                                        {16, told(shortDateText), told(shortTimeText), told(outsideCalendar)},
                                        {24, told(badPicture), told(badPicture), other},
                                        {26, other, other, told(badEra)},
                                        {32, told(noFullDate), told(noFullDate), other},
                                        {100, told(noStorage), told(noStorage), other}};

Outcome meaningOf(int32_t code, Outcome CodeMeaning::*column) {
  for (const CodeMeaning& meaning : codeMeanings)
    if (meaning.code == code) return meaning.*column;
  return other;
}

std::string_view textOf(const QrtVaryingString* string) {
  const int32_t length = string->length;
  return {string->text, static_cast<size_t>(length > 0 ? length : 0)};
}

// A picture of a caller, or the default one.
struct Picture {
  std::string_view text;
  bool isPlain;  // holds no era, and no zero byte
};

// The default stands for a picture that is blank or begins with a zero byte.
[[gnu::always_inline]] inline Picture pictureOf(const QrtVaryingString* string,
                                                std::string_view defaultPicture) {
  const std::string_view text = textOf(string);
  if (isBlank(text) || text[0] == '\0') return {defaultPicture, true};
  return {text, !holdsZeroOr('<', text)};
}

// The same where any zero byte ends the picture.
[[gnu::always_inline]] inline Picture shownPictureOf(const QrtVaryingString* string,
                                                     std::string_view defaultPicture) {
  Picture picture = pictureOf(string, defaultPicture);
  if (picture.isPlain) return picture;
  picture.text = picture.text.substr(0, picture.text.find('\0'));
  if (isBlank(picture.text)) return {defaultPicture, true};
  return picture;
}

// The tables of eras that a picture asks for.
class PictureEras {
 public:
  explicit PictureEras(const Picture& picture) {
    if (!picture.isPlain) fetch(picture.text);
  }
  ~PictureEras() {
    if (japanese != nullptr) _qrtCheckFree(japanese);
    if (chinese != nullptr) _qrtCheckFree(chinese);
  }
  PictureEras(const PictureEras&) = delete;
  PictureEras& operator=(const PictureEras&) = delete;

  int32_t type = QRT_ERA_GREGORIAN;
  Outcome fault = nullptr;  // null for none
  DTSZera_table* japanese = nullptr;
  DTSZera_table* chinese = nullptr;

 private:
  [[gnu::cold, gnu::noinline]] void fetch(std::string_view picture) {
    type = DTSZ_JAPCHI_type(picture.data(), picture.data() + picture.size());
    QrtFeedback feedback = {};
    if (type == QRT_ERA_JAPANESE) DTSZGetJapEra(&japanese, &feedback);
    if (type == QRT_ERA_CHINESE) DTSZGetChiEra(&chinese, &feedback);
    if (feedback.messageNumber != 0) fault = told(noStorage);
    if (type < 0) fault = told(badPicture);
  }
};

// A valid date, time and all, from a text.
[[gnu::always_inline]] inline Outcome readText(const QrtVaryingString* input, const QrtVaryingString* picture,
                                               bool isTime, PictureReading& reading) {
  const Picture shape = pictureOf(picture, isTime ? defaultTimePicture : defaultDatePicture);
  const PictureEras eras(shape);
  if (eras.fault != nullptr) return eras.fault;
  readByPicture(shape.text, textOf(input), isTime, eras.japanese, eras.chinese, reading);
  if (reading.code != QRT_PICTURE_DONE)
    return meaningOf(reading.code, isTime ? &CodeMeaning::ofTime : &CodeMeaning::ofDate);
  int32_t fault;
  if (reading.parts.era_type == QRT_ERA_GREGORIAN)
    fault = gregorianFault(reading.parts);
  else
    DTSZDATE_chk(&reading.parts, &fault, eras.japanese, eras.chinese);
  return fault == QRT_DATE_VALID ? told(success) : meaningOf(fault, &CodeMeaning::ofCheck);
}

// Shows a date whose Gregorian parts are set; what the codes of rendering mean differs.
[[gnu::always_inline]] inline Outcome showText(DTSZdate_parts& parts, int32_t lilianDay,
                                               const Picture& picture, bool isTime, char* output) {
  const PictureEras eras(picture);
  if (eras.fault != nullptr) return eras.fault;
  parts.era_type = eras.type;
  parts.weekday = weekdayOf(lilianDay);
  if (eras.japanese != nullptr) DTSZJAP_date(&parts, eras.japanese);
  if (eras.chinese != nullptr) DTSZCHI_date(&parts, eras.chinese);
  switch (render(parts, picture.text, output, output + QRT_DATE_FIELD, eras.japanese, eras.chinese, true)) {
    case QRT_PICTURE_SHORT_OUTPUT:
      return isTime ? told(timeCut) : told(dateCut);
    case QRT_PICTURE_INVALID:
      return told(badPicture);
    case QRT_PICTURE_BAD_YEAR:
      return isTime ? told(secondsWithoutEra) : told(dayOutOfRange);
    case QRT_PICTURE_NO_ERA:
      return isTime ? told(secondsWithoutEra) : told(dayWithoutEra);
    default:
      return told(success);
  }
}

bool isLilianDay(int32_t day) {
  return day > 0 && day <= QRT_LAST_LILIAN_DAY;
}

double secondsSum(int32_t lilianDay, const DTSZdate_parts& parts) {
  const int32_t ofDay = parts.hour * 3600 + parts.minute * 60 + parts.second;
  const double whole = lilianDay * secondsOfDay + ofDay;  // exact, as is each step to it
  return parts.millisecond == 0 ? whole : whole + parts.millisecond / 1000.0;
}

// Sets the date and time of Lilian seconds, to the nearest millisecond, and returns their Lilian day; 0 for
// seconds out of range.
int32_t splitSeconds(double lilianSeconds, DTSZdate_parts& parts) {
  if (!(lilianSeconds >= firstSecond && lilianSeconds <= lastSecond)) return 0;
  auto day = static_cast<int32_t>(lilianSeconds / secondsOfDay);
  constexpr double half = 0.5;
  auto rest = static_cast<int32_t>((lilianSeconds - day * secondsOfDay) * 1000.0 + half);
  if (rest == millisecondsOfDay) {
    rest = 0;
    ++day;
  }
  splitDay(day, parts);
  parts.millisecond = rest % 1000;
  rest /= 1000;
  parts.second = rest % 60;
  rest /= 60;
  parts.minute = rest % 60;
  parts.hour = rest / 60;
  return day;
}

// A day's hours as a twelve-hour clock shows them.
void toTwelveHours(DTSZdate_parts& parts) {
  parts.ampm = parts.hour >= 12;
  if (parts.hour > 12) parts.hour -= 12;
  if (parts.hour == 0) parts.hour = 12;
}

Outcome faultOfTime(const DTSZdate_parts& parts) {
  const auto isIn = [](int32_t value, int32_t most) { return value >= 0 && value <= most; };
  if (!isIn(parts.hour, 23)) return told(badHours);
  if (!isIn(parts.minute, 59)) return told(badMinutes);
  if (!isIn(parts.second, 59)) return told(badSeconds);
  if (!isIn(parts.millisecond, 999)) return told(badMilliseconds);
  return told(success);
}

Outcome faultOfDate(DTSZdate_parts& parts) {
  int32_t fault;
  DTSZDATE_chk(&parts, &fault, nullptr, nullptr);
  switch (fault) {
    case QRT_DATE_BAD_YEAR:
      return told(badYear);
    case QRT_DATE_BAD_DAY:
      return told(badDay);
    case QRT_DATE_BAD_MONTH:
      return told(badMonth);
    case QRT_DATE_BEFORE_CALENDAR:
      return told(outsideCalendar);
    default:
      return told(success);
  }
}

DTSZdate_parts partsOf(const platform::LocalTime& time) {
  DTSZdate_parts parts = {};
  parts.year = time.year;
  parts.month = time.month;
  parts.day = time.day;
  parts.hour = time.hour;
  parts.minute = time.minute;
  parts.second = time.second;
  parts.millisecond = time.millisecond;
  return parts;
}

}  // namespace

double DTS_fmod(double value, double divisor) {
  return value < 0 || !(divisor > 0) ? -1.0 : fmod(value, divisor);
}

namespace qrt::datetime {

int16_t qrtdtsdays(const QrtVaryingString* input, const QrtVaryingString* picture, int32_t* lilianDay,
                   QrtFeedback* feedback) {
  PictureReading reading;
  *lilianDay = 0;
  const Outcome outcome = readText(input, picture, false, reading);
  if (outcome == told(success)) *lilianDay = lilianDayOf(reading.parts);
  return report(feedback, outcome);
}

int16_t qrtdtscbldy(const QrtVaryingString* input, const QrtVaryingString* picture, int32_t* integerDate,
                    QrtFeedback* feedback) {
  PictureReading reading;
  *integerDate = 0;
  const Outcome outcome = readText(input, picture, false, reading);
  if (outcome == told(success)) {
    const DTSZdate_parts& parts = reading.parts;
    int32_t dayOfYear = parts.day_of_year;
    if (dayOfYear == 0) _qrtGregorian_to_Julian(parts.year, parts.month, parts.day, &dayOfYear);
    _qrtJulian_to_Lilian(parts.year, dayOfYear, integerDate);
  }
  return report(feedback, outcome);
}

int16_t qrtdtssecs(const QrtVaryingString* input, const QrtVaryingString* picture, double* lilianSeconds,
                   QrtFeedback* feedback) {
  PictureReading reading;
  *lilianSeconds = 0;
  const Outcome outcome = readText(input, picture, true, reading);
  if (outcome == told(success)) {
    DTSZdate_parts& parts = reading.parts;
    if (reading.isMidnight) parts.hour = 0;
    *lilianSeconds = secondsSum(lilianDayOf(parts), parts);
  }
  return report(feedback, outcome);
}

int16_t qrtdtsdate(const int32_t* lilianDay, const QrtVaryingString* picture, char* output,
                   QrtFeedback* feedback) {
  memset(output, ' ', QRT_DATE_FIELD);
  if (!isLilianDay(*lilianDay)) return report(feedback, told(dayOutOfRange));
  DTSZdate_parts parts = {};
  splitDay(*lilianDay, parts);
  return report(feedback,
                showText(parts, *lilianDay, shownPictureOf(picture, defaultDatePicture), false, output));
}

int16_t qrtdtsdatm(const double* lilianSeconds, const QrtVaryingString* picture, char* output,
                   QrtFeedback* feedback) {
  memset(output, ' ', QRT_DATE_FIELD);
  DTSZdate_parts parts = {};
  const int32_t lilianDay = splitSeconds(*lilianSeconds, parts);
  if (lilianDay == 0) return report(feedback, told(secondsOutOfRange));
  const Picture shape = shownPictureOf(picture, defaultTimePicture);
  if (isTwelveHour(shape.text)) toTwelveHours(parts);
  return report(feedback, showText(parts, lilianDay, shape, true, output));
}

int16_t qrtdtsseci(const double* lilianSeconds, int32_t* year, int32_t* month, int32_t* day, int32_t* hours,
                   int32_t* minutes, int32_t* seconds, int32_t* milliseconds, QrtFeedback* feedback) {
  DTSZdate_parts parts = {};
  const bool isInRange = splitSeconds(*lilianSeconds, parts) != 0;
  *year = parts.year;
  *month = parts.month;
  *day = parts.day;
  *hours = parts.hour;
  *minutes = parts.minute;
  *seconds = parts.second;
  *milliseconds = parts.millisecond;
  return report(feedback, isInRange ? told(success) : told(secondsOutOfRange));
}

int16_t qrtdtsisec(const int32_t* year, const int32_t* month, const int32_t* day, const int32_t* hours,
                   const int32_t* minutes, const int32_t* seconds, const int32_t* milliseconds,
                   double* lilianSeconds, QrtFeedback* feedback) {
  DTSZdate_parts parts = {};
  parts.year = *year;
  parts.month = *month;
  parts.day = *day;
  parts.hour = *hours;
  parts.minute = *minutes;
  parts.second = *seconds;
  parts.millisecond = *milliseconds;
  *lilianSeconds = 0;
  Outcome outcome = faultOfDate(parts);
  if (outcome == told(success)) outcome = faultOfTime(parts);
  if (outcome == told(success)) {
    *lilianSeconds = secondsSum(lilianDayOf(parts), parts);
  }
  return report(feedback, outcome);
}

int16_t qrtdtsdywk(const int32_t* lilianDay, int32_t* weekday, QrtFeedback* feedback) {
  const int32_t day = *lilianDay;
  *weekday = 0;
  if (!isLilianDay(day)) return report(feedback, told(dayOutOfRange));
  *weekday = weekdayOf(day);
  return report(feedback, told(success));
}

int16_t qrtdtsgmto(int32_t* hours, int32_t* minutes, double* seconds, QrtFeedback* feedback) {
  const platform::LocalTime now = platform::localTime();
  const int32_t offset = now.isKnown ? now.secondsEast : 0;
  *hours = offset / 3600;
  *minutes = (*hours * 3600 - offset) / 60;
  *seconds = offset;
  return report(feedback, now.isKnown ? told(success) : told(clockUnknown));
}

int16_t qrtdtsgmt(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback) {
  const platform::LocalTime now = platform::localTime();
  *lilianDay = 0;
  *lilianSeconds = 0;
  if (!now.isKnown) return report(feedback, told(offsetUnknown));
  constexpr int32_t minutesOfDay = 24 * 60;
  DTSZdate_parts parts = partsOf(now);
  *lilianDay = lilianDayOf(parts);
  int32_t minutes = parts.hour * 60 + parts.minute - now.secondsEast / 60;
  const int32_t daysAhead = (minutes + minutesOfDay) / minutesOfDay - 1;  // no offset reaches a day
  *lilianDay += daysAhead;
  minutes -= daysAhead * minutesOfDay;
  parts.hour = minutes / 60;
  parts.minute = minutes % 60;
  *lilianSeconds = secondsSum(*lilianDay, parts);
  return report(feedback, told(success));
}

int16_t qrtdtsutc(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback) {
  return DTSGMT(lilianDay, lilianSeconds, feedback);
}

int16_t qrtdtsloct(int32_t* lilianDay, double* lilianSeconds, char* text, QrtFeedback* feedback) {
  const DTSZdate_parts parts = partsOf(platform::localTime());
  *lilianDay = lilianDayOf(parts);
  *lilianSeconds = secondsSum(*lilianDay, parts);
  render(parts, "YYYYMMDDHHMISS999", text, text + QRT_LOCAL_TIME_FIELD, nullptr, nullptr, true);
  return report(feedback, told(success));
}

int16_t qrtkbzedt4(char* date, QrtFeedback* feedback) {
  int32_t lilianDay;
  double lilianSeconds;
  char text[QRT_LOCAL_TIME_FIELD];
  QrtFeedback local;
  qrtdtsloct(&lilianDay, &lilianSeconds, text, &local);
  if (local.messageNumber != 0) {
    date[0] = '\0';
    return report(feedback, told(localTimeUnknown));
  }
  memcpy(date, text, QRT_LOCAL_DATE_FIELD);
  return report(feedback, told(success));
}

int16_t qrtdtsscen(const int32_t* window, QrtFeedback* feedback) {
  if (*window < 0 || *window > mostWindow) return report(feedback, told(badWindow));
  frame::underNestedGuard([&] { _qrtRuncom->centuryWindow = *window; });
  return report(feedback, told(success));
}

int16_t qrtdtsqcen(int32_t* window, QrtFeedback* feedback) {
  *window = _qrtRuncom->centuryWindow;
  return report(feedback, told(success));
}

}  // namespace qrt::datetime
