// Counters blocks of made-up schemas by made-up counter-set files.
//
// The record is the plain packer's, in both layouts, packed once or one behind the other. No byte
// behind the extent that the set asks for is looked at.
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "counters/counters_msgpack.h"
#include "fuzz/generated.h"
#include "fuzz/records.h"
#include "fuzz/support.h"
#include "tests/counters/plain_packer.h"
#include "utils/record_packer.h"

namespace {

using vek::fuzz::require;

constexpr std::array<const char*, 4> kSources = {"a source", "a source", "another one", ""};

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
  std::vector<std::unique_ptr<uint8_t[]>> blocks(supply.empty() ? 2 : 4);
  for (auto& block : blocks) {
    block.reset(new uint8_t[extent]());
    const bool is_last = &block == &blocks.back();
    const auto values = supply.take(is_last ? extent : supply.below(200));
    for (size_t i = 0; i < extent && !values.empty(); ++i) block[i] = values[i % values.size()];
  }
  // One layout behind the other: a record is packed out of the one before it of its own layout.
  vek::RecordPacker packer;
  for (const char* layout : {"flb_std", "custom"}) {
    for (size_t i = 0; i < blocks.size(); ++i) {
      require_plain(*set, packer, blocks[i].get(), kSources[i], layout);
    }
  }
  return 0;
}
