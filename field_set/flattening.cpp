#include "field_set/flattening.h"

#include <algorithm>
#include <utility>

#include "data/builtin_types.h"

namespace vek {
namespace {

const char* orEmpty(const char* text) { return text ? text : ""; }

bool isText(const vek_type_definition_t& type) {
  return type.id == VEK_TYPE_CHAR || type.id == VEK_TYPE_UNSIGNED_CHAR;
}

bool add(uint64_t a, uint64_t b, uint64_t& out) { return !__builtin_add_overflow(a, b, &out); }

// base + position * stride, without wrapping.
bool elementBase(uint64_t base, uint64_t position, uint64_t stride, uint64_t& out) {
  uint64_t distance = 0;
  return !__builtin_mul_overflow(position, stride, &distance) && add(base, distance, out);
}

// Bytes of a record that the value of one leaf covers.
uint64_t leafSize(const vek_type_field_definition_t& field) {
  const uint64_t element = vek_builtin_type_size(field.type->id);
  return isText(*field.type) ? element * field.array_length : element;
}

}  // namespace

bool Flattener::GetAllTypeNames(const vek_type_definition_t& type, std::set<std::string>& names) {
  out_.field_set.fields.clear();
  out_.texts.clear();
  out_.field_set.fields.reserve(type.num_fields);
  out_.field_set.num_included = 0;
  out_.name_bytes = 0;
  record_size_ = type.size;
  if (ProcessEventType(type, "", 0, names)) return true;
  out_.field_set.fields = {};
  out_.texts.clear();
  out_.name_bytes = 0;
  return false;
}

bool Flattener::ProcessEventType(const vek_type_definition_t& type, const std::string& prefix,
                                 uint64_t base, Names& names) {
  if (std::find(open_types_.begin(), open_types_.end(), &type) != open_types_.end()) {
    return refuse(std::string("type '") + orEmpty(type.name) + "' contains itself");
  }
  if (open_types_.size() >= limits_.depth) return refuse("its types are nested too deeply");
  open_types_.push_back(&type);
  const bool processed = ProcessEventFields(type, prefix, base, names);
  open_types_.pop_back();
  return processed;
}

bool Flattener::ProcessEventFields(const vek_type_definition_t& type, const std::string& prefix,
                                   uint64_t base, Names& names) {
  for (uint16_t i = 0; i < type.num_fields; ++i) {
    const Field* field = type.fields ? type.fields[i] : nullptr;
    if (!field) return refuse("a field definition is missing");
    names.insert(orEmpty(field->type_name));
    if (!ProcessEventField(*field, prefix, base, names)) return false;
  }
  return true;
}

bool Flattener::ProcessEventField(const Field& field, const std::string& prefix, uint64_t base,
                                  Names& names) {
  if (!take_step()) return false;
  const char* name = orEmpty(field.field_name);
  const std::string path = prefix.empty() ? name : prefix + "." + name;
  if (!field.type) {
    return refuse("type '" + std::string(orEmpty(field.type_name)) + "' of its field '" + path +
                  "' is unknown");
  }
  if (field.array_length == 1) return ProcessEventFieldScalar(field, path, base, names);
  if (isText(*field.type)) return AppendField(field, path, base);
  return ProcessEventFieldArray(field, path, base, names);
}

bool Flattener::ProcessEventFieldScalar(const Field& field, const std::string& path, uint64_t base,
                                        Names& names) {
  if (field.type->id != VEK_TYPE_NONE) return AppendField(field, path, base);
  uint64_t nested_base = 0;
  if (!add(base, field.offset, nested_base)) {
    return refuse("its field '" + path + "' lies outside the record");
  }
  return ProcessEventType(*field.type, path, nested_base, names);
}

bool Flattener::ProcessEventFieldArray(const Field& field, const std::string& path, uint64_t base,
                                       Names& names) {
  const bool builtin = field.type->id != VEK_TYPE_NONE;
  for (uint32_t j = 0; j < field.array_length; ++j) {
    if (!take_step()) return false;
    const std::string element_path = path + "." + std::to_string(j);
    uint64_t element_base = 0;
    uint64_t nested_base = 0;
    if (!elementBase(base, j, field.type_size, element_base) ||
        !add(element_base, field.offset, nested_base)) {
      return refuse("its field '" + element_path + "' lies outside the record");
    }
    if (!(builtin ? AppendField(field, element_path, element_base)
                  : ProcessEventType(*field.type, element_path, nested_base, names))) {
      return false;
    }
  }
  return true;
}

bool Flattener::AppendField(const Field& field, const std::string& name, uint64_t base) {
  const uint64_t size = leafSize(field);
  uint64_t offset = 0;
  if (!add(base, field.offset, offset) || offset > record_size_ || size > record_size_ - offset) {
    return refuse("its field '" + name + "' lies outside the record");
  }
  out_.name_bytes += name.size();
  std::vector<field_t>& fields = out_.field_set.fields;
  if (fields.size() >= limits_.fields || out_.name_bytes > limits_.name_bytes) {
    return refuse("it has too many fields");
  }
  std::string& kept_name = out_.texts.emplace_front(name);
  std::string& kept_type_name = out_.texts.emplace_front(orEmpty(field.type_name));
  field_t leaf{};
  leaf.name = kept_name.data();
  leaf.name_len = kept_name.size();
  leaf.type_name = kept_type_name.data();
  leaf.array_length = field.array_length;
  leaf.field_type = static_cast<int32_t>(field.type->id);
  leaf.offset = offset;
  leaf.counting_mode = field.counting_mode;
  fields.push_back(leaf);
  return true;
}

bool Flattener::take_step() {
  if (++steps_ <= limits_.steps) return true;
  return refuse("it has too many fields");
}

bool Flattener::refuse(std::string reason) {
  error_ = std::move(reason);
  return false;
}

}  // namespace vek
