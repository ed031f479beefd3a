// Generation groups the plain way: a list of what is in one and a set of the files there are. It defines what
// adding, dropping and removing do; ages don't stand in their way here.
#pragma once

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

namespace qrt::fileio::plain {

struct Group {
  using Entry = std::pair<int, int>;  // how often the numbers had wrapped, and the number
  std::vector<Entry> entries;         // from the oldest
  std::set<int> files;
  size_t limit = 0;
  bool empty = false, scratch = false;

  int newest() const { return entries.empty() ? 0 : entries.back().second; }
  int above(int offset) const {
    return newest() + offset > 9999 ? newest() + offset - 9999 : newest() + offset;
  }
  bool has(int generation) const {
    return std::ranges::find(entries, generation, &Entry::second) != entries.end();
  }
  void removeMissing() {
    std::erase_if(entries, [&](const Entry& entry) { return !files.contains(entry.second); });
  }
  void makeRoom(size_t room) {
    if (!empty) removeMissing();
    const size_t needed = entries.size() + room;
    size_t dropped = empty ? entries.size() : needed > limit ? needed - limit : 0;
    for (; dropped > 0; --dropped) remove(entries.front().second);
  }
  void add(int generation) {
    if (has(generation)) return;
    if (entries.size() >= limit) makeRoom(1);
    int wraps = entries.empty() ? 0 : entries.back().first;
    if (!entries.empty() && newest() > 8999 && generation < 1000) ++wraps;
    if (!entries.empty() && newest() < 1000 && generation > 8999) --wraps;
    entries.emplace_back(wraps, generation);
    std::ranges::sort(entries);
  }
  void remove(int generation) {
    std::erase_if(entries, [&](const Entry& entry) { return entry.second == generation; });
    if (scratch) files.erase(generation);
  }
};

}  // namespace qrt::fileio::plain
