// Parsing: a text, read by a picture into a date in parts.
#pragma once

#include "datetime/picture.h"

namespace qrt::datetime {

// Which of the parts that make a date a picture has given.
struct Seen {
  bool year, month, day;
};

// A parsing under way, of a picture and an input in the form that normalise makes.
struct Parsing {
  DTSZdate_parts& parts;
  PictureCursor picture;
  const char* input;
  const char* inputEnd;
  const DTSZera_table* japanese;  // null for none
  const DTSZera_table* chinese;
  Seen seen = {};

  std::string_view rest() const { return {input, static_cast<size_t>(inputEnd - input)}; }
};

// The tokens. Each takes a token from the picture and what it stands for from the input; the results are
// QRT_PICTURE_* codes.
int32_t parseYear(Parsing& from);
int32_t parseMonth(Parsing& from);
int32_t parseWeekday(Parsing& from);
int32_t parseNumber(Parsing& from);
int32_t parseFraction(Parsing& from);
int32_t parseMeridiem(Parsing& from);
int32_t parseRoman(Parsing& from);
template <int32_t era>
int32_t parseEra(Parsing& from);

// One token as an exported step, as renderStep.
template <int32_t (*step)(Parsing&), typename... Extra>
int32_t parseStep(DTSZdate_parts* parts, const char** input, const char** picture, int32_t* suppressesZeros,
                  const char* pictureEnd, const char* inputEnd, Extra... extra) {
  const DTSZera_table* const eras = erasIn(extra...);
  Parsing from = {*parts, {*picture, pictureEnd, *suppressesZeros != 0}, *input, inputEnd, eras, eras};
  const int32_t code = step(from);
  *input = from.input;
  *picture = from.picture.at;
  *suppressesZeros = from.picture.suppressesZeros;
  return code;
}

// Writes the text without leading blanks, in upper case, each run of blanks as one "/", and without a final
// "/", to `to`, which has room for its length and normaliseSlack bytes more. Returns the end of what was
// written. Where only a single blank at a time is in the text, sixteen bytes go at once.
inline constexpr size_t normaliseSlack = 15;
char* normalise(std::string_view text, char* to);

// What a picture and a text say together.
struct PictureReading {
  DTSZdate_parts parts;
  int32_t code;     // QRT_PICTURE_*
  bool isMidnight;  // a time that says twelve by a twelve-hour clock, and not PM
};

// Reads a text by a picture, or by the default one where the picture is blank.
void readByPicture(std::string_view picture, std::string_view input, bool isTime,
                   const DTSZera_table* japanese, const DTSZera_table* chinese, PictureReading& reading);

int32_t convertFromPicture(const char* input, const char* picture, DTSZdate_parts* parts, int32_t* code,
                           void* nameScratch, const DTSZera_table* japanese, const DTSZera_table* chinese,
                           const char* pictureEnd, const char* inputEnd, QrtFeedback* feedback,
                           int32_t isTime);

}  // namespace qrt::datetime
