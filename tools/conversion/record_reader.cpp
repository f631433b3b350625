#include "tools/conversion/record_reader.h"

#include <bit>
#include <cmath>
#include <utility>

#include "utils/json_scalars.h"

namespace vek::tools {
namespace {

enum class Shape { kUnsigned, kSigned, kNil, kBool, kFloat, kDouble, kText, kBytes, kArray, kMap };

}  // namespace

// The first bytes of a value: what it is, and its number or its length.
struct RecordReader::Head {
  Shape shape = Shape::kNil;
  uint64_t number = 0;
};

bool RecordReader::take_number(size_t size, uint64_t& out) {
  if (rest_.size() < size) return false;
  out = 0;
  for (size_t i = 0; i < size; ++i) out = out << 8 | rest_[i];
  rest_ = rest_.subspan(size);
  return true;
}

bool RecordReader::read_head(Head& head) {
  uint64_t first = 0;
  if (!take_number(1, first)) return false;
  const auto set = [&](Shape shape, uint64_t number) {
    head = {shape, number};
    return true;
  };
  const auto read = [&](Shape shape, size_t size) {
    head.shape = shape;
    return take_number(size, head.number);
  };
  if (first <= 0x7f) return set(Shape::kUnsigned, first);
  if (first <= 0x8f) return set(Shape::kMap, first & 0x0f);
  if (first <= 0x9f) return set(Shape::kArray, first & 0x0f);
  if (first <= 0xbf) return set(Shape::kText, first & 0x1f);
  if (first >= 0xe0) return set(Shape::kSigned, static_cast<uint64_t>(static_cast<int8_t>(first)));
  if (first == 0xc0) return set(Shape::kNil, 0);
  if (first == 0xc2 || first == 0xc3) return set(Shape::kBool, first & 1);
  if (first >= 0xc4 && first <= 0xc6) return read(Shape::kBytes, size_t{1} << (first - 0xc4));
  if (first >= 0xc7 && first <= 0xc9) {
    if (!read(Shape::kBytes, size_t{1} << (first - 0xc7))) return false;
    ++head.number;  // the extension's type
    return true;
  }
  if (first == 0xca) return read(Shape::kFloat, 4);
  if (first == 0xcb) return read(Shape::kDouble, 8);
  if (first >= 0xcc && first <= 0xcf) return read(Shape::kUnsigned, size_t{1} << (first - 0xcc));
  if (first >= 0xd0 && first <= 0xd3) {
    if (!read(Shape::kSigned, size_t{1} << (first - 0xd0))) return false;
    constexpr unsigned kUnused[] = {56, 48, 32, 0};  // bits of a word above the number
    const unsigned shift = kUnused[first - 0xd0];
    head.number = static_cast<uint64_t>(static_cast<int64_t>(head.number << shift) >> shift);
    return true;
  }
  if (first >= 0xd4 && first <= 0xd8) return set(Shape::kBytes, (1u << (first - 0xd4)) + 1);
  if (first >= 0xd9 && first <= 0xdb) return read(Shape::kText, size_t{1} << (first - 0xd9));
  if (first == 0xdc || first == 0xdd) return read(Shape::kArray, first == 0xdc ? 2 : 4);
  if (first == 0xde || first == 0xdf) return read(Shape::kMap, first == 0xde ? 2 : 4);
  return false;
}

bool RecordReader::next(std::string& json) {
  json.clear();
  fields_.clear();
  fields_depth_ = 0;
  if (rest_.empty()) return false;
  is_broken_ = !value(json, 1, nullptr);
  return !is_broken_;
}

std::string_view RecordReader::text_of(std::string_view name) const {
  for (const SeenField& field : fields_) {
    if (field.name == name) return field.text;
  }
  return {};
}

bool RecordReader::value(std::string& out, int depth, SeenField* seen) {
  Head head;
  if (depth > kDeepest || !read_head(head)) return false;
  if (head.shape == Shape::kMap || head.shape == Shape::kArray) {
    return container(head, out, depth);
  }
  return scalar(head, out, seen);
}

bool RecordReader::container(const Head& head, std::string& out, int depth) {
  return head.shape == Shape::kMap ? map(head.number, out, depth) : array(head.number, out, depth);
}

bool RecordReader::array(uint64_t count, std::string& out, int depth) {
  out += '[';
  for (uint64_t i = 0; i < count; ++i) {
    if (i > 0) out += ',';
    if (!value(out, depth + 1, nullptr)) return false;
  }
  out += ']';
  return true;
}

bool RecordReader::map(uint64_t pairs, std::string& out, int depth) {
  if (fields_depth_ == 0 && depth <= 2) fields_depth_ = depth;
  const bool holds_fields = depth == fields_depth_;
  out += '{';
  for (uint64_t i = 0; i < pairs && !rest_.empty(); ++i) {
    if (i > 0) out += ',';
    SeenField field;
    std::string key;
    if (!value(key, depth + 1, &field)) return false;
    field.name = std::exchange(field.text, {});
    out += key + ":";
    const bool is_values = holds_fields && field.name == "values" && fields_depth_ == 1;
    if (is_values) fields_depth_ = depth + 1;
    const size_t start = out.size();
    if (!value(out, depth + 1, &field)) return false;
    if (is_values) fields_depth_ = depth;
    const bool is_container = out[start] == '{' || out[start] == '[';
    if (holds_fields && !is_container) fields_.push_back(std::move(field));
  }
  out += '}';
  return true;
}

bool RecordReader::scalar(const Head& head, std::string& out, SeenField* seen) {
  SeenField unseen;
  SeenField& field = seen ? *seen : unseen;
  field.kind = ValueKind::kInteger;
  switch (head.shape) {
    case Shape::kUnsigned:
      append_json_unsigned(head.number, out);
      return true;
    case Shape::kSigned:
      append_json_signed(static_cast<int64_t>(head.number), out);
      return true;
    case Shape::kBool:
      field.kind = ValueKind::kBoolean;
      out += head.number ? "true" : "false";
      return true;
    case Shape::kFloat: {
      const float number = std::bit_cast<float>(static_cast<uint32_t>(head.number));
      field.kind = ValueKind::kReal;
      field.is_nan = !std::isfinite(number);
      append_json_float(number, out);
      return true;
    }
    case Shape::kDouble: {
      const double number = std::bit_cast<double>(head.number);
      field.kind = ValueKind::kReal;
      field.is_nan = !std::isfinite(number);
      append_json_double(number, out);
      return true;
    }
    case Shape::kText:
    case Shape::kBytes:
      if (head.number > rest_.size()) return false;
      field.kind = ValueKind::kText;
      field.text.assign(reinterpret_cast<const char*>(rest_.data()), head.number);
      rest_ = rest_.subspan(head.number);
      append_json_string(field.text, out);
      return true;
    default:
      field.kind = ValueKind::kText;
      out += "null";
      return true;
  }
}

}  // namespace vek::tools
