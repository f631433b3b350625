// Records for vek_forward_bench, and the frames of the Forward protocol that carry them.
#ifndef VEK_BENCH_FORWARD_RECORDS_H
#define VEK_BENCH_FORWARD_RECORDS_H

#include <string>
#include <string_view>
#include <vector>

namespace vek::bench {

// [time, {"counter_0000": number, ...}]
std::string make_record(size_t counters, uint32_t seed);

// Different records of one layout, more of them than the caches near a core hold: in a collector a
// record is not the one before.
struct RecordPool {
  static constexpr size_t kBytes = 8'000'000;

  explicit RecordPool(size_t counters);

  size_t size() const { return memory.size() / record_size; }
  std::string_view operator[](size_t index) const {
    return std::string_view(memory).substr(index % size() * record_size, record_size);
  }

  size_t record_size;
  std::string memory;
};

// Frames as the engine would send them, of all records of the pool, side by side in memory.
struct FramePool {
  static constexpr size_t kFrame = 256'000;  // bytes of entries

  explicit FramePool(const RecordPool& records);

  struct Place {
    size_t offset;
    size_t size;
    size_t records;
  };
  std::string_view bytes(const Place& place) const {
    return std::string_view(memory).substr(place.offset, place.size);
  }

  std::string memory;
  std::vector<Place> frames;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_FORWARD_RECORDS_H
