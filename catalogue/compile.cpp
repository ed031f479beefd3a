// Source lines are joined into entries, entries are checked and kept in the order of number and variant, and
// the image is laid out from them: header, index, texts.
#include "catalogue/compile.h"

#include <array>
#include <charconv>
#include <map>
#include <optional>
#include <utility>

namespace qrt::catalogue {
namespace {

constexpr size_t headerSize = 32;
constexpr size_t countOffset = 30;
constexpr size_t indexEntrySize = 8;
constexpr std::string_view blanks = " \t\r";

// What the writer's formatted print may be asked for, with the flags that have a meaning there.
struct ConversionKind {
  char letter;
  std::string_view flags;
};
constexpr std::array<ConversionKind, 6> conversionKinds{
    {{'d', "-+0"}, {'i', "-+0"}, {'u', "-0"}, {'x', "-0#"}, {'c', "-"}, {'s', "-"}}};
constexpr int mostConversions = 9;
constexpr size_t mostWidthDigits = 2;  // keeps an insert from outgrowing the writer's buffer

struct Key {
  uint16_t number;
  uint16_t variant;
  auto operator<=>(const Key&) const = default;
};

struct Entry {
  size_t line;
  std::string text;  // with severity digit and blank, escapes resolved
};

// The outcome of one check: empty when all is well, else what to tell the author.
using Complaint = std::optional<std::string>;

struct Compiler {
  std::map<Key, Entry> entries;
  std::vector<SourceError> errors;
  size_t imageSize = headerSize;
};

// Takes the longest run of bytes out of `set` from the front of `text`.
std::string_view takeRun(std::string_view& text, std::string_view set) {
  const std::string_view run = text.substr(0, text.find_first_not_of(set));
  text.remove_prefix(run.size());
  return run;
}

std::string_view takeDigits(std::string_view& text) {
  return takeRun(text, "0123456789");
}

// The value of a run of digits that lies from `lowest` to 65535.
std::optional<uint16_t> toWord(std::string_view digits, uint16_t lowest) {
  uint16_t value = 0;
  const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (fault != std::errc{} || end != digits.data() + digits.size() || value < lowest) return std::nullopt;
  return value;
}

// Checks the formatted-print conversions of one text, in the writer's reading of them.
class ConversionCheck {
 public:
  explicit ConversionCheck(std::string_view text) : rest(text) {}

  Complaint run() {
    for (size_t at = rest.find('%'); at != std::string_view::npos; at = rest.find('%')) {
      rest.remove_prefix(at + 1);
      if (++count > mostConversions) return "more than 9 conversions in one text";
      if (Complaint complaint = checkOne()) return complaint;
    }
    return std::nullopt;
  }

 private:
  Complaint checkOne() {
    int position = count;
    if (Complaint complaint = takePosition(position)) return complaint;
    const std::string_view flags = takeRun(rest, "-+0#");
    if (takeDigits(rest).size() > mostWidthDigits) return "a width of more than 2 digits";
    const char letter = rest.empty() ? '\0' : rest.front();
    for (const ConversionKind& kind : conversionKinds)
      if (kind.letter == letter) {
        if (flags.find_first_not_of(kind.flags) != std::string_view::npos)
          return std::string("a flag that %") + letter + " does not take";
        rest.remove_prefix(1);
        return claim(position, letter == 's');
      }
    return "a conversion other than %d %i %u %x %c %s";
  }

  // Reads "n$", if it stands there.
  Complaint takePosition(int& position) {
    const std::string_view digits = rest.substr(0, rest.find_first_not_of("0123456789"));
    const bool found = !digits.empty() && digits.size() < rest.size() && rest[digits.size()] == '$';
    if (count > 1 && found != positional) return "conversions with and without a position in one text";
    positional = found;
    if (!found) return std::nullopt;
    if (digits.size() != 1 || digits[0] == '0') return "a position %n$ goes from 1 to 9";
    position = digits[0] - '0';
    rest.remove_prefix(2);
    return std::nullopt;
  }

  // One value can't be shown as a text here and as a number there.
  Complaint claim(int position, bool isText) {
    char& use = uses[position];
    const char wanted = isText ? 's' : 'd';
    if (use != '\0' && use != wanted) return "one value used both as text and as number";
    use = wanted;
    return std::nullopt;
  }

  std::string_view rest;
  int count = 0;
  bool positional = false;
  std::array<char, mostConversions + 1> uses{};
};

// Appends `source` to `text` with its escapes resolved.
Complaint unescape(std::string_view source, std::string& text) {
  for (size_t at = 0; at < source.size(); ++at) {
    if (source[at] != '\\') {
      text += source[at];
      continue;
    }
    ++at;
    if (at == source.size() || (source[at] != 'n' && source[at] != '\\'))
      return "an escape other than \\n and \\\\";
    text += source[at] == 'n' ? '\n' : '\\';
  }
  return std::nullopt;
}

// Reads "NUMBER.VARIANT" or "NUMBER" up to the blank behind it.
Complaint takeKey(std::string_view& line, Key& key) {
  const std::string_view number = takeDigits(line);
  if (number.empty()) return "an entry starts with its message number";
  std::string_view variant = "1";
  if (line.starts_with('.')) {
    line.remove_prefix(1);
    variant = takeDigits(line);
  }
  if (takeRun(line, blanks).empty()) return "a blank is missing behind the message number";
  const auto numberValue = toWord(number, 0);
  if (!numberValue) return "a message number goes from 0 to 65535";
  const auto variantValue = toWord(variant, 1);
  if (!variantValue) return "a variant goes from 1 to 65535";
  key = {*numberValue, *variantValue};
  return std::nullopt;
}

Complaint addEntry(Compiler& compiler, size_t line, std::string_view source) {
  Key key{};
  if (Complaint complaint = takeKey(source, key)) return complaint;
  if (source.size() < 2 || source[0] < '0' || source[0] > '3' || blanks.find(source[1]) == blanks.npos)
    return "a severity digit, 0 to 3, and a blank stand in front of the text";
  std::string text{source[0], ' '};
  source.remove_prefix(1);
  takeRun(source, blanks);
  if (source.empty()) return "the text is missing";
  if (Complaint complaint = unescape(source, text)) return complaint;
  if (Complaint complaint = ConversionCheck(text).run()) return complaint;

  const size_t size = indexEntrySize + text.size() + 1;
  const auto [place, isNew] = compiler.entries.try_emplace(key, Entry{line, std::move(text)});
  if (!isNew)
    return "number and variant were given on line " + std::to_string(place->second.line) + " already";
  const bool fitted = compiler.imageSize <= largestImage;
  compiler.imageSize += size;
  if (fitted && compiler.imageSize > largestImage)
    return "with this text the catalogue exceeds " + std::to_string(largestImage) + " bytes";
  return std::nullopt;
}

void finishEntry(Compiler& compiler, std::optional<Entry>& open) {
  if (!open) return;
  if (Complaint complaint = addEntry(compiler, open->line, open->text))
    compiler.errors.push_back({open->line, std::move(*complaint)});
  open.reset();
}

// Joins lines into entries: a line that starts with a blank continues the entry of the line before it.
void readSource(Compiler& compiler, std::string_view source) {
  std::optional<Entry> open;
  for (size_t number = 1; !source.empty(); ++number) {
    const size_t end = source.find('\n');
    std::string_view line = source.substr(0, end);
    source.remove_prefix(end == source.npos ? source.size() : end + 1);
    line = line.substr(0, line.find_last_not_of(blanks) + 1);

    const bool continues = !line.empty() && blanks.find(line[0]) != blanks.npos;
    if (!continues) finishEntry(compiler, open);
    if (line.find('\0') != line.npos) {
      compiler.errors.push_back({number, "a zero byte"});
      open.reset();
    } else if (continues) {
      takeRun(line, blanks);
      if (open)
        open->text.append(1, ' ').append(line);
      else
        compiler.errors.push_back({number, "a continuation without an entry above it"});
    } else if (!line.empty() && line[0] != '#') {
      open = Entry{number, std::string(line)};
    }
  }
  finishEntry(compiler, open);
}

void store(std::vector<uint8_t>& image, size_t offset, uint32_t value, size_t bytes) {
  for (size_t index = 0; index < bytes; ++index)
    image[offset + index] = static_cast<uint8_t>(value >> 8 * index);
}

std::vector<uint8_t> layOut(const Compiler& compiler) {
  std::vector<uint8_t> image(headerSize + compiler.entries.size() * indexEntrySize);
  image.reserve(compiler.imageSize);
  store(image, countOffset, static_cast<uint32_t>(compiler.entries.size()), 2);
  size_t index = headerSize;
  for (const auto& [key, entry] : compiler.entries) {
    store(image, index, key.number, 2);
    store(image, index + 2, key.variant, 2);
    store(image, index + 4, static_cast<uint32_t>(image.size()), 4);
    image.insert(image.end(), entry.text.begin(), entry.text.end());
    image.push_back(0);
    index += indexEntrySize;
  }
  return image;
}

}  // namespace

Compilation compile(std::string_view source) {
  Compiler compiler;
  readSource(compiler, source);
  if (compiler.entries.empty() && compiler.errors.empty())
    compiler.errors.push_back({1, "the source holds no message"});
  if (!compiler.errors.empty()) return {{}, std::move(compiler.errors)};
  return {layOut(compiler), {}};
}

}  // namespace qrt::catalogue
