// Type systems, records and packing for the tests of this folder.
#ifndef VEK_TESTS_FIELD_SET_EVENTS_FIXTURE_H
#define VEK_TESTS_FIELD_SET_EVENTS_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "data/data_page.h"
#include "data/type_system.h"
#include "field_set/field_set.h"
#include "utils/owned.h"

namespace vek::test {

using TypeSystem = Owned<vek_type_system_t, vek_destroy_type_system>;
using Lines = std::vector<std::string>;
using Record = std::vector<uint8_t>;

struct FieldSpec {
  std::string name;
  std::string type;
  uint32_t array_length = 1;
  uint32_t counting_mode = VEK_VALUE_ABSOLUTE;
};

// Adds a type; its position. Fails the test when the schema refuses it.
uint8_t add_type(vek_schema_t* schema, const std::string& name,
                 const std::vector<FieldSpec>& fields);

// One value's bytes, one after the other: event({le<uint32_t>(7), text("ab", 8)}).
template <typename T>
Record le(T value) {
  Record bytes(sizeof(T));
  std::memcpy(bytes.data(), &value, sizeof(T));
  return bytes;
}
// `size` bytes: the text, then NULs.
Record text(const std::string& text, size_t size);
Record event(const std::vector<Record>& parts);

// The schemas block of a page that uses these schemas.
class SchemasBlock {
 public:
  explicit SchemasBlock(const std::vector<const vek_schema_t*>& schemas);
  explicit SchemasBlock(const vek_type_system_t* type_system);
  vek_schema_block_t* get() { return reinterpret_cast<vek_schema_block_t*>(bytes_.data()); }
  std::vector<uint8_t>& bytes() { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

vek_event_header_t header_of(uint16_t type_index, uint64_t timestamp_us = 1'500'000,
                             uint8_t schema_index = 0);

// The names of exported fields, in order.
std::vector<std::string> included_names(const std::vector<field_t>& fields);
std::vector<std::string> all_names(const std::vector<field_t>& fields);

// One schema, one field set, one page that uses both.
class EventsTest : public ::testing::Test {
 protected:
  EventsTest();

  uint8_t type(const std::string& name, const std::vector<FieldSpec>& fields) {
    return add_type(schema_, name, fields);
  }
  // Identifiers are worked out, lines loaded, all schemas bound, the schemas block announced.
  void bind(const Lines& lines = {});

  std::vector<field_t> fields(uint8_t type_index) { return set_.getFields(schema_, type_index); }
  Record pack(uint8_t type_index, const Record& record, const char* source = "src",
              const char* layout = "flb_std");
  // As readable text, without the time when the layout is "flb_std".
  std::string packed(uint8_t type_index, const Record& record, const char* source = "src");
  std::string packed_custom(uint8_t type_index, const Record& record, const char* source = "src");

  TypeSystem ts_;
  vek_schema_t* schema_;
  FieldSet set_;
  std::vector<uint8_t> schemas_block_;
  uint64_t timestamp_us_ = 1'500'000;
};

}  // namespace vek::test

#endif  // VEK_TESTS_FIELD_SET_EVENTS_FIXTURE_H
