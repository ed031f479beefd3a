// The memory of one sort session: every block of a run comes from here, so that the end of a session,
// wherever it comes from, frees all of it.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>
#include <type_traits>

namespace qrt::sort {

// Used by the session's own thread only; workers are handed buffers and allocate nothing.
class SessionMemory {
 public:
  SessionMemory() = default;
  ~SessionMemory() { releaseAll(); }
  SessionMemory(const SessionMemory&) = delete;
  SessionMemory& operator=(const SessionMemory&) = delete;

  // Zeroed bytes aligned for every type; null when there is no memory: message 73 is the caller's to give.
  void* allocate(size_t bytes);
  // The same without the zeroes, for buffers.
  void* allocateBuffer(size_t bytes);

  // Gives one block back ahead of the session's end; null is allowed.
  void release(void* block);
  void releaseAll();

  template <typename T>
  T* make(size_t count = 1) {
    static_assert(std::is_trivially_destructible_v<T>);
    return static_cast<T*>(allocate(sizeof(T) * count));
  }

  // A terminated copy, or null.
  char* copy(std::string_view text);

 private:
  struct Block;
  Block* newest = nullptr;
};

// A table that grows while options are read; its rows are plain data in the session's memory. Rows move when
// the table grows.
template <typename T>
struct GrowingTable {
  T* rows = nullptr;
  int32_t count = 0;
  int32_t capacity = 0;

  // A zeroed row behind the last one, or null when there is no memory.
  T* add(SessionMemory& memory) {
    if (count == capacity && !grow(memory)) return nullptr;
    rows[count] = T{};
    return &rows[count++];
  }

  T& operator[](int32_t index) { return rows[index]; }
  const T& operator[](int32_t index) const { return rows[index]; }
  T* begin() { return rows; }
  T* end() { return rows + count; }
  const T* begin() const { return rows; }
  const T* end() const { return rows + count; }

 private:
  bool grow(SessionMemory& memory) {
    static_assert(std::is_trivially_copyable_v<T>);
    const int32_t larger = capacity == 0 ? 8 : capacity * 2;
    T* const moved = memory.make<T>(static_cast<size_t>(larger));
    if (moved == nullptr) return false;
    for (int32_t index = 0; index < count; ++index) moved[index] = rows[index];
    memory.release(rows);
    rows = moved;
    capacity = larger;
    return true;
  }
};

}  // namespace qrt::sort
