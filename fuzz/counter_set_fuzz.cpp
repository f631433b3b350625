// Counter-set files, over a schema that has every data type and names worth naming. Whatever a file
// says, the set is consistent and its record sound, and reading it again makes the same set.
#include <memory>
#include <string>

#include "counters/counter_set.h"
#include "counters/counter_set_observer.h"
#include "counters/counters_msgpack.h"
#include "fuzz/generated.h"
#include "fuzz/records.h"
#include "fuzz/support.h"

namespace {

using vek::fuzz::require;

const vek_counters_schema_t* schema() {
  static const vek::fuzz::CountersSchema made = [] {
    const std::string seed = "fuzz the counters: every type 0123456789 of many names and groups";
    vek::fuzz::Supply supply(reinterpret_cast<const uint8_t*>(seed.data()), seed.size());
    return vek::fuzz::counters_schema(supply);
  }();
  return made.get();
}

std::string record_of(const vek_counter_set_t& set) {
  const uint64_t extent = vek_counter_set_block_extent(&set);
  const std::unique_ptr<uint8_t[]> block(new uint8_t[extent]());
  vek::RecordBuffer record;
  vek_counter_block_to_msgpack_filtered(record.get(), block.get(), &set, "source", "flb_std");
  return vek::fuzz::bytes_of(record);
}

class Lines : public vek::CounterSetObserver {
 public:
  void on_counter_set_line(const vek::CounterSetLine& line) override {
    require(line.number == ++lines_, "lines come in order");
    require(line.column >= 1, "columns begin with 1");
    tokens_ += line.kind == vek::CounterSetLineKind::kToken;
  }
  void on_counter_token(uint64_t token, uint64_t counter, vek::CounterTokenEffect) override {
    require(token < tokens_, "a token is a line's");
    require(counter < vek_counters_schema_number_of_counters(schema()), "and the schema's counter");
  }

 private:
  size_t lines_ = 0;
  uint64_t tokens_ = 0;
};

vek::fuzz::CounterSet read(const vek::fuzz::InputFile& file, size_t size,
                           vek::CounterSetObserver* observer) {
  const vek::fuzz::Budget budget(size);
  return vek::fuzz::CounterSet(vek::make_counter_set(schema(), file.path(), observer));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const vek::fuzz::InputFile file({reinterpret_cast<const char*>(data), size});
  schema();
  Lines lines;
  const auto set = read(file, size, &lines);
  require(set != nullptr, "there is a set");
  vek::fuzz::survives_without_memory(
      size, [&] { vek::fuzz::CounterSet(vek::make_counter_set(schema(), file.path(), nullptr)); });
  uint64_t exported = 0;
  for (uint64_t i = 0; i < set->num_counters; ++i) exported += set->skip[i] == 0;
  require(exported == set->num_exported, "exported counters are counted");
  uint64_t shown = 0;
  for (uint64_t i = 0; i < set->num_meta; ++i) shown += set->meta[i].skip == 0;
  require(shown == set->num_shown_meta, "shown meta fields are counted");
  const std::string record = record_of(*set);
  if (!record.empty()) vek::fuzz::require_sound_record(record);
  require(record_of(*read(file, size, nullptr)) == record, "read again, it is the same set");
  return 0;
}
