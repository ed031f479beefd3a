// Rendering: a date in parts, shown by a picture.
#pragma once

#include "datetime/picture.h"

namespace qrt::datetime {

// A rendering under way.
struct Rendering {
  const DTSZdate_parts& parts;
  PictureCursor picture;
  char* output;
  char* outputEnd;
  const DTSZera_table* japanese;  // null for none
  const DTSZera_table* chinese;

  size_t room() const { return static_cast<size_t>(outputEnd - output); }
};

// The tokens. Each takes a token, or as much of it as isn't one, from the picture and shows it; the results
// are QRT_PICTURE_* codes.
int32_t renderYear(Rendering& to);
int32_t renderMonth(Rendering& to);
int32_t renderWeekday(Rendering& to);
int32_t renderNumber(Rendering& to);
int32_t renderFraction(Rendering& to);
int32_t renderMeridiem(Rendering& to);
int32_t renderRoman(Rendering& to);
template <int32_t era>
int32_t renderEra(Rendering& to);

// Shows the parts by the whole picture. Any code but "output too short" leaves the output blank. The tables
// may be null.
int32_t render(const DTSZdate_parts& parts, std::string_view picture, char* output, char* outputEnd,
               const DTSZera_table* japanese, const DTSZera_table* chinese, bool showsTime);

// One token as an exported step, with the two cursors and the flag by reference; the last argument, where
// there is one, is scratch, which isn't needed, or the table of the era.
template <int32_t (*step)(Rendering&), typename... Extra>
int32_t renderStep(const DTSZdate_parts* parts, char** output, const char** picture, int32_t* suppressesZeros,
                   const char* pictureEnd, char* outputEnd, Extra... extra) {
  const DTSZera_table* const eras = erasIn(extra...);
  Rendering to = {*parts, {*picture, pictureEnd, *suppressesZeros != 0}, *output, outputEnd, eras, eras};
  const int32_t code = step(to);
  *output = to.output;
  *picture = to.picture.at;
  *suppressesZeros = to.picture.suppressesZeros;
  return code;
}

int32_t outputDate(char* output, const char* picture, const DTSZdate_parts* parts, int32_t* code,
                   void* nameScratch, const DTSZera_table* japanese, const DTSZera_table* chinese,
                   const char* pictureEnd, char* outputEnd, int32_t showsTime);

}  // namespace qrt::datetime
