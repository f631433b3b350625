// What a counter becomes in a record, for every writer of records: the one place that knows which
// data type is read how, and which names go out as hexadecimal text.
#ifndef VEK_COUNTERS_COUNTER_VALUE_H
#define VEK_COUNTERS_COUNTER_VALUE_H

#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "counters/counter_set.h"
#include "utils/logger.h"
#include "utils/msgpack_encode.h"

namespace vek {

template <typename T>
T load_unaligned(const char* bytes) noexcept {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

[[gnu::cold, gnu::noinline]] inline void log_unknown_type(const char* name) {
  VEK_LOGE("[%s] VEK_DATA_TYPE is unknown for counter '%s', should not be here!", "msgpack_counter",
           name);
}

[[gnu::always_inline]] inline bool is_guid_name(std::string_view name) noexcept {
  return name == "port_guid" || name == "node_guid" || name == "GUID";
}

// The text "0x%lx".
class GuidText {
 public:
  static constexpr size_t kMaxSize = 18;  // "0x" and 16 digits

  explicit GuidText(uint64_t value) noexcept {
    end_ = std::to_chars(text_ + 2, text_ + sizeof(text_), value, 16).ptr;
  }
  std::string_view view() const noexcept { return {text_, static_cast<size_t>(end_ - text_)}; }

 private:
  char text_[kMaxSize] = {'0', 'x'};
  char* end_;
};

// Room for any value that is not a STRING.
inline constexpr size_t kCounterValueRoom = kMsgpackMaxHeader + GuidText::kMaxSize;
static_assert(kCounterValueRoom >= kMsgpackMaxNumber);

// Writer has key(name, room), which answers whether to go on, and value(v) for uint64_t, int64_t,
// double and std::string_view (utils/msgpack_buffer.h). The counter's name is the one that it goes
// out under; it alone decides about hexadecimal text. Inlined into the loop over counters, so that
// the writer's positions stay in registers.
template <typename Writer>
[[gnu::always_inline]] inline void write_counter(Writer& writer,
                                                 const vek_counter_set_element_t& counter,
                                                 const char* block) {
  const std::string_view name(counter.name, counter.name_len);
  const char* bytes = block + counter.offset;
  size_t room = kCounterValueRoom;
  size_t length = 0;
  if (counter.data_type == VEK_DATA_TYPE_STRING) {
    // Without a NUL the text ends where the next counter begins.
    length = strnlen(bytes, counter.length);
    room = kMsgpackMaxHeader + length;
  }
  if (!writer.key(name, room)) return;
  switch (counter.data_type) {
    case VEK_DATA_TYPE_UINT64:
    case VEK_DATA_TYPE_BIT64:
      if (is_guid_name(name)) [[unlikely]] {
        writer.value(GuidText(load_unaligned<uint64_t>(bytes)).view());
      } else {
        writer.value(load_unaligned<uint64_t>(bytes));
      }
      break;
    case VEK_DATA_TYPE_FP64:
      writer.value(load_unaligned<double>(bytes));
      break;
    case VEK_DATA_TYPE_INT64:
      writer.value(load_unaligned<int64_t>(bytes));
      break;
    case VEK_DATA_TYPE_STRING:
      writer.value(std::string_view(bytes, length));
      break;
    default:
      log_unknown_type(counter.name);
      break;
  }
}

}  // namespace vek

#endif  // VEK_COUNTERS_COUNTER_VALUE_H
