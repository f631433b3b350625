// Dice: random numbers, texts and orders that are the same on every run of a seed.
#ifndef VEK_TESTS_SUPPORT_DICE_H
#define VEK_TESTS_SUPPORT_DICE_H

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace vek::test {

class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  // 0 to most, both included.
  uint32_t upto(uint32_t most) { return std::uniform_int_distribution<uint32_t>(0, most)(engine_); }
  uint64_t word() { return engine_() | static_cast<uint64_t>(engine_()) << 32; }
  // Up to `most` bytes of any value.
  std::string bytes(uint32_t most) {
    std::string text(upto(most), '\0');
    for (char& c : text) c = static_cast<char>(upto(255));
    return text;
  }
  template <typename T>
  void shuffle(std::vector<T>& items) {
    std::shuffle(items.begin(), items.end(), engine_);
  }

 private:
  std::mt19937 engine_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_DICE_H
