// Adding a type, made of field infos, to a schema.
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <string_view>
#include <unordered_set>

#include "data/printable.h"
#include "data/schema.h"
#include "data/schema_owned.h"
#include "utils/logger.h"

using vek::printable;

namespace {

constexpr char kCaller[] = "vek_schema_add_type";

enum Result { kAdded = 0, kFailed = 1, kDuplicate = 2, kUndefinedType = 3, kSchemaFull = 5 };

using FieldInfos = std::span<const vek_type_field_info_t>;

Result check_schema(const vek_schema_t* schema, const char* name) {
  if (schema->num_types >= VEK_MAX_TYPES) {
    VEK_LOGE("[%s] Unable to add new type, reached VEK_MAX_TYPES. schema->num_types = %d", kCaller,
             schema->num_types);
    return kSchemaFull;
  }
  if (vek_schema_find_type_definition(schema, name)) {
    VEK_LOGE("Schema '%s' already contains type '%s'",
             schema->provider_name ? schema->provider_name : "<undefined>", name);
    return kDuplicate;
  }
  return kAdded;
}

Result check_field_types(const vek_schema_t* schema, const char* name, FieldInfos infos) {
  for (const vek_type_field_info_t& info : infos) {
    if (vek_schema_find_type_definition(schema, info.type_name)) continue;
    VEK_LOGE("Unable to register type '%s': type '%s' of the field '%s' is undefined",
             printable(name), printable(info.type_name), printable(info.field_name));
    return kUndefinedType;
  }
  return kAdded;
}

// The last field is never compared: providers have types whose last field repeats a name, and
// refusing those would lose their events.
Result check_field_names(const char* name, FieldInfos infos) {
  try {
    std::unordered_set<std::string_view> seen;
    for (size_t i = 0; i + 1 < infos.size(); ++i) {
      if (!infos[i].field_name || seen.insert(infos[i].field_name).second) continue;
      VEK_LOGE("[%s] Failed to register new type '%s': field name '%s' occurs more than once.",
               kCaller, printable(name), infos[i].field_name);
      return kDuplicate;
    }
  } catch (const std::bad_alloc&) {
    VEK_LOGE("[%s] cannot allocate type definition", kCaller);
    return kFailed;
  }
  return kAdded;
}

vek::OwnedType create_type(const char* name, size_t count) {
  vek::OwnedType type(vek_create_type_definition());
  if (type && name) type->name = strdup(name);
  if (!type || (name && !type->name)) {
    VEK_LOGE("[%s] cannot allocate type definition", kCaller);
    return nullptr;
  }
  // A type counts its fields in 16 bits.
  if (count <= std::numeric_limits<uint16_t>::max()) {
    type->fields = static_cast<vek_type_field_definition_t**>(
        std::calloc(count ? count : 1, sizeof(vek_type_field_definition_t*)));
  }
  if (!type->fields) {
    VEK_LOGE("[%s] cannot allocate fields for type definition", kCaller);
    return nullptr;
  }
  return type;
}

// Fields are packed back to back, so each one begins where the type ended so far.
bool append_field(const vek_schema_t* schema, vek_type_definition_t* type,
                  const vek_type_field_info_t& info) {
  const int position = type->num_fields;
  vek::OwnedField owned(vek_type_field_definition_from_info(&info));
  if (!owned) {
    VEK_LOGE("[%s] cannot get type definition from fields_info[%d]", kCaller, position);
    return false;
  }
  vek_type_field_definition_t* field = owned.release();
  type->fields[type->num_fields++] = field;
  field->offset = type->size;
  field->type = vek_schema_find_type_definition(schema, field->type_name);
  if (!field->type) {
    VEK_LOGE("[%s] cannot find type_definition of type_field_definition '%s', number %d", kCaller,
             printable(field->field_name), position);
    return false;
  }
  field->type_size = field->type->size;
  uint64_t length = 0;
  if (__builtin_mul_overflow(field->type_size, uint64_t{field->array_length}, &length) ||
      __builtin_add_overflow(type->size, length, &type->size)) {
    VEK_LOGD("[%s] type '%s' is larger than any record can be", kCaller, printable(type->name));
    return false;
  }
  return true;
}

Result check_all(const vek_schema_t* schema, const char* name, FieldInfos infos) {
  if (const Result result = check_schema(schema, name)) return result;
  if (const Result result = check_field_types(schema, name, infos)) return result;
  return check_field_names(name, infos);
}

}  // namespace

int vek_schema_add_type(vek_schema_t* schema, const char* name, const vek_type_field_info_t* infos,
                        uint32_t count, uint8_t* out_index) {
  const FieldInfos fields(infos, count);
  if (const Result result = check_all(schema, name, fields)) return result;

  vek::OwnedType type = create_type(name, fields.size());
  if (!type) return kFailed;
  for (const vek_type_field_info_t& info : fields) {
    if (!append_field(schema, type.get(), info)) return kFailed;
  }
  if (out_index) *out_index = schema->num_types;
  schema->types[schema->num_types++] = type.release();
  return kAdded;
}
