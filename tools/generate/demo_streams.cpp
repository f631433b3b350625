#include "tools/generate/demo_streams.h"

#include <msgpack.h>

#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "data/opaque_events_writer.h"
#include "exporter/fluent_aggr.h"
#include "tools/generate/demo_job.h"
#include "tools/generate/demo_pages.h"

namespace vek::tools {
namespace {

using Image = std::vector<uint8_t>;

constexpr uint64_t kReports = 8;
constexpr uint64_t kReportEveryUs = 10'000'000;

OpaqueEventsSource source_of(const std::string& source_id, const std::string& tag) {
  return {.source_id = source_id,
          .tag = tag,
          .app_id = {},
          .event_size = kDemoStreamEventSize,
          .page_size = kDemoStreamPageSize,
          .timestamp_us = DemoPages::kStartUs};
}

class Trainer {
 public:
  Trainer(uint64_t seed, uint32_t number)
      : job_(seed, number), writer_(source_of(job_.host(), "dict_jobs")) {}

  std::vector<Image> report(uint64_t time_us) {
    job_.report(time_us, writer_);
    return writer_.take_pages();
  }

 private:
  DemoJob job_;
  DictionaryStreamWriter writer_;
};

class Packer {
 public:
  Packer() {
    msgpack_sbuffer_init(&buffer_);
    msgpack_packer_init(&packer_, &buffer_, msgpack_sbuffer_write);
  }
  ~Packer() { msgpack_sbuffer_destroy(&buffer_); }
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  void text(std::string_view text) {
    msgpack_pack_str_with_body(&packer_, text.data(), text.size());
  }
  msgpack_packer* get() { return &packer_; }
  Bytes bytes() const { return {reinterpret_cast<const uint8_t*>(buffer_.data), buffer_.size}; }

 private:
  msgpack_sbuffer buffer_{};
  msgpack_packer packer_{};
};

// [seconds, {...}], as the engine takes it.
void pack_record(Packer& packer, uint64_t time_us, std::mt19937_64& random) {
  msgpack_pack_array(packer.get(), 2);
  msgpack_pack_double(packer.get(), static_cast<double>(time_us) / 1e6);
  msgpack_pack_map(packer.get(), 4);
  packer.text("source");
  packer.text("aggregator");
  packer.text("window_seconds");
  msgpack_pack_int(packer.get(), 10);
  packer.text("pages_seen");
  msgpack_pack_uint64(packer.get(), 300 + random() % 50);
  packer.text("busiest");
  constexpr size_t kBusiest = 3;
  msgpack_pack_array(packer.get(), kBusiest);
  for (size_t i = 0; i < kBusiest; ++i) {
    const std::string number = std::to_string(1 + random() % 8);
    const char hall = static_cast<char>('a' + random() % 3);
    packer.text("leaf0" + number + ".hall-" + hall);
  }
}

class Aggregator {
 public:
  explicit Aggregator(uint64_t seed) : random_(seed * 1000 + 950), writer_(source()) {}

  std::vector<Image> report(uint64_t time_us) {
    Packer packer;
    pack_record(packer, time_us, random_);
    writer_.set_timestamp(time_us);
    if (!writer_.extended(++id_, {}, {{kFluentAggrTagOption, "windows"}}, packer.bytes())) {
      throw std::logic_error("the demonstration's aggregated records could not be written");
    }
    return writer_.take_pages();
  }

 private:
  static OpaqueEventsSource source() {
    OpaqueEventsSource source = source_of("aggregator", kFluentAggrTag);
    source.app_id = kFluentAggrAppId;
    return source;
  }

  std::mt19937_64 random_;
  OpaqueEventsWriter writer_;
  uint32_t id_ = 0;
};

// Sources that send at the same time: their pages take turns.
void take_turns(std::vector<std::vector<Image>> sources, std::vector<Image>& out) {
  for (size_t turn = 0, before = ~size_t{0}; before != out.size(); ++turn) {
    before = out.size();
    for (std::vector<Image>& pages : sources) {
      if (turn < pages.size()) out.push_back(std::move(pages[turn]));
    }
  }
}

}  // namespace

DemoStreams make_demo_streams(uint64_t seed) {
  Trainer first(seed, 1);
  Trainer second(seed, 2);
  Aggregator aggregator(seed);
  DemoStreams streams;
  streams.sources = 3;
  for (uint64_t i = 0; i < kReports; ++i) {
    const uint64_t time_us = DemoPages::kStartUs + i * kReportEveryUs;
    take_turns({first.report(time_us + 11'000), second.report(time_us + 23'000)}, streams.pages);
    take_turns({aggregator.report(time_us + 50'000)}, streams.pages);
    streams.dictionaries += 2;
    ++streams.aggregated;
  }
  return streams;
}

}  // namespace vek::tools
