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

namespace vek {

template <typename T>
T load_unaligned(const char* bytes) noexcept {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

inline bool is_guid_name(std::string_view name) noexcept {
  return name == "port_guid" || name == "node_guid" || name == "GUID";
}

// The text "0x%lx".
class GuidText {
 public:
  explicit GuidText(uint64_t value) noexcept {
    end_ = std::to_chars(text_ + 2, text_ + sizeof(text_), value, 16).ptr;
  }
  std::string_view view() const noexcept { return {text_, static_cast<size_t>(end_ - text_)}; }

 private:
  char text_[18] = {'0', 'x'};  // and up to 16 digits
  char* end_;
};

// Writer has key(name) and pair(name, value) for uint64_t, int64_t, double and std::string_view.
// The counter's name is the one it goes out under; it alone decides about hexadecimal text.
template <typename Writer>
void write_counter(Writer& writer, const vek_counter_set_element_t& counter, const char* block) {
  const std::string_view name(counter.name, counter.name_len);
  const char* value = block + counter.offset;
  switch (counter.data_type) {
    case VEK_DATA_TYPE_UINT64:
    case VEK_DATA_TYPE_BIT64: {
      const auto number = load_unaligned<uint64_t>(value);
      if (is_guid_name(name)) [[unlikely]] {
        writer.pair(name, GuidText(number).view());
      } else {
        writer.pair(name, number);
      }
      break;
    }
    case VEK_DATA_TYPE_FP64:
      writer.pair(name, load_unaligned<double>(value));
      break;
    case VEK_DATA_TYPE_INT64:
      writer.pair(name, load_unaligned<int64_t>(value));
      break;
    case VEK_DATA_TYPE_STRING:
      // Without a NUL the text ends where the next counter begins.
      writer.pair(name, std::string_view(value, strnlen(value, counter.length)));
      break;
    default:
      writer.key(name);
      VEK_LOGE("[%s] VEK_DATA_TYPE is unknown for counter '%s', should not be here!",
               "msgpack_counter", counter.name);
      break;
  }
}

}  // namespace vek

#endif  // VEK_COUNTERS_COUNTER_VALUE_H
