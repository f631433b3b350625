#include "tests/field_set/events_fixture.h"

#include <cstdlib>

#include "tests/support/guarded_bytes.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {

uint8_t add_type(vek_schema_t* schema, const std::string& name,
                 const std::vector<FieldSpec>& fields) {
  std::vector<vek_type_field_info_t> infos;
  for (const FieldSpec& field : fields) {
    infos.push_back(
        {field.name.c_str(), "", field.type.c_str(), field.counting_mode, field.array_length});
  }
  uint8_t index = 255;
  EXPECT_EQ(vek_schema_add_type(schema, name.c_str(), infos.data(),
                                static_cast<uint32_t>(infos.size()), &index),
            0)
      << name;
  return index;
}

Record text(const std::string& text, size_t size) {
  Record bytes(text.begin(), text.end());
  bytes.resize(size);
  return bytes;
}

Record event(const std::vector<Record>& parts) {
  Record bytes;
  for (const Record& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
  return bytes;
}

SchemasBlock::SchemasBlock(const std::vector<const vek_schema_t*>& schemas)
    : bytes_(VEK_BLOCK_HEADER_SIZE) {
  std::memcpy(bytes_.data(), "VEKS", 4);
  for (const vek_schema_t* schema : schemas) {
    bytes_.insert(bytes_.end(), schema->digest, schema->digest + VEK_SCHEMA_ID_SIZE);
  }
  const auto length = static_cast<uint16_t>(bytes_.size());
  std::memcpy(bytes_.data() + 4, &length, sizeof(length));
}

SchemasBlock::SchemasBlock(const vek_type_system_t* type_system)
    : SchemasBlock(std::vector<const vek_schema_t*>(
          type_system->schemas, type_system->schemas + type_system->num_schemas)) {}

vek_event_header_t header_of(uint16_t type_index, uint64_t timestamp_us, uint8_t schema_index) {
  vek_event_header_t header{};
  vek_data_block_set_type(header.magic, VEK_EVENTS_BLOCK);
  header.timestamp = timestamp_us;
  header.schema_index = schema_index;
  header.type_index = type_index;
  header.count = 1;
  return header;
}

std::vector<std::string> included_names(const std::vector<field_t>& fields) {
  std::vector<std::string> names;
  for (const field_t& field : fields) {
    if (!field.skip) names.emplace_back(field.name);
  }
  return names;
}

std::vector<std::string> all_names(const std::vector<field_t>& fields) {
  std::vector<std::string> names;
  for (const field_t& field : fields) names.emplace_back(field.name);
  return names;
}

EventsTest::EventsTest()
    : ts_(vek_create_type_system()),
      schema_(vek_type_system_add_schema(ts_.get(), "provider", 1, nullptr)) {}

void EventsTest::bind(const Lines& lines) {
  vek_type_system_update_md5_hashes(ts_.get());
  set_.initializeFromLines(ts_.get(), lines);
  schemas_block_ = SchemasBlock(ts_.get()).bytes();
  set_.SaveLastSchemaBlock(reinterpret_cast<const vek_schema_block_t*>(schemas_block_.data()));
}

Record EventsTest::pack(uint8_t type_index, const Record& record, const char* source,
                        const char* layout) {
  const vek_event_header_t header = header_of(type_index, timestamp_us_);
  EXPECT_EQ(set_.GetTypeSize(&header), record.size());
  const GuardedBytes guarded(record);  // records end where a page may end
  msgpack_sbuffer buffer;
  set_.MsgPackToSimpleBuffer(&buffer, guarded.data(), &header, source, layout);
  const Record bytes(buffer.data, buffer.data + buffer.size);
  std::free(buffer.data);
  return bytes;
}

std::string EventsTest::packed(uint8_t type_index, const Record& record, const char* source) {
  Record bytes = pack(type_index, record, source, "flb_std");
  constexpr size_t kTimeSize = 1 + 9;
  if (bytes.size() < kTimeSize) return msgpack_to_text(bytes);
  EXPECT_EQ(bytes[0], 0x92);
  EXPECT_EQ(bytes[1], 0xcb);
  bytes.erase(bytes.begin(), bytes.begin() + kTimeSize);
  return msgpack_to_text(bytes);
}

std::string EventsTest::packed_custom(uint8_t type_index, const Record& record,
                                      const char* source) {
  return msgpack_to_text(pack(type_index, record, source, "custom"));
}

}  // namespace vek::test
