// Results with guard bytes around them.
#pragma once

namespace qrt::test {

// An item of `size` bytes of '#' behind work on it; the test fails when bytes around it have been touched.
template <typename Work>
std::string itemAfter(size_t size, Work&& work) {
  const std::string guard(24, '\xEE');
  std::string area = guard + std::string(size, '#') + guard;
  work(reinterpret_cast<uint8_t*>(area.data()) + guard.size());
  EXPECT_TRUE(area.starts_with(guard) && area.ends_with(guard)) << "overrun";
  return area.substr(guard.size(), size);
}

}  // namespace qrt::test
