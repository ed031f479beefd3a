// Quicksort with a sampled pivot, and a distribution sort that treats one word of the keys at a time. Both
// order rows that carry the word at hand; the keys themselves are read where two words are equal.
#include "sort/engine/in_memory_sort.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "sort/engine/entry.h"

namespace qrt::sort {
namespace {

// The keys of one buffer, whose rows carry the word of that number. Words before it are known to be equal.
struct Keys {
  const uint8_t* buffer;
  uint32_t word;

  const uint32_t* wordsBehind(const SortRow& row) const {
    return reinterpret_cast<const uint32_t*>(buffer + row.offset) + word + 1;
  }
  bool isBelow(const SortRow& left, const SortRow& right) const {
    if (left.word != right.word) [[likely]]
      return left.word < right.word;
    return keyIsBelow(wordsBehind(left), wordsBehind(right));
  }
  void load(std::span<SortRow> rows) const {
    for (SortRow& row : rows) row.word = reinterpret_cast<const uint32_t*>(buffer + row.offset)[word];
  }
};

void orderTwo(SortRow& first, SortRow& second, const Keys& keys) {
  if (keys.isBelow(second, first)) std::swap(first, second);
}

void orderThree(SortRow& first, SortRow& second, SortRow& third, const Keys& keys) {
  orderTwo(first, second, keys);
  if (keys.isBelow(third, second)) {
    std::swap(second, third);
    orderTwo(first, second, keys);
  }
}

// Up to three rows.
void orderFew(std::span<SortRow> rows, const Keys& keys) {
  if (rows.size() == 2) orderTwo(rows[0], rows[1], keys);
  if (rows.size() == 3) orderThree(rows[0], rows[1], rows[2], keys);
}

// Parts the rows around a pivot that has been taken out of their last place, which is a hole: rows are moved
// past it from both ends until the ends meet, and there the pivot goes.
SortRow* partAround(const SortRow pivot, SortRow* first, SortRow* last, const Keys& keys) {
  SortRow* left = first;
  SortRow* hole = last;
  while (true) {
    while (left < hole && keys.isBelow(*left, pivot)) ++left;
    if (left == hole) break;
    *hole = *left;
    SortRow* right = hole - 1;
    while (right > left && keys.isBelow(pivot, *right)) --right;
    if (right == left) {
      hole = left;
      break;
    }
    *left++ = *right;
    hole = right;
  }
  *hole = pivot;
  return hole;
}

constexpr size_t smallestSampledHalf = 30;
constexpr size_t largestSample = 2 * 104 + 1;

// Rows on each side of the median in the sample of a range whose half has that many rows.
size_t sampleSide(size_t half) {
  const size_t scale = half <= 65536 ? half / 16 : 4096;
  return static_cast<size_t>(std::ceil(1.625F * std::sqrt(static_cast<float>(scale))));
}

// Puts the median of the rows into its place, the lower rows before it and the higher ones behind it.
void placeMedian(std::span<SortRow> rows, const Keys& keys) {
  SortRow* const median = &rows[rows.size() / 2];
  SortRow* first = &rows.front();
  SortRow* last = &rows.back();
  while (first < last) {
    std::swap(*(first + (last - first) / 2), *last);
    SortRow* const pivot = partAround(*last, first, last, keys);
    if (pivot == median) return;
    if (pivot < median) first = pivot + 1;
    if (pivot > median) last = pivot - 1;
  }
}

// Parts a range around the median of a sample, which is spread evenly over its two halves. The sample's lower
// rows go to the range's start, its upper ones to the end: their sides are known.
SortRow* partBySample(std::span<SortRow> rows, size_t half, const Keys& keys) {
  const size_t side = sampleSide(half), stride = half / (side + 1);
  SortRow* const start = rows.data();
  SortRow* const end = start + rows.size();
  std::array<SortRow, largestSample> sample;
  for (size_t at = 0; at < side; ++at) sample[at] = std::exchange(start[(at + 1) * stride], start[at]);
  for (size_t at = 0; at <= side; ++at)
    sample[side + at] = std::exchange(*(end - (at + 1) * stride), *(end - 1 - at));
  placeMedian({sample.data(), 2 * side + 1}, keys);
  memcpy(start, sample.data(), side * sizeof(SortRow));
  memcpy(end - side, sample.data() + side + 1, side * sizeof(SortRow));
  return partAround(sample[side], start + side, end - side - 1, keys);
}

// Parts a range around the median of its first, middle and last row.
SortRow* partByThree(std::span<SortRow> rows, size_t half, const Keys& keys) {
  SortRow& middle = rows[half];
  orderThree(rows.front(), middle, rows.back(), keys);
  const SortRow pivot = std::exchange(middle, rows[rows.size() - 2]);
  return partAround(pivot, &rows[1], &rows[rows.size() - 2], keys);
}

void quicksort(std::span<SortRow> rows, const Keys& keys) {
  std::array<std::span<SortRow>, 64> waiting;
  size_t depth = 0;
  while (true) {
    while (rows.size() > 3) {
      const size_t half = (rows.size() - 1) / 2;
      SortRow* const pivot =
          half >= smallestSampledHalf ? partBySample(rows, half, keys) : partByThree(rows, half, keys);
      std::span<SortRow> left = {rows.data(), pivot};
      std::span<SortRow> right = {pivot + 1, rows.data() + rows.size()};
      if (left.size() < right.size()) std::swap(left, right);
      orderFew(right, keys);
      if (left.size() > 3 && right.size() > 3) waiting[depth++] = left;
      rows = right.size() > 3 ? right : left;
    }
    orderFew(rows, keys);
    if (depth == 0) return;
    rows = waiting[--depth];
  }
}

// How a distribution samples a range of up to that many rows.
struct SampleSize {
  size_t rows;
  uint32_t size;
  uint32_t hashSize;
};

constexpr uint32_t largestHashSize = 293;
constexpr SampleSize sampleSizes[] = {
    {511, 23, 71}, {1023, 45, 137}, {2047, 67, 209}, {4095, 83, 251}, {SIZE_MAX, 97, largestHashSize}};

constexpr uint32_t sampleStarts = 153;

// What is added to the even strides of a sample, so that no period of the rows meets it.
constexpr std::array<uint8_t, 250> sampleDigits = [] {
  std::array<uint8_t, 250> digits{};
  uint32_t state = 20;
  for (uint8_t& digit : digits) digit = static_cast<uint8_t>((state = state * 1103515245 + 12345) >> 16) % 10;
  return digits;
}();

struct Sample {
  uint32_t size;
  uint32_t smallest;
  uint32_t largest;
  uint32_t frequent;  // the most frequent word
  uint32_t frequentCount;
};

// Counts the words of a sample in a hash table of chained nodes.
Sample takeSample(std::span<const SortRow> rows, uint32_t start) {
  const SampleSize* row = sampleSizes;
  while (rows.size() > row->rows) ++row;
  struct Node {
    uint32_t count;
    uint32_t word;
    uint8_t next;  // 0 for none
  };
  std::array<Node, 98> nodes;
  std::array<uint8_t, largestHashSize> chains{};
  uint8_t used = 0;
  Sample sample{row->size, UINT32_MAX, 0, 0, 0};
  const size_t stride = (rows.size() - 10) / row->size;
  for (uint32_t at = 0; at < row->size; ++at) {
    const uint32_t word = rows[at * stride + sampleDigits[start + at]].word;
    sample.smallest = std::min(sample.smallest, word);
    sample.largest = std::max(sample.largest, word);
    uint8_t& chain = chains[word % row->hashSize];
    uint8_t node = chain;
    while (node != 0 && nodes[node].word != word) node = nodes[node].next;
    if (node == 0) {
      node = ++used;
      nodes[node] = {0, word, chain};
      chain = node;
    }
    if (++nodes[node].count > sample.frequentCount) {
      sample.frequent = word;
      sample.frequentCount = nodes[node].count;
    }
  }
  return sample;
}

// Buckets of equal width over the words from `low` on; what lies below goes to bucket 0, what lies above to
// the one behind the last.
struct Spread {
  uint32_t low;
  uint32_t shift;
  uint32_t covered;  // buckets between the first and the last

  uint32_t buckets() const { return covered + 2; }
  uint32_t bucketOf(uint32_t word) const {
    return word < low ? 0 : std::min((word - low) >> shift, covered) + 1;
  }
  bool holdsOneWord(uint32_t bucket) const { return shift == 0 && bucket > 0 && bucket <= covered; }
};

Spread spreadOf(const Sample& sample, size_t rows) {
  const uint32_t range = sample.largest - sample.smallest;
  const uint64_t margin = uint64_t{8} * range / (sample.size - 3);
  const uint64_t top = std::min<uint64_t>(range + margin, UINT32_MAX);
  const uint32_t low = margin / 2 > sample.smallest ? 0 : sample.smallest - static_cast<uint32_t>(margin / 2);
  const uint32_t mask = UINT32_MAX >> __builtin_clz(static_cast<uint32_t>(top));
  uint32_t shift = 0;
  while (mask >> shift >= rows * 5 / 2) ++shift;
  return {low, shift, (mask >> shift) + 1};
}

// Three buckets around the word that fills more than half of the sample.
struct Split {
  uint32_t word;

  uint32_t buckets() const { return 3; }
  uint32_t bucketOf(uint32_t other) const { return uint32_t{other >= word} + uint32_t{other > word}; }
  bool holdsOneWord(uint32_t bucket) const { return bucket == 1; }
};

struct Task {
  std::span<SortRow> rows;
  Keys keys;
};

// Tasks that wait: they share no row, and each has at least 256.
struct TaskStack {
  std::array<Task, largestDistribution / smallestDistribution> tasks;
  size_t depth = 0;
};

void finishBucket(std::span<SortRow> rows, size_t largestSmall, Keys keys, bool holdsOneWord,
                  TaskStack& stack) {
  if (holdsOneWord) {
    ++keys.word;
    keys.load(rows);
  }
  if (rows.size() <= 3) {
    orderFew(rows, keys);
  } else if (rows.size() <= largestSmall) {
    quicksort(rows, keys);
  } else {
    stack.tasks[stack.depth++] = {rows, keys};
  }
}

// Moves the rows of a task into the order of their buckets and settles each bucket, now or as a task of its
// own. Every bucket's room is exactly as large as its rows need, since they are counted ahead.
template <typename Buckets>
void distribute(const Task& task, const Buckets buckets, SortWorkArea& work, TaskStack& stack) {
  uint32_t* const ends = work.bucketEnds;
  const uint32_t count = buckets.buckets();
  memset(ends, 0, count * sizeof *ends);
  for (const SortRow& row : task.rows) ++ends[buckets.bucketOf(row.word)];
  for (uint32_t bucket = 0, before = 0; bucket < count; ++bucket)
    before += std::exchange(ends[bucket], before);
  for (const SortRow& row : task.rows) work.spread[ends[buckets.bucketOf(row.word)]++] = row;
  memcpy(task.rows.data(), work.spread, task.rows.size_bytes());

  for (uint32_t bucket = 0, start = 0; bucket < count; start = ends[bucket++]) {
    if (const uint32_t size = ends[bucket] - start; size > 1)
      finishBucket(task.rows.subspan(start, size), bucket == 0 ? 255 : 256, task.keys,
                   buckets.holdsOneWord(bucket), stack);
  }
}

void distributionSort(std::span<SortRow> rows, const Keys& keys, SortWorkArea& work) {
  TaskStack stack;
  stack.tasks[stack.depth++] = {rows, keys};
  while (stack.depth != 0) {
    const Task task = stack.tasks[--stack.depth];
    work.sampleStart = (work.sampleStart * 5 + 31) % sampleStarts;
    const Sample sample = takeSample(task.rows, work.sampleStart);
    if (sample.frequentCount > sample.size / 2) {
      distribute(task, Split{sample.frequent}, work, stack);
    } else {
      distribute(task, spreadOf(sample, task.rows.size()), work, stack);
    }
  }
}

}  // namespace

size_t sortWorkAreaBytes(size_t rows) {
  const size_t distributed = std::min(rows, largestDistribution);
  return rows * sizeof(SortRow) + distributed * sizeof(SortRow) +
         (distributed * 5 / 2 + 2) * sizeof(uint32_t);
}

SortWorkArea layOutSortWorkArea(void* storage, size_t rows) {
  const size_t distributed = std::min(rows, largestDistribution);
  SortWorkArea work;
  work.rows = static_cast<SortRow*>(storage);
  work.spread = work.rows + rows;
  work.bucketEnds = reinterpret_cast<uint32_t*>(work.spread + distributed);
  work.capacity = rows;
  return work;
}

void Sort(const uint8_t* buffer, std::span<uint32_t> table, SortWorkArea& work) {
  if (table.size() < 2) return;
  const Keys keys{buffer, 0};
  const std::span<SortRow> rows(work.rows, table.size());
  for (size_t at = 0; at < table.size(); ++at) rows[at].offset = table[at];
  keys.load(rows);
  if (rows.size() < smallestDistribution || rows.size() > largestDistribution) {
    quicksort(rows, keys);
  } else {
    distributionSort(rows, keys, work);
  }
  for (size_t at = 0; at < table.size(); ++at) table[at] = rows[at].offset;
}

}  // namespace qrt::sort
