// Readable text of msgpack bytes, for golden records.
//
// Not strict JSON: strings are printed raw between quotes, and types that JSON cannot tell apart
// are marked where it matters: float64 as 1.5, float32 as 1.5f, bin as <hex>, ext as ext(type,hex).
// A map that announces more pairs than there are bytes prints the pairs that are there and then
// "...N missing", so that the fixed behaviours of record headers can be pinned.
#ifndef VEK_TESTS_SUPPORT_MSGPACK_JSON_H
#define VEK_TESTS_SUPPORT_MSGPACK_JSON_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vek::test {

// Every value in the buffer, separated by a blank; "!cut" or "!bad byte 0x.." where it is broken.
std::string msgpack_to_text(std::span<const uint8_t> bytes);
inline std::string msgpack_to_text(const void* data, size_t size) {
  return msgpack_to_text(std::span(static_cast<const uint8_t*>(data), size));
}
// Lower-case hexadecimal, no blanks.
std::string to_hex(std::span<const uint8_t> bytes);
inline std::string to_hex(const void* data, size_t size) {
  return to_hex(std::span(static_cast<const uint8_t*>(data), size));
}

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_MSGPACK_JSON_H
