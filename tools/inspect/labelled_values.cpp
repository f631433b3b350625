#include "tools/inspect/labelled_values.h"

#include <algorithm>
#include <string_view>

#include "data/printable.h"
#include "utils/json_scalars.h"

namespace vek::tools {
namespace {

constexpr int kDeepest = 16;            // types in types
constexpr size_t kMostFields = 10'000;  // of an event; more come from a schema that lies

// A number of any of the sizes that fields have; null where the bytes are not there.
template <typename T>
std::string number(ByteReader page, size_t at) {
  T value{};
  std::string out;
  if (!page.read(at, value)) return out;
  if constexpr (std::is_same_v<T, double>) {
    append_json_double(value, out);
  } else if constexpr (std::is_same_v<T, float>) {
    append_json_float(value, out);
  } else if constexpr (std::is_same_v<T, bool>) {
    out = value ? "true" : "false";
  } else if constexpr (std::is_signed_v<T>) {
    append_json_signed(value, out);
  } else {
    append_json_unsigned(value, out);
  }
  return out;
}

std::string text(ByteReader page, size_t at, size_t length) {
  std::string out;
  std::string_view value;
  if (page.text(at, length, value)) append_json_string(value, out);
  return out;
}

std::string scalar(uint32_t type, ByteReader page, size_t at) {
  switch (type) {
    case VEK_TYPE_BOOL: {
      uint8_t byte = 0;  // any value but 0 and 1 is no bool to C++
      return !page.read(at, byte) ? "" : byte != 0 ? "true" : "false";
    }
    case VEK_TYPE_CHAR:
    case VEK_TYPE_INT8:
      return number<int8_t>(page, at);
    case VEK_TYPE_SHORT:
    case VEK_TYPE_INT16:
      return number<int16_t>(page, at);
    case VEK_TYPE_INT:
    case VEK_TYPE_INT32:
      return number<int32_t>(page, at);
    case VEK_TYPE_LONG:
    case VEK_TYPE_LONG_LONG:
    case VEK_TYPE_INT64:
      return number<int64_t>(page, at);
    case VEK_TYPE_UNSIGNED_CHAR:
    case VEK_TYPE_UINT8:
      return number<uint8_t>(page, at);
    case VEK_TYPE_UNSIGNED_SHORT:
    case VEK_TYPE_UINT16:
      return number<uint16_t>(page, at);
    case VEK_TYPE_UNSIGNED_INT:
    case VEK_TYPE_UINT32:
      return number<uint32_t>(page, at);
    case VEK_TYPE_FLOAT:
      return number<float>(page, at);
    case VEK_TYPE_DOUBLE:
      return number<double>(page, at);
    default:
      return number<uint64_t>(page, at);
  }
}

class EventLabeller {
 public:
  EventLabeller(ByteReader page, size_t end) : page_(page), end_(end) {}

  void type(const vek_type_definition_t& type, const std::string& name, size_t at, int depth) {
    for (uint16_t i = 0; i < type.num_fields; ++i) {
      const vek_type_field_definition_t& field = *type.fields[i];
      const std::string path = name + "." + printable(field.field_name);
      if (!field.type || field.offset > end_ - at) continue;
      elements(field, path, at + field.offset, depth);
    }
  }

  std::vector<LabelledBytes> take() {
    std::stable_sort(out_.begin(), out_.end(),
                     [](const auto& a, const auto& b) { return a.offset < b.offset; });
    return std::move(out_);
  }

 private:
  void elements(const vek_type_field_definition_t& field, const std::string& path, size_t at,
                int depth) {
    const uint64_t size = field.type->size;
    const uint32_t type = field.type->id;
    if (size == 0 || size > end_ - at) return;
    const uint64_t room = (end_ - at) / size;
    const uint64_t count = std::min<uint64_t>(field.array_length, room);
    const bool is_text = type == VEK_TYPE_CHAR || type == VEK_TYPE_UNSIGNED_CHAR;
    if (is_text && count > 1) return add(at, count, path, text(page_, at, count));
    for (uint64_t i = 0; i < count; ++i) {
      const std::string name = count > 1 ? path + "[" + std::to_string(i) + "]" : path;
      if (type != 0) {
        add(at + i * size, size, name, scalar(type, page_, at + i * size));
      } else if (depth < kDeepest) {
        this->type(*field.type, name, at + i * size, depth + 1);
      }
      if (out_.size() >= kMostFields) return;
    }
  }

  void add(size_t at, size_t length, const std::string& label, std::string value) {
    if (out_.size() >= kMostFields) return;
    out_.push_back({at, length, LabelledBytes::Look::kValue, label, std::move(value)});
  }

  ByteReader page_;
  size_t end_;
  std::vector<LabelledBytes> out_;
};

}  // namespace

std::vector<LabelledBytes> label_counters(const vek_counters_schema_t& schema, ByteReader page,
                                          size_t start, size_t end) {
  std::vector<LabelledBytes> out;
  for (uint32_t g = 0; g < schema.num_groups; ++g) {
    const vek_counter_group_t& group = *schema.groups[g];
    for (uint32_t c = 0; c < group.num_counters; ++c) {
      const vek_counter_info_t& counter = *group.counters[c];
      const size_t at = start + counter.offset;
      const bool is_text = counter.data_type == VEK_DATA_TYPE_STRING;
      const size_t length = is_text ? counter.length : sizeof(uint64_t);
      if (at > end || length > end - at) continue;
      std::string value = is_text                                    ? text(page, at, length)
                          : counter.data_type == VEK_DATA_TYPE_FP64  ? number<double>(page, at)
                          : counter.data_type == VEK_DATA_TYPE_INT64 ? number<int64_t>(page, at)
                                                                     : number<uint64_t>(page, at);
      out.push_back(
          {at, length, LabelledBytes::Look::kValue, printable(counter.name), std::move(value)});
    }
  }
  std::stable_sort(out.begin(), out.end(),
                   [](const auto& a, const auto& b) { return a.offset < b.offset; });
  return out;
}

std::vector<LabelledBytes> label_event(const vek_type_definition_t& type, const std::string& name,
                                       ByteReader page, size_t start) {
  if (start > page.size() || type.size > page.size() - start) return {};
  EventLabeller labeller(page, start + type.size);
  labeller.type(type, name, start, 0);
  return labeller.take();
}

}  // namespace vek::tools
