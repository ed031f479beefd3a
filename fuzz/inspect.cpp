// Arbitrary INSPECT blocks: the statement leaves behind what the plain rules do, and touches nothing outside
// of the item and the counters. Operands have storage of exactly their size.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "input.h"
#include "statement/plain_inspect.h"

namespace {

using Storage = std::vector<uint8_t>;

using qrt::fuzz::Input;

// A statement with storage of its own: the same input makes the same one again.
struct Statement {
  std::vector<Storage> storage;
  std::vector<uint32_t> block =
      std::vector<uint32_t>(sizeof(QrtInspectBlock) / 4 - sizeof(QrtInspectPhrase) / 4);

  bool twoBytes = false;

  explicit Statement(Input input) {
    const int32_t phraseCount = input.byte() % 16;
    twoBytes = input.byte() % 4 == 3;
    QrtInspectOperand item = operand(input, 60);
    if (twoBytes) item.itemFlags |= 0x40;
    for (int32_t count = 0; count < phraseCount; ++count) add(input);
    record()->phraseCount = phraseCount;
    record()->item = item;
  }

  // One of the phrases that a compiler writes.
  void add(Input& input) {
    static constexpr uint8_t modes[] = {0, QRT_INSPECT_LEADING, QRT_INSPECT_FIRST, QRT_INSPECT_CHARACTERS};
    static constexpr uint8_t kinds[] = {QRT_INSPECT_TALLYING, QRT_INSPECT_REPLACING, QRT_INSPECT_CONVERTING};
    const uint8_t choice = input.byte(), kind = kinds[choice % 3];
    QrtInspectPhrase phrase = {operand(input, 6), operand(input, 6), operand(input, 3), operand(input, 3)};
    phrase.replacement.phraseFlags = kind;
    if (kind != QRT_INSPECT_CONVERTING) phrase.replacement.phraseFlags |= modes[choice / 3 % 4];
    if (choice / 12 % 3 == 0) phrase.replacement.phraseFlags |= QRT_INSPECT_HAS_BEFORE;
    if (choice / 36 % 3 == 0) phrase.replacement.itemFlags |= QRT_INSPECT_HAS_AFTER;
    if (kind == QRT_INSPECT_TALLYING) {
      phrase.replacement.itemFlags &= QRT_INSPECT_HAS_AFTER;
      storage.emplace_back(sizeof(uint32_t), uint8_t{0});
      phrase.replacement.address = storage.back().data();
    } else if (choice / 108 != 0 && phrase.replacement.length > 4) {
      phrase.replacement.itemFlags |= QRT_INSPECT_FIGURATIVE;
    }
    block.resize(block.size() + sizeof phrase / 4);
    memcpy(block.data() + block.size() - sizeof phrase / 4, &phrase, sizeof phrase);
  }

  QrtInspectOperand operand(Input& input, int32_t mostBytes) {
    QrtInspectOperand made{};
    const uint8_t flags = input.byte();
    if (twoBytes) made.nationalFlags = flags & QRT_INSPECT_NATIONAL_NUMERIC;
    if (!twoBytes || made.nationalFlags != 0)
      made.itemFlags = flags & (QRT_INSPECT_NUMERIC | QRT_INSPECT_SIGNED | QRT_INSPECT_SIGN_LEADS |
                                QRT_INSPECT_SEPARATE_SIGN);
    made.length = input.byte() % (mostBytes + 1);
    if (twoBytes) made.length &= ~1;
    Storage bytes(static_cast<size_t>(made.length) + 1);  // never null
    for (uint8_t& each : bytes) each = static_cast<uint8_t>("ab01 "[input.byte() % 5]);
    storage.push_back(bytes);
    made.address = storage.back().data();
    return made;
  }

  QrtInspectBlock* record() { return reinterpret_cast<QrtInspectBlock*>(block.data()); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet =
      setenv("COBMSGS", "/dev/null", 1) == 0 && setenv("COBRTOPT", "ERRCOUNT=0", 1) == 0;
  if (!quiet) abort();
  const Input input{data, size};
  Statement done(input), plain(input);
  _qrtcInspect(done.record());
  qrt::statement::plainInspect(*plain.record());
  if (done.storage != plain.storage) abort();
  return 0;
}
