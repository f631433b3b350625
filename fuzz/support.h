// What fuzz targets share: claims, the input as a supply of numbers, an input as a file, a budget.
#ifndef VEK_FUZZ_SUPPORT_H
#define VEK_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vek::fuzz {

// Ends the program, with the claim on standard error, when it does not hold.
void require(bool holds, const char* claim);

// Of one input in eight every line is written, though nobody reads it; of the others none.
void choose_log_level(size_t input_size);

// The input as a supply of numbers; zeros when it is used up.
class Supply {
 public:
  explicit Supply(std::span<const uint8_t> bytes) : rest_(bytes) {}
  Supply(const uint8_t* data, size_t size) : rest_(data, size) {}

  bool empty() const { return rest_.empty(); }
  uint8_t byte() { return empty() ? 0 : take(1)[0]; }
  uint32_t below(uint32_t end) { return byte() % end; }
  uint16_t word() { return static_cast<uint16_t>(byte() << 8 | byte()); }
  uint64_t number();
  // Fewer where the input ends.
  std::span<const uint8_t> take(size_t count);
  std::span<const uint8_t> rest() { return take(rest_.size()); }
  std::string text(size_t count);

 private:
  std::span<const uint8_t> rest_;
};

// The part of an input that builds something sound, and the part that tells lies about it: the last
// byte says where the one ends and the other begins.
struct Parts {
  Supply program;
  Supply lies;
};
Parts split(const uint8_t* data, size_t size);

// A file with these contents, in memory.
class InputFile {
 public:
  explicit InputFile(std::string_view contents);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  const char* path() const { return path_.c_str(); }

 private:
  int fd_;
  std::string path_;
};

// What an input may cost: `factor` times its size plus 64 KB of memory, and a tenth of a second of
// this thread's time (longer under sanitizers, which slow everything down). Ends the program when
// its scope ends and that was not enough.
class Budget {
 public:
  static constexpr size_t kMemory = 64 << 10;
  static constexpr size_t kFactor = 4;

  explicit Budget(size_t input_size, size_t factor = kFactor);
  ~Budget();
  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;

 private:
  size_t allowed_;
  int64_t began_us_;
};

// Keeps the memory that the target itself takes off the books of the thread's Budget.
class OffTheBooks {
 public:
  OffTheBooks();
  ~OffTheBooks();
  OffTheBooks(const OffTheBooks&) = delete;
  OffTheBooks& operator=(const OffTheBooks&) = delete;

 private:
  bool before_;
};

// While it lives, the n-th allocation of this thread fails (the first is 1), and those behind it
// too with `and_all_behind`. Nothing fails under sanitizers, which bring an allocator of their own.
class FailAllocation {
 public:
  explicit FailAllocation(unsigned n, bool and_all_behind);
  ~FailAllocation();
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;
  static bool has_failed();
};

// Whether FailAllocation makes anything fail.
extern const bool allocations_can_fail;

// The work survives that any of its allocations fails. For one input in sixteen: it is as many
// runs.
template <typename Work>
void survives_without_memory(size_t input_size, Work work) {
  constexpr unsigned kMostRuns = 2000;
  if (!allocations_can_fail || input_size % 16 != 5) return;
  bool failed = true;
  for (unsigned n = 1; failed && n < kMostRuns; ++n) {
    for (const bool and_all_behind : {false, true}) {
      const FailAllocation failing(n, and_all_behind);
      work();
      failed = FailAllocation::has_failed();
    }
  }
}

// No byte of it ends a line, moves a terminal's cursor, or is broken UTF-8.
void require_printable(std::string_view text, const char* claim);

}  // namespace vek::fuzz

#endif  // VEK_FUZZ_SUPPORT_H
