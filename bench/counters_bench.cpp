// Counters blocks to records, one after the other by a packer, as page dispatch does it.
#include <msgpack.h>

#include <memory>
#include <string>
#include <utility>

#include "bench/counter_samples.h"
#include "bench/record_pool.h"
#include "bench/workload.h"
#include "counters/counters_msgpack.h"
#include "tests/counters/plain_packer.h"
#include "utils/record_packer.h"

namespace vek::bench {
namespace {

constexpr char kSource[] = "node-0017.rack-4";

struct CountersCase {
  std::string name;
  CounterSampleOptions samples;
  const char* layout = "flb_std";
  const char* source = kSource;
};

// Packed by our code and by the plain packer; speed counts only where the bytes are right.
RecordPool make_pool(const CountersCase& what, CounterSamples& samples) {
  RecordPool pool;
  RecordPacker packer;
  msgpack_sbuffer plain;
  msgpack_sbuffer_init(&plain);
  for (const auto& block : samples.blocks()) {
    plain.size = 0;
    test::plain_pack_into(&plain, block.data(), samples.set(), what.source, what.layout);
    const std::string_view expected(plain.data, plain.size);
    if (pack_counters_block(packer, block.data(), samples.set(), what.source,
                            layout_named(what.layout)) != expected) {
      fail(what.name, "the records differ from the plain packer's");
    }
    pool.add(expected);
  }
  msgpack_sbuffer_destroy(&plain);
  return pool;
}

Prepared prepare_ours(const CountersCase& what) {
  const auto samples = std::make_shared<CounterSamples>(what.samples);
  const double bytes = make_pool(what, *samples).mean_bytes();
  const auto packer = std::make_shared<RecordPacker>();
  const std::string_view source = what.source;
  const RecordLayout layout = layout_named(what.layout);
  return {[=](size_t count) {
            for (size_t i = 0; i < count; ++i) {
              const auto record = pack_counters_block(*packer, samples->next_block(),
                                                      samples->set(), source, layout);
              benchmark::DoNotOptimize(record.size());
              benchmark::ClobberMemory();
            }
          },
          bytes};
}

Prepared prepare_public(const CountersCase& what) {
  const auto samples = std::make_shared<CounterSamples>(what.samples);
  return {[=](size_t count) {
            for (size_t i = 0; i < count; ++i) {
              msgpack_sbuffer buffer;
              vek_counter_block_to_msgpack_filtered(&buffer, samples->next_block(), samples->set(),
                                                    what.source, what.layout);
              benchmark::DoNotOptimize(buffer.data);
              msgpack_sbuffer_destroy(&buffer);
            }
          },
          make_pool(what, *samples).mean_bytes()};
}

Prepared prepare_plain(const CountersCase& what) {
  const auto samples = std::make_shared<CounterSamples>(what.samples);
  const std::shared_ptr<msgpack_sbuffer> buffer(msgpack_sbuffer_new(), msgpack_sbuffer_free);
  return {[=](size_t count) {
            for (size_t i = 0; i < count; ++i) {
              buffer->size = 0;
              test::plain_pack_into(buffer.get(), samples->next_block(), samples->set(),
                                    what.source, what.layout);
              benchmark::DoNotOptimize(buffer->data);
              benchmark::ClobberMemory();
            }
          },
          make_pool(what, *samples).mean_bytes()};
}

Prepared prepare_floor(const CountersCase& what) {
  CounterSamples samples(what.samples);
  const auto pool = std::make_shared<RecordPool>(make_pool(what, samples));
  return {[=](size_t count) { pool->copy(count); }, pool->mean_bytes()};
}

void add(const CountersCase& what) {
  add_workload(what.name, "ours", [=] { return prepare_ours(what); });
  add_workload(what.name, "plain", [=] { return prepare_plain(what); });
  add_workload(what.name, "floor", [=] { return prepare_floor(what); });
}

bool add_all() {
  for (const char* layout : {"flb_std", "custom"}) {
    for (const size_t count : {size_t{10}, size_t{100}, size_t{1000}}) {
      const std::string name = "counters/" + std::string(layout) + "/" + std::to_string(count);
      add({name + "/steady", {count, Values::kSteady}, layout});
      add({name + "/random", {count, Values::kRandom}, layout});
    }
  }
  add({"counters/flb_std/10000/steady", {10'000, Values::kSteady}});

  // What a record may have besides: none of it may fall off a cliff.
  add({"counters/texts/100", {100, Values::kRandom, CounterMix::kTexts}});
  add({"counters/hex/100", {100, Values::kRandom, CounterMix::kHex}});
  add({"counters/aliases/100",
       {100,
        Values::kRandom,
        CounterMix::kUsual,
        {"received=+port_rcv", "sent=+port_xmit", "+_"}}});
  add({"counters/meta/100",
       {100,
        Values::kRandom,
        CounterMix::kUsual,
        {"+_", "meta_field_alias:timestamp=ts", "meta_field_alias:source=host",
         "meta_field_alias:port_guid=guid", "meta_field_add:site=lab1"}}});
  add({"counters/no-source/100", {100, Values::kRandom}, "flb_std", ""});

  const CountersCase own_buffer = {"counters/own-buffer/100", {100, Values::kSteady}};
  add_workload(own_buffer.name, "ours", [=] { return prepare_public(own_buffer); });
  add_workload(own_buffer.name, "plain", [=] { return prepare_plain(own_buffer); });
  add_workload(own_buffer.name, "floor", [=] { return prepare_floor(own_buffer); });
  return true;
}

const bool g_added = add_all();

}  // namespace
}  // namespace vek::bench
