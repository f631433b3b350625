// Counters schemas as documents. One that is accepted prints to a text that is accepted and prints
// the same again, for identifiers are digests of it; counter sets of it read only their extent.
#include <memory>

#include "counters/counter_set.h"
#include "counters/counters_msgpack.h"
#include "counters/counters_schema.h"
#include "data/type_system.h"
#include "fuzz/records.h"
#include "fuzz/schema_documents.h"
#include "fuzz/support.h"

namespace {

using vek::JsonText;
using vek::fuzz::require;
using Schema = vek::Owned<vek_counters_schema_t, vek_destroy_counters_schema>;

constexpr uint64_t kLargestBlock = 1 << 20;

void check(const Schema& schema) {
  const JsonText written(vek_counters_schema_serialize(schema.get()));
  require(written != nullptr, "a schema has a document");
  if (!vek::fuzz::knows_all_names(*schema)) return;
  const Schema again(vek_counters_schema_deserialize(written.get()));
  require(again != nullptr, "what is written is accepted");
  const JsonText rewritten(vek_counters_schema_serialize(again.get()));
  require(rewritten && std::string_view(written.get()) == rewritten.get(),
          "it is written the same again");
  uint8_t id[VEK_SCHEMA_ID_SIZE];
  require(vek_calc_counters_schema_id(id, schema.get()), "a schema has an identifier");
}

// A counter of an unknown type has a key and no value: whoever reads records reckons with that.
bool knows_all_types(const vek_counter_set_t& set) {
  for (uint64_t i = 0; i < set.num_counters; ++i) {
    const uint32_t type = set.counters[i].data_type;
    if (type < VEK_DATA_TYPE_UINT64 || type > VEK_DATA_TYPE_STRING) return false;
  }
  return true;
}

// As large as the document says that a block is.
std::unique_ptr<uint8_t[]> zeros(uint64_t size) {
  const vek::fuzz::OffTheBooks own;
  return std::unique_ptr<uint8_t[]>(new uint8_t[size]());
}

void pack(const Schema& schema) {
  const vek::Owned<vek_counter_set_t, vek_free_counter_set> set(
      vek_schema_to_counter_set(schema.get(), nullptr));
  require(set != nullptr, "there is a set");
  const uint64_t extent = vek_counter_set_block_extent(set.get());
  if (extent > kLargestBlock) return;
  const std::unique_ptr<uint8_t[]> block = zeros(extent);
  vek::RecordBuffer record;
  vek_counter_block_to_msgpack_filtered(record.get(), block.get(), set.get(), "source", "flb_std");
  const std::string bytes = vek::fuzz::bytes_of(record);
  if (!bytes.empty() && knows_all_types(*set)) vek::fuzz::require_sound_record(bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const std::string text(data, data + size);
  vek::fuzz::survives_without_memory(size, [&] {
    const Schema again(vek_counters_schema_deserialize(text.c_str()));
    const JsonText written(again ? vek_counters_schema_serialize(again.get()) : nullptr);
  });
  const vek::fuzz::Budget budget(size, vek::fuzz::kDocumentFactor);
  const Schema schema(vek_counters_schema_deserialize(text.c_str()));
  if (!schema) return 0;
  if (vek::fuzz::is_utf8(text)) check(schema);
  pack(schema);
  return 0;
}
