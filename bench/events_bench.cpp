// Events to records, one after the other by their plan, as page dispatch does it.
#include <msgpack.h>

#include <memory>
#include <string>

#include "bench/event_samples.h"
#include "bench/record_pool.h"
#include "bench/workload.h"
#include "field_set/event_plan.h"

namespace vek::bench {
namespace {

struct EventsCase {
  std::string name;
  size_t num_fields = 0;
  Values values = Values::kRandom;
  EventMix mix = EventMix::kUsual;
  const char* layout = "flb_std";
  const char* source = "node-0017.rack-4";
};

// As the events of one block are packed.
class EventPacker {
 public:
  EventPacker(EventSamples& samples, const EventsCase& what)
      : plan_(samples.field_set().findPlan(&samples.header())),
        time_(samples.header().timestamp),
        source_(what.source),
        layout_(layout_named(what.layout)) {}
  std::string_view pack(const uint8_t* event) {
    return FieldSet::packNextEvent(*plan_, event, time_, source_, layout_);
  }

 private:
  EventPlan* plan_;
  uint64_t time_;
  std::string_view source_;
  RecordLayout layout_;
};

void pack_plain(msgpack_sbuffer* buffer, EventSamples& samples, const uint8_t* event,
                const EventsCase& what) {
  samples.plain_field_set().pack(buffer, samples.plain_type(), event, samples.header().timestamp,
                                 what.source, what.layout);
}

// Packed by our code and by the plain packer; speed counts only where the bytes are right.
RecordPool make_pool(const EventsCase& what, EventSamples& samples) {
  RecordPool pool;
  EventPacker packer(samples, what);
  msgpack_sbuffer plain;
  msgpack_sbuffer_init(&plain);
  for (const auto& event : samples.events()) {
    plain.size = 0;
    pack_plain(&plain, samples, event.data(), what);
    const std::string_view expected(plain.data, plain.size);
    if (packer.pack(event.data()) != expected) {
      fail(what.name, "the records differ from the plain packer's");
    }
    pool.add(expected);
  }
  msgpack_sbuffer_destroy(&plain);
  return pool;
}

Prepared prepare_ours(const EventsCase& what) {
  const auto samples = std::make_shared<EventSamples>(what.num_fields, what.values, what.mix);
  const double bytes = make_pool(what, *samples).mean_bytes();
  return {[=, packer = EventPacker(*samples, what)](size_t count) mutable {
            for (size_t i = 0; i < count; ++i) {
              const auto record = packer.pack(samples->next_event());
              benchmark::DoNotOptimize(record.size());
              benchmark::ClobberMemory();
            }
          },
          bytes};
}

Prepared prepare_public(const EventsCase& what) {
  const auto samples = std::make_shared<EventSamples>(what.num_fields, what.values, what.mix);
  return {[=](size_t count) {
            for (size_t i = 0; i < count; ++i) {
              msgpack_sbuffer buffer;
              samples->field_set().MsgPackToSimpleBuffer(
                  &buffer, samples->next_event(), &samples->header(), what.source, what.layout);
              benchmark::DoNotOptimize(buffer.data);
              msgpack_sbuffer_destroy(&buffer);
            }
          },
          make_pool(what, *samples).mean_bytes()};
}

Prepared prepare_plain(const EventsCase& what) {
  const auto samples = std::make_shared<EventSamples>(what.num_fields, what.values, what.mix);
  const std::shared_ptr<msgpack_sbuffer> buffer(msgpack_sbuffer_new(), msgpack_sbuffer_free);
  return {[=](size_t count) {
            for (size_t i = 0; i < count; ++i) {
              buffer->size = 0;
              pack_plain(buffer.get(), *samples, samples->next_event(), what);
              benchmark::DoNotOptimize(buffer->data);
              benchmark::ClobberMemory();
            }
          },
          make_pool(what, *samples).mean_bytes()};
}

Prepared prepare_floor(const EventsCase& what) {
  EventSamples samples(what.num_fields, what.values, what.mix);
  const auto pool = std::make_shared<RecordPool>(make_pool(what, samples));
  return {[=](size_t count) { pool->copy(count); }, pool->mean_bytes()};
}

void add(const EventsCase& what) {
  add_workload(what.name, "ours", [=] { return prepare_ours(what); });
  add_workload(what.name, "plain", [=] { return prepare_plain(what); });
  add_workload(what.name, "floor", [=] { return prepare_floor(what); });
}

bool add_all() {
  for (const char* layout : {"flb_std", "custom"}) {
    for (const size_t count : {size_t{8}, size_t{40}, size_t{150}}) {
      const std::string name = "events/" + std::string(layout) + "/" + std::to_string(count);
      add({name + "/steady", count, Values::kSteady, EventMix::kUsual, layout});
      add({name + "/random", count, Values::kRandom, EventMix::kUsual, layout});
    }
  }
  add({"events/empty-texts/40", 40, Values::kRandom, EventMix::kEmptyTexts});
  add({"events/no-source/40", 40, Values::kRandom, EventMix::kUsual, "flb_std", ""});

  const EventsCase own_buffer = {"events/own-buffer/40", 40};
  add_workload(own_buffer.name, "ours", [=] { return prepare_public(own_buffer); });
  add_workload(own_buffer.name, "plain", [=] { return prepare_plain(own_buffer); });
  add_workload(own_buffer.name, "floor", [=] { return prepare_floor(own_buffer); });
  return true;
}

const bool g_added = add_all();

}  // namespace
}  // namespace vek::bench
