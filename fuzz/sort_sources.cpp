// Arbitrary bytes as sources of the sort engine, of text, fixed and variable records: whatever they are, a
// copy gives back their whole records, a sort the same bytes in another order, and an exit that cuts them at
// random places changes nothing.
#include <qrtrlib.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>

#include "sort/engine/lumasift.h"

namespace {

void require(bool holds) {
  if (!holds) abort();
}

std::mt19937 cuts;
std::string own;

// Gives on some of what it gets, in the engine's buffer or in its own.
int32_t cut(QrtSortBuffer* to, QrtSortBuffer* from) {
  if (from->length == 0) return 2;
  const auto most = static_cast<uint32_t>(std::min(from->length, to->length));
  const uint32_t count = std::min(most, 1 + static_cast<uint32_t>(cuts()) % 20);
  from->used = to->used = static_cast<int32_t>(count);
  if (cuts() % 2 == 0) {
    memcpy(to->address, from->address, count);
  } else {
    own.assign(reinterpret_cast<char*>(from->address), count);
    to->address = reinterpret_cast<uint8_t*>(own.data());
    to->length = to->used;
  }
  return 0;
}

struct Result {
  int32_t code;
  std::string bytes;
};

Result run(const char* options, std::string data, size_t split, QrtSortExit exit) {
  auto* const start = reinterpret_cast<uint8_t*>(data.data());
  QrtSortBuffer sources[] = {{start, static_cast<int32_t>(split), 0},
                             {start + split, static_cast<int32_t>(data.size() - split), 0},
                             {}};
  std::string room(data.size() + 600, 0);
  QrtSortBuffer targets[] = {{reinterpret_cast<uint8_t*>(room.data()), static_cast<int32_t>(room.size()), 0},
                             {}};
  const int32_t code = Lumasift_Lite(options, sources, targets, exit, nullptr, nullptr, nullptr, nullptr);
  room.resize(static_cast<size_t>(targets[0].used));
  return {code, room};
}

std::string inOrder(std::string bytes) {
  std::sort(bytes.begin(), bytes.end());
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static constexpr struct {
    const char *copy, *sort;
  } forms[] = {
      {"-s copy -z 20", "-T /dev/shm -z 20 -k 2 -t ,"},
      {"-s copy -x notrap -x 'format packed 2 char 3'",
       "-T /dev/shm -x notrap -x 'format packed 2 char 3' -k 1,1 -k 2,2r"},
      {"-s copy -x 'format rlength2 char 20'", "-T /dev/shm -x 'format rlength2 char 20' -k 2.1,2.4"},
      {"-s copy -x 'format rlength4x null flength char 9'",
       "-T /dev/shm -x 'format rlength4x null flength char 9' -k 4,4"},
  };
  if (size < 3) return 0;
  const auto& form = forms[data[0] % std::size(forms)];
  const std::string bytes(reinterpret_cast<const char*>(data) + 3, size - 3);
  const size_t split = data[1] % (bytes.size() + 1);

  const Result copied = run(form.copy, bytes, split, nullptr);
  require(copied.bytes.size() <= bytes.size());
  const Result sorted = run(form.sort, bytes, split, nullptr);
  require(sorted.code == copied.code);
  if (copied.code != 0) return 0;
  require(inOrder(sorted.bytes) == inOrder(copied.bytes));
  // Records that end with their sources are the same to an exit.
  if (copied.bytes.size() != bytes.size()) return 0;
  require(copied.bytes == bytes);
  cuts.seed(data[2]);
  const Result cutUp = run(form.sort, bytes, split, cut);
  require(cutUp.code == 0 && cutUp.bytes == sorted.bytes);
  return 0;
}
