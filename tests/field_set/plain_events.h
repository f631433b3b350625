// PlainFieldSet: events packed the plain way, rule by rule, with look-ups by name and the msgpack
// library's packer for every value.
//
// It is what the packing by plans is compared with, byte for byte in tests and by the clock in
// benchmarks. It shares the matching of tokens with the field set, and nothing else.
#ifndef VEK_TESTS_FIELD_SET_PLAIN_EVENTS_H
#define VEK_TESTS_FIELD_SET_PLAIN_EVENTS_H

#include <msgpack.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "data/schema.h"

namespace vek::test {

struct PlainTables {
  std::map<std::string, std::vector<std::string>> tokens;
  std::map<std::string, std::map<std::string, std::string>> aliases;
  std::map<std::string, std::map<std::string, std::string>> constants;
  std::vector<std::string> types_of_interest;
};

struct PlainField {
  std::string name;
  uint32_t type_id = 0;
  uint32_t array_length = 0;
  uint64_t offset = 0;
  bool skip = false;
};

// What one event has in a field.
struct PlainText {
  uint64_t length = 0;
  bool left_out = false;
};

struct PlainType {
  std::string name;
  uint64_t size = 0;
  std::vector<PlainField> fields;
  uint64_t num_included = 0;
  bool skip_empty_strings = false;
  std::vector<size_t> aliased_fields;
  std::vector<int> aliased_meta_fields;
};

class PlainFieldSet {
 public:
  explicit PlainFieldSet(PlainTables tables) : tables_(std::move(tables)) {}

  // As a schema of a type system is bound.
  PlainType bind(const vek_type_definition_t& type);
  // Appends the record of one event; nothing when no field is exported. `source` may be null.
  void pack(msgpack_sbuffer* out, const PlainType& type, const uint8_t* event,
            uint64_t timestamp_us, const char* source, const std::string& layout);

 private:
  bool is_of_interest(const std::string& name, const std::set<std::string>& names);
  void filter(PlainType& type, const std::vector<std::string>& tokens);
  void pack_flb_std(msgpack_packer* packer, const PlainType& type,
                    const std::vector<PlainText>& texts, const uint8_t* event,
                    uint64_t timestamp_us, const char* source);
  void pack_custom(msgpack_packer* packer, const PlainType& type, const uint8_t* event,
                   uint64_t timestamp_us, const char* source);

  PlainTables tables_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_FIELD_SET_PLAIN_EVENTS_H
