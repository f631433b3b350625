#include "bench/forward_records.h"

#include <cstdint>
#include <random>

#include "bench/forward_peer.h"

namespace vek::bench {
namespace {

constexpr std::string_view kTime = "\x92\xcb\x41\xd9\x55\x55\x55\x55\x55\x55";
constexpr std::string_view kEventTime("\x92\xd7\x00\x65\x55\x55\x55\x15\x55\x55\x55", 11);

void append_big_endian(uint32_t number, std::string& out) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(number >> shift);
}

void append_frame(const RecordPool& records, size_t first, size_t count, std::string& out) {
  out +=
      "\x93\xa4"
      "cntr\xdd";
  append_big_endian(static_cast<uint32_t>(count), out);
  for (size_t i = first; i < first + count; ++i) {
    out.append(kEventTime).append(records[i].substr(kTime.size()));
  }
  out +=
      "\x82\xa5"
      "chunk\xd9\x20";
  out +=
      (std::string(kChunkIdSize, '0') + std::to_string(first)).substr(std::to_string(first).size());
  out +=
      "\xa4"
      "size\xce";
  append_big_endian(static_cast<uint32_t>(count), out);
}

}  // namespace

std::string make_record(size_t counters, uint32_t seed) {
  std::minstd_rand numbers(seed + 1);
  std::string record(kTime);
  record += '\xde';
  record += static_cast<char>(counters >> 8);
  record += static_cast<char>(counters);
  for (size_t i = 0; i < counters; ++i) {
    const std::string digits = std::to_string(10'000 + i).substr(1);
    record +=
        "\xac"
        "counter_" +
        digits + "\xce";
    append_big_endian(static_cast<uint32_t>(numbers()), record);
  }
  return record;
}

RecordPool::RecordPool(size_t counters) : record_size(make_record(counters, 0).size()) {
  for (uint32_t i = 0; memory.size() < kBytes; ++i) memory += make_record(counters, i);
}

FramePool::FramePool(const RecordPool& records) {
  const size_t entry = records.record_size + kEventTime.size() - kTime.size();
  for (size_t first = 0; first < records.size();) {
    const size_t count = std::min(kFrame / entry, records.size() - first);
    const size_t offset = memory.size();
    append_frame(records, first, count, memory);
    frames.push_back({offset, memory.size() - offset, count});
    first += count;
  }
}

}  // namespace vek::bench
