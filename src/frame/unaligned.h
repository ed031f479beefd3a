// Values in storage that compiled code laid out, which needn't be aligned.
#pragma once

#include <cstring>

namespace qrt::frame {

template <typename Value>
Value loadAs(const void* address) {
  Value value;
  memcpy(&value, address, sizeof value);
  return value;
}

template <typename Value>
Value load(const Value* address) {
  return loadAs<Value>(address);
}

template <typename Value>
void storeAs(void* address, Value value) {
  memcpy(address, &value, sizeof value);
}

// Converted to the target's type.
template <typename Target, typename Value>
void store(Target* address, Value value) {
  storeAs(address, static_cast<Target>(value));
}

}  // namespace qrt::frame
