// What the three targets of schema documents share.
#ifndef VEK_FUZZ_SCHEMA_DOCUMENTS_H
#define VEK_FUZZ_SCHEMA_DOCUMENTS_H

#include <string>
#include <string_view>

#include "counters/counters_schema.h"
#include "data/schema.h"
#include "fuzz/support.h"
#include "json/json_owned.h"

namespace vek::fuzz {

// A tree takes more than its text: a node for every two characters at worst.
inline constexpr size_t kDocumentFactor = 400;

inline std::string pretty(const JSON_Value* json) {
  const JsonText text(json_serialize_to_string_pretty(json));
  return text ? text.get() : "";
}

// Texts that are no UTF-8 are accepted too, and cannot be written either.
bool is_utf8(std::string_view text);
// False where a document named something unknown, which is accepted and cannot be written.
bool knows_all_names(const vek_schema_t& schema);
bool knows_all_names(const vek_counters_schema_t& schema);

// Every type can be rendered, from a record of exactly its size.
void require_renderable(const vek_schema_t& schema);
// Binding ends, and what it says of fields and sizes fits together.
void require_bindable(const vek_schema_t& schema);

}  // namespace vek::fuzz

#endif  // VEK_FUZZ_SCHEMA_DOCUMENTS_H
