// COBRTOPT: the tokenizer, the tables of options, and what each row does to the process record.
#include <errno.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "frame/hosting.h"
#include "frame/message.h"
#include "qrtrlib.h"

namespace qrt::frame {
namespace {

constexpr int32_t unknownOption = 171;           // name
constexpr int32_t optionTakesNoSuchValue = 172;  // value, name
constexpr int32_t optionValueLength = 173;       // value, name, length
constexpr int32_t optionValueCharacters = 174;   // value, name
constexpr int32_t optionValueNumber = 181;       // value, name
constexpr int32_t optionValueRange = 182;        // value, name, lowest, highest

enum class Kind { clearBits, setBits, callRoutine, clearPendingDefault, copyText };

// A flag option stands in the text as its whole token.
struct FlagOption {
  std::string_view name;
  Kind kind;
  uint32_t mask = 0;
  std::string_view text = {};
  size_t field = 0;  // of the process record, for copyText
  void (*routine)() = nullptr;
};

constexpr FlagOption clearing(std::string_view name, uint32_t mask) {
  return {.name = name, .kind = Kind::clearBits, .mask = mask};
}
constexpr FlagOption setting(std::string_view name, uint32_t mask) {
  return {.name = name, .kind = Kind::setBits, .mask = mask};
}
constexpr FlagOption fileMode(std::string_view name, std::string_view mode) {
  return {.name = name, .kind = Kind::copyText, .text = mode, .field = offsetof(QrtProcessRecord, fileMode)};
}
constexpr FlagOption fileSystem(std::string_view name, std::string_view system) {
  return {
      .name = name, .kind = Kind::copyText, .text = system, .field = offsetof(QrtProcessRecord, fileSystem)};
}
constexpr FlagOption withoutDefault(std::string_view name) {
  return {.name = name, .kind = Kind::clearPendingDefault};
}
constexpr FlagOption trapping(std::string_view name) {
  return {.name = name, .kind = Kind::callRoutine, .routine = _qrtSignalInit};
}

// In byte order of the names.
constexpr FlagOption flagOptions[] = {
    setting("CHECK", QRT_OPTION_CHECK),
    clearing("CHECK=OFF", QRT_OPTION_CHECK),
    setting("CHECK=ON", QRT_OPTION_CHECK),
    setting("DEBUG", QRT_OPTION_DEBUG),
    fileMode("FILEMODE", "L"),
    fileMode("FILEMODE=L", "L"),
    fileMode("FILEMODE=LARGE", "L"),
    fileMode("FILEMODE=S", "S"),
    fileMode("FILEMODE=SMALL", "S"),
    withoutDefault("FILESYS"),
    fileSystem("FILESYS=HDU", "HDU"),
    fileSystem("FILESYS=KFS", "KFS"),
    fileSystem("FILESYS=KRD", "HDU"),
    fileSystem("FILESYS=KRDM", "HDU"),
    fileSystem("FILESYS=NSD", "NSD"),
    fileSystem("FILESYS=PLT", "PLT"),
    fileSystem("FILESYS=QDB", "QDB"),
    fileMode("FM", "L"),
    fileMode("FM=L", "L"),
    fileMode("FM=LARGE", "L"),
    fileMode("FM=S", "S"),
    fileMode("FM=SMALL", "S"),
    withoutDefault("FS"),
    fileSystem("FS=HDU", "HDU"),
    fileSystem("FS=KFS", "KFS"),
    fileSystem("FS=KRD", "HDU"),
    fileSystem("FS=KRDM", "HDU"),
    fileSystem("FS=NSD", "NSD"),
    fileSystem("FS=PLT", "PLT"),
    fileSystem("FS=QDB", "QDB"),
    clearing("NODEBUG", QRT_OPTION_DEBUG),
    trapping("TRAP"),
    withoutDefault("TRAP=OFF"),
    trapping("TRAP=ON"),
};
static_assert(std::ranges::is_sorted(flagOptions, {}, &FlagOption::name));

const FlagOption* findFlagOption(std::string_view name) {
  const FlagOption* row = std::ranges::lower_bound(flagOptions, name, {}, &FlagOption::name);
  return row != std::end(flagOptions) && row->name == name ? row : nullptr;
}

// The row that is applied behind all others, unless one of them decides the matter.
using PendingDefault = const FlagOption*;

void apply(const FlagOption& option, PendingDefault& pending) {
  switch (option.kind) {
    case Kind::clearBits:
      _qrtProccom->optionFlags &= ~option.mask;
      break;
    case Kind::setBits:
      _qrtProccom->optionFlags |= option.mask;
      break;
    case Kind::callRoutine:
      pending = nullptr;
      option.routine();
      break;
    case Kind::clearPendingDefault:
      pending = nullptr;
      break;
    case Kind::copyText:
      memcpy(reinterpret_cast<char*>(_qrtProccom) + option.field, option.text.data(), option.text.size());
      break;
  }
}

void setSwitches(const char* name, const char* value) {
  constexpr const char* allOff = "00000000";
  constexpr uint32_t switches = 8;
  if (*value == 0) value = allOff;
  if (strlen(value) != switches) {
    qrtWriteERRmsg(optionValueLength, 0, value, name, switches);
    value = allOff;
  }
  if (strspn(value, "01") != switches) {
    qrtWriteERRmsg(optionValueCharacters, 0, value, name);
    value = allOff;
  }
  memcpy(_qrtProccom->upsi, value, switches);
}

void setErrorCount(const char* name, const char* value) {
  char* end;
  errno = 0;
  const long number = strtol(value, &end, 10);
  const bool overflow = errno == ERANGE;
  _qrtProccom->errCount = 0;
  if (*end != 0 || number < 0)
    qrtWriteERRmsg(optionValueNumber, 0, value, name);
  else if (overflow)
    qrtWriteERRmsg(optionValueRange, 0, value, name, 0, INT32_MAX);
  else
    _qrtProccom->errCount = static_cast<uint32_t>(number);
}

// A value option takes any value that fits it; an empty one stands for its default.
struct ValueOption {
  std::string_view name;
  void (*set)(const char* name, const char* value);
};

constexpr ValueOption valueOptions[] = {{"UPSI", setSwitches}, {"ERRCOUNT", setErrorCount}};

void applyToken(char* token, PendingDefault& pending) {
  if (const FlagOption* option = findFlagOption(token)) return apply(*option, pending);

  const char* value = "";
  char* equals = strchr(token, '=');
  if (equals != nullptr) {
    *equals = 0;
    value = equals + 1;
  }
  const auto* option = std::ranges::find(valueOptions, std::string_view(token), &ValueOption::name);
  if (option != std::end(valueOptions))
    option->set(token, value);
  else if (equals == nullptr || findFlagOption(token) == nullptr)
    qrtWriteERRmsg(unknownOption, 0, token);
  else
    qrtWriteERRmsg(optionTakesNoSuchValue, 0, value, token);
}

constexpr char toUpper(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

// Cuts `text` into option tokens in place: folded to upper case, without blanks and tabs, "(" read as "=".
// The tokens lie one behind the other from the start of `text`, each terminated. Returns how many there are.
uint32_t cutOptions(char* text) {
  uint32_t count = 0;
  char* write = text;
  const char* tokenStart = text;
  const auto endToken = [&] {
    *write++ = 0;
    tokenStart = write;
    ++count;
  };
  // A token is written no further than its own separator, so the text that is still to be read stays whole.
  for (const char* read = text; *read != 0; ++read) switch (*read) {
      case ' ':
      case '\t':
        break;
      case '(':
        *write++ = '=';
        break;
      case ')':
        endToken();
        break;
      case ',':
      case ':':
        if (write != tokenStart) endToken();
        break;
      default:
        *write++ = toUpper(*read);
        break;
    }
  if (write != tokenStart) endToken();
  return count;
}

void applyOptions(const char* text, PendingDefault& pending) {
  const auto size = static_cast<uint32_t>(strlen(text)) + 1;
  auto* work = static_cast<char*>(_qrtMalloc(size, message::outOfMemory, 0));
  if (work == nullptr) return;
  memcpy(work, text, size);
  char* token = work;
  for (uint32_t left = cutOptions(work); left > 0; --left) {
    char* next = token + strlen(token) + 1;
    applyToken(token, pending);
    token = next;
  }
  _qrtCheckFree(work);
}

}  // namespace
}  // namespace qrt::frame

void _qrtProcessRteOpts() {
  using namespace qrt::frame;
  if (_qrtProccom == nullptr) return;
  PendingDefault pending = findFlagOption("TRAP");
  const char* text = hosted() ? nullptr : getenv("COBRTOPT");
  if (text != nullptr && *text != 0) applyOptions(text, pending);
  if (pending != nullptr) apply(*pending, pending);
}
