// The stream events of one dictionary into its record: through the reader, through a plain tree of
// heap nodes packed with msgpack-c, and a memcpy of the finished bytes.
//
// "items" are stream events; "allocs" counts those of one whole dictionary.
#include <benchmark/benchmark.h>
#include <msgpack.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "bench/allocation_count.h"
#include "bench/dictionary_samples.h"
#include "bench/plain_dictionaries.h"
#include "dict_reader/dict_msgpack.h"
#include "dict_reader/dict_reader.h"

namespace vek::bench {
namespace {

constexpr uint32_t kCollections = 16;

using Record = std::vector<char>;

struct Samples {
  explicit Samples(Shape shape) : keys(dictionary_keys(shape)) {
    for (uint32_t i = 0; i < kCollections; ++i) {
      collections.push_back(dictionary_collection(shape, i));
    }
  }
  // One after the other, so that no value can be learnt by heart.
  const Stream& next() { return collections[current = (current + 1) % kCollections]; }

  Stream keys;
  std::vector<Stream> collections;
  size_t current = 0;
};

// The reader as an exporter uses it: each message is packed into a buffer of its own.
class Ours {
 public:
  explicit Ours(const Stream& keys) {
    feed({{PYTHON_NEW_COLLECTION, 0, std::string(8, '\0')}});
    feed(keys);
  }
  void feed(const Stream& stream) {
    for (const StreamEvent& event : stream) {
      reader_.ProcessEvent("node-0017.rack-4", "dict_power", nullptr, nullptr, 0,
                           packDictEventWord(event.type, event.key_id), event.data.data(),
                           static_cast<unsigned>(event.data.size()));
    }
  }
  Record* keep = nullptr;

 private:
  static bool receive(dict_reader_user_ctx* context, const data_dict_message_t* message) {
    const auto& self = *reinterpret_cast<Ours*>(context);
    msgpack_sbuffer buffer;
    const bool packed = data_dict_pack_and_delete(message, &buffer) != 0;
    benchmark::DoNotOptimize(buffer.data);
    if (self.keep) self.keep->assign(buffer.data, buffer.data + buffer.size);
    msgpack_sbuffer_destroy(&buffer);
    return packed;
  }

  unsigned char any_application_[VEK_APP_ID_SIZE] = {};
  data_dict_reader_user_t user_ = {receive, reinterpret_cast<dict_reader_user_ctx*>(this), false,
                                   true};
  DataDictionaryReader reader_{&user_, any_application_, DataDictionaryReader::kTreeDecoder};
};

class Plain {
 public:
  explicit Plain(const Stream& keys) { feed(keys); }
  void feed(const Stream& stream) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    for (const StreamEvent& event : stream) decoder_.take(event, buffer);
    benchmark::DoNotOptimize(buffer.data);
    if (keep) keep->assign(buffer.data, buffer.data + buffer.size);
    msgpack_sbuffer_destroy(&buffer);
  }
  Record* keep = nullptr;

 private:
  PlainDecoder decoder_;
};

template <typename Decoder>
std::vector<Record> records_of(const Samples& samples) {
  Decoder decoder(samples.keys);
  std::vector<Record> records(kCollections);
  for (uint32_t i = 0; i < kCollections; ++i) {
    decoder.keep = &records[i];
    decoder.feed(samples.collections[i]);
  }
  return records;
}

void report(benchmark::State& state, uint64_t allocations_before, const Samples& samples,
            size_t record_bytes) {
  const auto records = static_cast<double>(state.iterations());
  const uint64_t allocations = allocation_count() - allocations_before;
  const auto events = static_cast<int64_t>(samples.collections[0].size());
  state.counters["allocs"] = static_cast<double>(allocations) / records;
  state.counters["bytes"] = static_cast<double>(record_bytes);
  state.SetItemsProcessed(state.iterations() * events);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(record_bytes));
}

template <typename Decoder>
void decode(benchmark::State& state, Shape shape) {
  Samples samples(shape);
  const std::vector<Record> expected = records_of<Plain>(samples);
  // Speed counts only where the bytes are right.
  if (expected[0].empty() || records_of<Decoder>(samples) != expected) {
    state.SkipWithError("the records differ");
    return;
  }
  Decoder decoder(samples.keys);
  decoder.feed(samples.next());
  const uint64_t allocations = allocation_count();
  for (auto _ : state) {
    decoder.feed(samples.next());
    benchmark::ClobberMemory();
  }
  report(state, allocations, samples, expected[0].size());
}

void copy_records(benchmark::State& state, Shape shape) {
  const Samples samples(shape);
  const std::vector<Record> records = records_of<Plain>(samples);
  size_t largest = 0;
  for (const Record& record : records) largest = std::max(largest, record.size());
  std::vector<char> target(largest);
  size_t current = 0;
  const uint64_t allocations = allocation_count();
  for (auto _ : state) {
    current = (current + 1) % records.size();
    std::memcpy(target.data(), records[current].data(), records[current].size());
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
  report(state, allocations, samples, records[0].size());
}

bool register_all() {
  for (const auto& [name, shape] : {std::pair("small-10", Shape::kSmall),
                                    {"wide-1000", Shape::kWide},
                                    {"deep-50", Shape::kDeep}}) {
    const auto add = [name = name, shape = shape](const char* variant, auto* run) {
      benchmark::RegisterBenchmark(("dictionaries/" + std::string(name) + "/" + variant).c_str(),
                                   [=](benchmark::State& state) { run(state, shape); });
    };
    add("ours", decode<Ours>);
    add("plain", decode<Plain>);
    add("memcpy", copy_records);
  }
  return true;
}

const bool g_registered = register_all();

}  // namespace
}  // namespace vek::bench
