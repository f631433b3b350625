#include "bench/event_samples.h"

#include <bit>
#include <cstring>
#include <random>
#include <string>

#include "bench/record_pool.h"
#include "bench/sample_values.h"
#include "data/builtin_types.h"

namespace vek::bench {
namespace {

constexpr size_t kBytesPerField = 22;  // of a record, about
constexpr uint64_t kTime = 1700000000123456;
constexpr uint32_t kTextLength = 24;

struct Kind {
  const char* name;
  const char* type;
};

constexpr Kind kKinds[] = {
    {"port_number", "uint16_t"}, {"state", "uint8_t"},       {"interface", "char"},
    {"rx_bytes", "uint64_t"},    {"tx_bytes", "uint64_t"},   {"speed", "uint32_t"},
    {"temperature", "float"},    {"error_delta", "int32_t"}, {"is_up", "bool"},
    {"load", "double"},
};

constexpr size_t kGuid = 3;  // the field that names the source
constexpr Kind kText = {"driver", "char"};

Kind kind_of(size_t index, EventMix mix) {
  return mix == EventMix::kEmptyTexts ? kText : kKinds[index % std::size(kKinds)];
}

const char* type_name(EventMix mix) {
  return mix == EventMix::kEmptyTexts ? "kelvra_smi_event_health" : "link_state";
}

vek_schema_t* make_schema(vek_type_system_t* type_system, size_t num_fields, EventMix mix) {
  vek_schema_t* schema = vek_type_system_add_schema(type_system, "bench", 1, nullptr);
  std::vector<std::string> names;
  for (size_t i = 0; i < num_fields; ++i) {
    const Kind kind = kind_of(i, mix);
    const bool is_guid = i == kGuid && mix == EventMix::kUsual;
    names.push_back(is_guid ? "port_guid" : kind.name + ("_" + std::to_string(i)));
  }
  std::vector<vek_type_field_info_t> infos;
  for (size_t i = 0; i < num_fields; ++i) {
    const char* type = kind_of(i, mix).type;
    const bool is_text = std::strcmp(type, "char") == 0;
    infos.push_back({names[i].c_str(), "", type, VEK_VALUE_ABSOLUTE, is_text ? kTextLength : 1});
  }
  vek_schema_add_type(schema, type_name(mix), infos.data(), static_cast<uint32_t>(infos.size()),
                      nullptr);
  vek_type_system_update_md5_hashes(type_system);
  return schema;
}

// The leading bits that fit into a field, so that narrow fields grow as slowly as wide ones.
uint64_t narrowed(uint64_t bits, uint64_t bytes) {
  const uint64_t most = 8 * bytes - 1;
  const auto width = static_cast<uint64_t>(std::bit_width(bits));
  return width > most ? bits >> (width - most) : bits;
}

void fill_value(const vek_type_field_definition_t& field, uint64_t bits, uint8_t* at) {
  const double real = 20 + static_cast<double>(bits % 8000) / 100;
  const auto narrow = static_cast<float>(real);
  switch (field.type->id) {
    case VEK_TYPE_CHAR:
      std::memcpy(at, "ethernet-port-name", static_cast<size_t>(std::bit_width(bits)) % 19);
      break;
    case VEK_TYPE_FLOAT:
      std::memcpy(at, &narrow, sizeof(narrow));
      break;
    case VEK_TYPE_DOUBLE:
      std::memcpy(at, &real, sizeof(real));
      break;
    default:
      bits = narrowed(bits, field.type_size);
      std::memcpy(at, &bits, field.type_size);
      break;
  }
}

std::vector<uint8_t> make_event(const vek_type_definition_t& type,
                                const std::vector<uint64_t>& values) {
  std::vector<uint8_t> event(type.size);
  for (uint16_t i = 0; i < type.num_fields; ++i) {
    fill_value(*type.fields[i], values[i], event.data() + type.fields[i]->offset);
  }
  return event;
}

}  // namespace

EventSamples::EventSamples(size_t num_fields, Values values, EventMix mix)
    : type_system_(vek_create_type_system()) {
  const vek_schema_t* schema = make_schema(type_system_.get(), num_fields, mix);
  field_set_.loadFromLines({"[" + std::string(type_name(mix)) + "]", "if_name=interface_2",
                            "meta_field_alias:source=host", "meta_field_add:site=lab1", "_"});
  field_set_.UpdateTypesOfInterest();
  plain_ = test::PlainFieldSet(
      {field_set_.tokens_by_type(), field_set_.meta_fields_aliases_by_type(),
       field_set_.meta_fields_constants_by_type(), field_set_.types_of_interest()});
  plain_type_ = plain_.bind(*schema->types[0]);
  field_set_.updateWithNewSchemas(type_system_.get(), false);

  schemas_block_.resize(VEK_BLOCK_HEADER_SIZE + VEK_SCHEMA_ID_SIZE);
  const auto length = static_cast<uint16_t>(schemas_block_.size());
  std::memcpy(schemas_block_.data() + offsetof(vek_schema_block_t, length), &length,
              sizeof(length));
  vek_copy_schema_id(schemas_block_.data() + VEK_BLOCK_HEADER_SIZE, schema->digest);
  field_set_.SaveLastSchemaBlock(
      reinterpret_cast<const vek_schema_block_t*>(schemas_block_.data()));
  header_.timestamp = kTime;

  std::mt19937_64 random(num_fields);
  const size_t count = samples_for(kBytesPerField * num_fields);
  std::vector<uint64_t> current = draw_values(num_fields, random);
  for (size_t i = 0; i < count; ++i) {
    events_.push_back(make_event(*schema->types[0], current));
    go_on(current, values, kGuid, random);
  }
}

}  // namespace vek::bench
