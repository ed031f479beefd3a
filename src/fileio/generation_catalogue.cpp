// Catalogues of generation groups.
#include "fileio/generation_catalogue.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <span>

#include "fileio/generation_name.h"
#include "platform/data_files.h"

namespace qrt::fileio {
namespace {

constexpr char magic[] = {'G', 'D', 'G', '\n'};
constexpr uint32_t ownByteOrder = 1234;
constexpr uint32_t ownVersion = 1;
constexpr uint32_t oneWrap = 0x8000;
constexpr uint32_t wrapMask = 0xFFFF8000;

// Numbers this far apart belong to both sides of a wrap.
constexpr int32_t lastBeforeWrap = 8999;
constexpr int32_t firstBehindWrap = 1000;

std::span<uint32_t> entriesOf(GenerationCatalogue& catalogue) {
  return {catalogue.entries, static_cast<size_t>(catalogue.count)};
}

void swapBytes(GenerationCatalogue& catalogue) {
  uint32_t words[sizeof(catalogue) / sizeof(uint32_t)];
  memcpy(words, &catalogue, sizeof(catalogue));
  for (uint32_t& word : words) word = __builtin_bswap32(word);
  memcpy(&catalogue, words, sizeof(catalogue));
}

void adoptByteOrder(GenerationCatalogue& catalogue) {
  if (catalogue.byteOrder == ownByteOrder) return;
  swapBytes(catalogue);
  memcpy(catalogue.magic, magic, sizeof(magic));
  catalogue.byteOrder = ownByteOrder;
  catalogue.flags = catalogueRead | catalogueChanged;
  fputs("Info: Endian swapped!\n", stderr);
}

// Sets latest and wrap from the last entry.
void setLatest(GenerationCatalogue& catalogue) {
  const uint32_t last = catalogue.count > 0 ? catalogue.entries[catalogue.count - 1] : 0;
  catalogue.latest = generationOf(last);
  catalogue.wrap = last & wrapMask;
}

// Wrap of a generation that comes behind those of the catalogue, or just ahead of their last wrap.
uint32_t wrapFor(GenerationCatalogue& catalogue, int32_t generation) {
  if (catalogue.count == 0) return catalogue.wrap;
  if (catalogue.latest > lastBeforeWrap && generation < firstBehindWrap) {
    if (catalogue.wrap + oneWrap == 0) renumber(catalogue, 0);
    return catalogue.wrap + oneWrap;
  }
  if (catalogue.latest < firstBehindWrap && generation > lastBeforeWrap) {
    if (catalogue.wrap == 0) renumber(catalogue, 1);
    return catalogue.wrap - oneWrap;
  }
  return catalogue.wrap;
}

// --- the file -----------------------------------------------------------------------------------------

// Reading and writing of the whole image differ by the call and its name alone.
struct Transfer {
  const char* name;
  ptrdiff_t (*some)(int descriptor, char* bytes, size_t count);
};

constexpr Transfer reading = {"read", [](int descriptor, char* bytes, size_t count) {
                                return platform::readSome(descriptor, bytes, count);
                              }};
constexpr Transfer writing = {"write", [](int descriptor, char* bytes, size_t count) {
                                return platform::writeSome(descriptor, bytes, count);
                              }};

void tell(const char* severity, const Transfer& transfer, const char* call) {
  const int error = errno;
  fprintf(stderr, "%s: GDG_%s:%s - %d %s\n", severity, transfer.name, call, error, strerror(error));
}

// Moves all 4,096 bytes, from the start of the file. False at its end and on errors, which are told.
bool transferImage(const Transfer& transfer, int descriptor, GenerationCatalogue& catalogue) {
  if (!platform::seekToStart(descriptor)) {
    tell("Info", transfer, "lseek");
    return false;
  }
  auto* const bytes = reinterpret_cast<char*>(&catalogue);
  for (size_t done = 0; done < sizeof(catalogue);) {
    const ptrdiff_t moved = transfer.some(descriptor, bytes + done, sizeof(catalogue) - done);
    if (moved == 0) return false;
    if (moved > 0) {
      done += static_cast<size_t>(moved);
      continue;
    }
    const bool again = platform::isWorthRetrying(errno);
    tell(again ? "Info" : "Error", transfer, transfer.name);
    if (!again) return false;
  }
  return true;
}

int openDescriptor(const char* path, platform::OpenFor purpose) {
  const int descriptor = platform::openDataFile(path, purpose);
  if (descriptor < 0) {
    const int error = errno;
    fprintf(stderr, "Error: GDG_open:open(%s) - %d %s\n", path, error, strerror(error));
  }
  return descriptor;
}

}  // namespace

void initialise(GenerationCatalogue& catalogue) {
  catalogue = {};
  memcpy(catalogue.magic, magic, sizeof(magic));
  catalogue.byteOrder = ownByteOrder;
  catalogue.version = ownVersion;
}

bool adoptImage(GenerationCatalogue& catalogue) {
  if (memcmp(catalogue.magic, magic, sizeof(magic)) != 0) return false;
  catalogue.flags = (catalogue.flags | catalogueRead) & ~catalogueChanged;
  adoptByteOrder(catalogue);
  if (catalogue.version > ownVersion) fputs("Error: GDG catalogue version unkown!\n", stderr);
  if (catalogue.version != ownVersion) return false;
  // A count that the image has no room for is that of a broken file.
  if (catalogue.count < 0 || catalogue.count > mostGenerations) return false;
  setLatest(catalogue);
  return true;
}

int32_t positionOf(const GenerationCatalogue& catalogue, int32_t generation) {
  for (int32_t at = 0; at < catalogue.count; ++at)
    if (generationOf(catalogue.entries[at]) == generation) return at;
  return -1;
}

int32_t generationAbove(const GenerationCatalogue& catalogue, int32_t offset) {
  const int32_t above = catalogue.latest + offset;
  return above > highestGeneration ? above - highestGeneration : above;
}

void enterGeneration(GenerationCatalogue& catalogue, int32_t generation) {
  const uint32_t entry = wrapFor(catalogue, generation) | static_cast<uint32_t>(generation);
  catalogue.entries[catalogue.count] = entry;
  setCount(catalogue, catalogue.count + 1);
  const std::span<uint32_t> entries = entriesOf(catalogue);
  if (std::is_sorted(entries.begin(), entries.end())) return;
  std::sort(entries.begin(), entries.end());
  setLatest(catalogue);
}

void removeEntries(GenerationCatalogue& catalogue, int32_t position, int32_t count) {
  const std::span<uint32_t> entries = entriesOf(catalogue);
  std::copy(entries.begin() + position + count, entries.end(), entries.begin() + position);
  setCount(catalogue, catalogue.count - count);
}

void setCount(GenerationCatalogue& catalogue, int32_t count) {
  for (int32_t at = count; at < catalogue.count; ++at) catalogue.entries[at] = 0;
  catalogue.count = count;
  setLatest(catalogue);
  catalogue.flags |= catalogueChanged;
}

void renumber(GenerationCatalogue& catalogue, uint32_t first) {
  uint32_t wrap = first;
  int32_t before = 0;
  for (uint32_t& entry : entriesOf(catalogue)) {
    const int32_t generation = generationOf(entry);
    if (generation < before) ++wrap;
    entry = wrap * oneWrap | static_cast<uint32_t>(generation);
    before = generation;
  }
  setLatest(catalogue);
  catalogue.flags |= catalogueChanged;
}

int openCatalogue(GenerationCatalogue& catalogue, const char* path) {
  const int descriptor = openDescriptor(path, platform::OpenFor::update);
  if (descriptor < 0) return -1;
  if (transferImage(reading, descriptor, catalogue) && adoptImage(catalogue)) return descriptor;
  platform::closeDataFile(descriptor);
  return -1;
}

int createCatalogue(const char* path) {
  return openDescriptor(path, platform::OpenFor::creation);
}

bool closeCatalogue(GenerationCatalogue& catalogue, const char* path, int descriptor) {
  const bool isWritten =
      (catalogue.flags & catalogueChanged) == 0 || transferImage(writing, descriptor, catalogue);
  catalogue.flags &= ~catalogueChanged;
  const bool isClosed = platform::closeDataFile(descriptor);
  if (!isClosed) {
    const int error = errno;
    fprintf(stderr, "Error: GDG_close:close(%s) - %d %s\n", path, error, strerror(error));
  }
  return isWritten && isClosed;
}

}  // namespace qrt::fileio
