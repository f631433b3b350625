// Events of made-up types by made-up field-set files: the record is the plain packer's, in both
// layouts, packed once or one behind the other.
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "field_set/field_set.h"
#include "fuzz/generated.h"
#include "fuzz/records.h"
#include "fuzz/support.h"
#include "tests/field_set/plain_events.h"

namespace {

using vek::fuzz::require;
using vek::test::PlainFieldSet;
using vek::test::PlainType;

constexpr std::array<const char*, 4> kSources = {"host", "host", "another", ""};

struct Event {
  vek_event_header_t header{};
  std::unique_ptr<uint8_t[]> bytes;
};

void require_consistent(const std::vector<vek::field_t>& fields, uint64_t record_size) {
  for (const vek::field_t& field : fields) {
    require(field.offset <= record_size, "a field begins inside its record");
    require(field.name_len == std::string_view(field.name).size(), "names have their length");
  }
}

void require_plain(vek::FieldSet& set, PlainFieldSet& plain, const PlainType& type,
                   const uint8_t* event, const vek_event_header_t& header, const char* source,
                   const char* layout) {
  vek::RecordBuffer packed_plainly;
  plain.pack(packed_plainly.get(), type, event, header.timestamp, source, layout);
  const std::string expected = vek::fuzz::bytes_of(packed_plainly);
  vek::RecordBuffer ours;
  set.MsgPackToSimpleBuffer(ours.get(), event, &header, source, layout);
  require(vek::fuzz::bytes_of(ours) == expected, "packed by plan as plainly");
  vek::EventPlan* plan = set.findPlan(&header);
  require(plan != nullptr, "the type has a plan");
  require(vek::FieldSet::packNextEvent(*plan, event, header.timestamp,
                                       source ? source : std::string_view(),
                                       vek::layout_named(layout)) == expected,
          "packed out of the record before it as plainly");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  vek::fuzz::Supply supply(data, size);
  const auto types = vek::fuzz::type_system(supply, {.counters = 1, .types = 4, .fields = 7});
  const vek_schema_t& schema = *types->schemas[0];
  vek::FieldSet set;
  const vek::fuzz::InputFile rules(vek::fuzz::rule_lines(supply));
  if (supply.below(4) != 0) require(set.LoadFromFile(rules.path()), "the file is read");
  PlainFieldSet plain({set.tokens_by_type(), set.meta_fields_aliases_by_type(),
                       set.meta_fields_constants_by_type(), set.types_of_interest()});
  set.updateWithNewSchemas(types.get(), false);
  vek_schema_block_t block{};
  block.length = VEK_BLOCK_HEADER_SIZE + VEK_SCHEMA_ID_SIZE;
  std::copy_n(schema.digest, VEK_SCHEMA_ID_SIZE, block.schema_ids[0]);
  set.SaveLastSchemaBlock(&block);

  std::vector<PlainType> plain_types;
  for (uint16_t i = 0; i < schema.num_types; ++i) {
    plain_types.push_back(plain.bind(*schema.types[i]));
    require_consistent(set.getFields(&schema, static_cast<uint8_t>(i)), schema.types[i]->size);
  }
  std::vector<Event> events(supply.empty() ? 2 : 4);
  for (Event& event : events) {
    event.header.timestamp = vek::fuzz::time_of(supply);
    event.header.type_index = static_cast<uint16_t>(supply.below(schema.num_types));
    const uint64_t type_size = plain_types[event.header.type_index].size;
    require(set.GetTypeSize(&event.header) == type_size, "the type's size is known");
    event.bytes.reset(new uint8_t[type_size]());
    const auto values = supply.take(supply.below(200));
    for (size_t i = 0; i < type_size && !values.empty(); ++i) {
      event.bytes[i] = values[i % values.size()];
    }
  }
  // One layout behind the other: a record is packed out of the one before it of its own layout.
  for (const char* layout : {"flb_std", "custom"}) {
    for (size_t i = 0; i < events.size(); ++i) {
      require_plain(set, plain, plain_types[events[i].header.type_index], events[i].bytes.get(),
                    events[i].header, kSources[i], layout);
    }
  }
  return 0;
}
