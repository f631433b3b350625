// Counters blocks of made-up schemas by made-up counter-set files.
//
// The record is the plain packer's, in both layouts, packed once or one behind the other. No byte
// behind the extent that the set asks for is looked at.
#include <memory>
#include <string>

#include "counters/counters_msgpack.h"
#include "fuzz/generated.h"
#include "fuzz/records.h"
#include "fuzz/support.h"
#include "tests/counters/plain_packer.h"
#include "utils/record_packer.h"

namespace {

using vek::fuzz::require;

void require_consistent(const vek_counter_set_t& set) {
  uint64_t exported = 0;
  for (uint64_t i = 0; i < set.num_counters; ++i) exported += set.skip[i] == 0;
  require(exported == set.num_exported, "exported counters are counted");
  uint64_t shown = 0;
  for (uint64_t i = 0; i < set.num_meta; ++i) shown += set.meta[i].skip == 0;
  require(shown == set.num_shown_meta, "shown meta fields are counted");
}

void require_plain(const vek_counter_set_t& set, vek::RecordPacker& packer, const uint8_t* block,
                   const char* source, const char* layout) {
  vek::RecordBuffer plain;
  vek::test::plain_pack(plain.get(), block, &set, source, layout);
  const std::string expected = vek::fuzz::bytes_of(plain);
  vek::RecordBuffer ours;
  vek_counter_block_to_msgpack_filtered(ours.get(), block, &set, source, layout);
  require(vek::fuzz::bytes_of(ours) == expected, "packed by plan as plainly");
  require(vek::pack_counters_block(packer, block, &set, source ? source : std::string_view(),
                                   vek::layout_named(layout)) == expected,
          "packed out of the record before it as plainly");
  if (!expected.empty()) vek::fuzz::require_sound_record(expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  vek::fuzz::Supply supply(data, size);
  const auto schema = vek::fuzz::counters_schema(supply);
  const vek::fuzz::InputFile rules(vek::fuzz::rule_lines(supply));
  const vek::fuzz::CounterSet set(
      vek_schema_to_counter_set(schema.get(), supply.below(4) == 0 ? nullptr : rules.path()));
  require(set != nullptr, "there is a set");
  require_consistent(*set);

  const uint64_t extent = vek_counter_set_block_extent(set.get());
  require(extent <= 16 + uint64_t{schema->size_of_counters}, "a block of the schema is enough");
  vek::fuzz::survives_without_memory(size, [&] {
    const vek::fuzz::CounterSet other(vek_schema_to_counter_set(schema.get(), rules.path()));
    const std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[extent]());
    if (!other || !block) return;
    vek::RecordBuffer record;
    vek_counter_block_to_msgpack_filtered(record.get(), block.get(), other.get(), "", "flb_std");
    vek::RecordPacker without;
    vek::pack_counters_block(without, block.get(), other.get(), "", vek::layout_named("flb_std"));
  });
  vek::RecordPacker packer;
  for (int round = 0; round < (supply.empty() ? 2 : 4); ++round) {
    const std::unique_ptr<uint8_t[]> block(new uint8_t[extent]());
    const auto values = supply.take(round < 3 ? supply.below(200) : extent);
    for (size_t i = 0; i < extent && !values.empty(); ++i) block[i] = values[i % values.size()];
    for (const char* layout : {"flb_std", "custom"}) {
      require_plain(*set, packer, block.get(), round % 2 == 0 ? "a source" : "", layout);
    }
  }
  return 0;
}
