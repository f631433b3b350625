// Pages of dictionary streams to records: the reader as an exporter uses it, a tree of heap nodes
// packed with msgpack-c, and, as the floor, a walk over the same pages that writes nothing or a
// memcpy of the finished records.
#include <benchmark/benchmark.h>
#include <msgpack.h>

#include <memory>
#include <string>
#include <vector>

#include "bench/dictionary_samples.h"
#include "bench/plain_dictionaries.h"
#include "bench/record_pool.h"
#include "bench/workload.h"
#include "dict_reader/dict_msgpack.h"
#include "dict_reader/dict_reader.h"

namespace vek::bench {
namespace {

using Record = std::vector<char>;

// Its two ways: records packed as events arrive, and messages that are packed afterwards.
enum class Way { kRecords, kMessages };

class Ours {
 public:
  Ours(const DictionarySamples& samples, Way way) {
    lookup_.find_event_type = [](void* type, const vek_schema_block_t*, const vek_event_header_t*) {
      return static_cast<const vek_type_definition_t*>(type);
    };
    lookup_.context = const_cast<vek_type_definition_t*>(samples.type());
    if (way == Way::kRecords) reader_.PackRecords(receive_record);
    read(samples.keys());
  }
  void read(const std::vector<DictionarySamples::Image>& pages) {
    for (const auto& page : pages) {
      if (!reader_.ReadPage(reinterpret_cast<const vek_data_page_t*>(page.data()), &lookup_)) {
        fail("streams", "a page is refused");
      }
    }
  }
  std::vector<Record>* keep = nullptr;

 private:
  static bool receive(dict_reader_user_ctx* context, const data_dict_message_t* message) {
    msgpack_sbuffer buffer;
    const bool packed = data_dict_pack_and_delete(message, &buffer) != 0 &&
                        receive_record(context, buffer.data, buffer.size);
    msgpack_sbuffer_destroy(&buffer);
    return packed;
  }
  static bool receive_record(dict_reader_user_ctx* context, const void* record, size_t size) {
    const auto& self = *reinterpret_cast<Ours*>(context);
    benchmark::DoNotOptimize(record);
    benchmark::ClobberMemory();
    const char* const bytes = static_cast<const char*>(record);
    if (self.keep) self.keep->emplace_back(bytes, bytes + size);
    return true;
  }

  unsigned char any_application_[VEK_APP_ID_SIZE] = {};
  data_dict_reader_user_t user_ = {receive, reinterpret_cast<dict_reader_user_ctx*>(this), false,
                                   true};
  vek_exporter_schema_manager_t lookup_{};
  DataDictionaryReader reader_{&user_, any_application_, DataDictionaryReader::kTreeDecoder};
};

class Plain {
 public:
  explicit Plain(const DictionarySamples& samples) : event_size_(samples.type()->size) {
    msgpack_sbuffer_init(&buffer_);
    read(samples.keys());
  }
  ~Plain() { msgpack_sbuffer_destroy(&buffer_); }
  Plain(const Plain&) = delete;
  Plain& operator=(const Plain&) = delete;

  void read(const std::vector<DictionarySamples::Image>& pages) {
    for (const auto& page : pages) {
      walk_stream(page, event_size_, [this](const StreamEvent& event) {
        if (!decoder_.take(event, buffer_)) return;
        benchmark::DoNotOptimize(buffer_.data);
        benchmark::ClobberMemory();
        if (keep) keep->emplace_back(buffer_.data, buffer_.data + buffer_.size);
        buffer_.size = 0;
      });
    }
  }
  std::vector<Record>* keep = nullptr;

 private:
  PlainDecoder decoder_;
  msgpack_sbuffer buffer_;
  size_t event_size_;
};

template <typename Decoder>
std::vector<Record> records_of(Decoder& decoder, const DictionarySamples& samples) {
  std::vector<Record> records;
  decoder.keep = &records;
  for (const auto& group : samples.groups()) decoder.read(group.pages);
  decoder.keep = nullptr;
  return records;
}

double mean_bytes(const std::vector<Record>& records) {
  double sum = 0;
  for (const Record& record : records) sum += static_cast<double>(record.size());
  return sum / static_cast<double>(records.size());
}

struct Case {
  std::string name;
  uint32_t leaves;
  Structure structure;
  bool long_names = false;
  std::shared_ptr<DictionarySamples> samples() const {
    return std::make_shared<DictionarySamples>(leaves, structure, long_names);
  }
};

template <typename Decoder, typename... Arguments>
Prepared prepare(const Case& what, Arguments... arguments) {
  const auto samples = what.samples();
  const auto decoder = std::make_shared<Decoder>(*samples, arguments...);
  Plain plain(*samples);
  const std::vector<Record> records = records_of(plain, *samples);
  // Speed counts only where the bytes are right.
  if (records.size() != samples->groups().size() * samples->per_group() ||
      records_of(*decoder, *samples) != records) {
    fail(what.name, "the records differ");
  }
  return {[=](size_t count) {
            for (size_t i = 0; i < count; i += samples->per_group()) {
              decoder->read(samples->next().pages);
            }
          },
          mean_bytes(records)};
}

Prepared prepare_walk(const Case& what) {
  const auto samples = what.samples();
  return {[=](size_t count) {
            for (size_t i = 0; i < count; i += samples->per_group()) {
              for (const auto& page : samples->next().pages) {
                benchmark::DoNotOptimize(sum_of_stream(page, samples->type()->size));
              }
            }
          },
          0};
}

Prepared prepare_copy(const Case& what) {
  const auto samples = what.samples();
  Plain plain(*samples);
  const auto pool = std::make_shared<RecordPool>();
  for (const Record& record : records_of(plain, *samples)) {
    pool->add({record.data(), record.size()});
  }
  return {[=](size_t count) { pool->copy(count); }, pool->mean_bytes()};
}

void add(const Case& what) {
  add_workload(what.name, "ours", [=] { return prepare<Ours>(what, Way::kRecords); });
  add_workload(what.name, "plain", [=] { return prepare<Plain>(what); });
  add_workload(what.name, "floor", [=] { return prepare_walk(what); });
}

bool add_all() {
  for (const uint32_t leaves : {20u, 240u, 4800u}) {
    add({"streams/fixed/" + std::to_string(leaves), leaves, Structure::kFixed});
    add({"streams/varying/" + std::to_string(leaves), leaves, Structure::kVarying});
  }
  add({"streams/turns/240", 240, Structure::kTurns});
  add({"streams/gauges/240", 240, Structure::kGauges});
  add({"streams/long-names/240", 240, Structure::kFixed, true});

  // By shape, with a memcpy of the records as the floor.
  for (const Case& what : {Case{"streams/small/10", 10, Structure::kFlat},
                           Case{"streams/wide/1000", 1000, Structure::kFlat},
                           Case{"streams/deep/50", 50, Structure::kNested}}) {
    add_workload(what.name, "ours", [=] { return prepare<Ours>(what, Way::kRecords); });
    add_workload(what.name, "plain", [=] { return prepare<Plain>(what); });
    add_workload(what.name, "floor", [=] { return prepare_copy(what); });
  }

  // For every other user of the reader.
  const Case trees = {"streams/trees/240", 240, Structure::kFixed};
  add_workload(trees.name, "ours", [=] { return prepare<Ours>(trees, Way::kMessages); });
  add_workload(trees.name, "plain", [=] { return prepare<Plain>(trees); });
  add_workload(trees.name, "floor", [=] { return prepare_walk(trees); });
  return true;
}

const bool g_added = add_all();

}  // namespace
}  // namespace vek::bench
