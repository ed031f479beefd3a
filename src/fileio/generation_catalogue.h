// The catalogue of a generation group: its image, which is the file to the byte, and the order of its
// generations through the wraps of their numbering.
#pragma once

#include <stdint.h>

namespace qrt::fileio {

inline constexpr int32_t mostGenerations = 1000;

// Bits of GenerationCatalogue.flags; the upper two mean nothing in a file.
inline constexpr uint32_t emptyWhenFull = 0x01;
inline constexpr uint32_t scratchDropped = 0x02;
inline constexpr uint32_t settingFlags = emptyWhenFull | scratchDropped;
inline constexpr uint32_t catalogueRead = 0x01000000;
inline constexpr uint32_t catalogueChanged = 0x02000000;

struct GenerationCatalogue {
  char magic[4];       //  0: "GDG\n"
  uint32_t byteOrder;  //  4: 1234 as the machine that wrote the file has it
  uint32_t version;    //  8: 1
  int32_t limit;       // 12: most generations, 1 to 1,000
  int32_t days;        // 16: age in days from which a generation may be dropped; 0 for any
  uint32_t flags;      // 20
  int32_t count;       // 24: entries in use
  int32_t latest;      // 28: generation number of the last entry, 0 when there is none
  uint32_t wrap;       // 32: wrap of the last entry, as it stands in the entry
  int32_t fileSystem;  // 36: MemberSystem
  uint32_t reserved[14];
  // 96: from the oldest to the newest, generation number in the low 14 bits, in the high 17 how many times
  // the numbers had wrapped; so the order of age is that of the words.
  uint32_t entries[mostGenerations];
};
static_assert(sizeof(GenerationCatalogue) == 4096);

constexpr int32_t generationOf(uint32_t entry) {
  return static_cast<int32_t>(entry & 0x3FFF);
}

constexpr uint32_t wrapCountOf(uint32_t entry) {
  return entry >> 15;
}

// An empty catalogue, of this machine's byte order.
void initialise(GenerationCatalogue& catalogue);

// Brings an image as it stood in a file into this machine's form, marked as read. An image of the other byte
// order loses its settings and is marked as changed. False for what isn't a catalogue of this version.
bool adoptImage(GenerationCatalogue& catalogue);

// Position of a generation, -1 when it isn't catalogued.
int32_t positionOf(const GenerationCatalogue& catalogue, int32_t generation);

// The number that is `offset` above the latest one, from 1 again above 9999.
int32_t generationAbove(const GenerationCatalogue& catalogue, int32_t offset);

// Enters a generation that isn't catalogued; there must be room.
void enterGeneration(GenerationCatalogue& catalogue, int32_t generation);

// Closes the gap that `count` entries from a position on leave.
void removeEntries(GenerationCatalogue& catalogue, int32_t position, int32_t count);

// Makes the header agree with `count` entries and clears those behind them.
void setCount(GenerationCatalogue& catalogue, int32_t count);

// Counts the wraps anew, from `first` on.
void renumber(GenerationCatalogue& catalogue, uint32_t first);

// Opens the catalogue file of that path: reads and adopts it, or makes it. Returns its descriptor, or -1.
// What went wrong is told on standard error.
int openCatalogue(GenerationCatalogue& catalogue, const char* path);
int createCatalogue(const char* path);

// Writes a changed catalogue and closes its file; false when either fails, which is told on standard error.
bool closeCatalogue(GenerationCatalogue& catalogue, const char* path, int descriptor);

}  // namespace qrt::fileio
