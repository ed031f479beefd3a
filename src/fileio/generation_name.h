// Names of generation groups and their generations, and the paths made of them.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <initializer_list>
#include <string_view>

namespace qrt::fileio {

inline constexpr int32_t highestGeneration = 9999;

// The longest base name, directory included.
inline constexpr size_t longestBaseName = 259;

// How a name picks a generation of its group.
enum class GenerationForm : uint8_t {
  group,     // base, base(*): all of them
  relative,  // base(0), base(-n), base(+n): counted from the newest
  direct,    // base(n): the n-th behind the newest
  absolute,  // base.gNNNNv00
};

struct GenerationName {
  std::string_view base;  // the name without what picks the generation; its directory belongs to it
  GenerationForm form;
  int32_t number;  // as written, with its sign; 0 for a group
};

// Takes a name apart. Whatever has none of the forms is the base name of a group. False for an empty or too
// long base name and for a number that no generation can have.
bool parseGenerationName(std::string_view name, GenerationName& parsed);

// A path in a buffer of a fixed size, terminated; one that doesn't fit must not be used.
struct PathText {
  char text[1024];
  size_t length;
  bool fits;

  void set(std::initializer_list<std::string_view> parts) {
    length = 0;
    fits = true;
    text[0] = 0;
    append(parts);
  }
  void append(std::initializer_list<std::string_view> parts);
  std::string_view view() const { return {text, length}; }
};

// Sets the file name of a generation, base.gNNNNv00.
void setGenerationFileName(PathText& name, std::string_view base, int32_t generation);

// A path cut at its last separator. The directory of a name without one is ".", that of a name right below
// the root "/".
struct PathParts {
  std::string_view directory;
  std::string_view last;
};

PathParts splitAtLast(std::string_view path);

}  // namespace qrt::fileio
