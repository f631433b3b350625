#include "bench/dictionary_samples.h"

#include <algorithm>
#include <random>
#include <string>

#include "bench/record_pool.h"
#include "bench/workload.h"
#include "dict_reader/dict_event.h"

namespace vek::bench {
namespace {

constexpr uint32_t kEventSize = 128;
constexpr uint64_t kPageSize = 64 << 10;
constexpr uint32_t kLeavesOfGroup = 12;
constexpr uint32_t kGroupsOfGroup = 20;
constexpr uint32_t kLeafKeys = 240;
constexpr uint32_t kGroupKeys = 40;

template <typename T>
Bytes bytes_of(const T& value) {
  return {reinterpret_cast<const uint8_t*>(&value), sizeof value};
}

Bytes bytes_of(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

class Sender {
 public:
  Sender(OpaqueEventsWriter& writer, uint32_t leaves, Structure structure, bool long_names)
      : writer_(writer), leaves_(leaves), structure_(structure), long_names_(long_names) {}

  void send_keys() {
    event(PYTHON_NEW_COLLECTION, 0, bytes_of(uint64_t{0}));
    const std::string more = long_names_ ? "_of_the_interface_that_was_sampled" : "";
    for (uint32_t i = 0; i < kLeafKeys; ++i) {
      event(PYTHON_ID, i, bytes_of("port_counter_" + std::to_string(i) + more));
    }
    for (uint32_t i = 0; i < kGroupKeys; ++i) {
      event(PYTHON_ID, kLeafKeys + i, bytes_of("device-" + std::to_string(i)));
    }
  }

  void send(uint64_t number) {
    number_ = number;
    // The same draws for each dictionary, or others.
    random_.seed(structure_ == Structure::kTurns ? number % 2 : varies() ? number : 1);
    gauges_.seed(number);
    event(PYTHON_NEW_COLLECTION, kNoKeyId, bytes_of(1'700'000'000'000'000 + number));
    event(PYTHON_DICT_START, kNoKeyId, {});
    send_content();
    event(PYTHON_DICT_END, kNoKeyId, {});
  }

 private:
  void send_content() {
    if (structure_ == Structure::kFlat) {
      for (uint32_t i = 0; i < leaves_; ++i) send_leaf(i % kLeafKeys);
      return;
    }
    if (structure_ == Structure::kNested) {
      send_nested();
      return;
    }
    uint32_t left = leaves_;
    for (uint32_t group = 0; left > 0; ++group) {
      const bool deep = leaves_ > kGroupsOfGroup * kLeavesOfGroup;
      left -= deep ? send_groups(group, left) : send_group(group, left);
    }
  }

  void send_nested() {
    for (uint32_t i = 0; i < leaves_; ++i) {
      event(PYTHON_DICT_START, kLeafKeys + i % kGroupKeys, {});
      send_leaf(i % kLeafKeys);
    }
    for (uint32_t i = 0; i < leaves_; ++i) end(false);
  }

  bool varies() const {
    return structure_ == Structure::kVarying || structure_ == Structure::kTurns;
  }
  uint32_t draw(uint32_t least, uint32_t most) {
    return least + static_cast<uint32_t>(random_() % (most - least + 1));
  }

  bool start(uint32_t group) {
    const bool is_list = varies() && draw(0, 3) == 0;
    const uint32_t key = varies() ? draw(0, kGroupKeys - 1) : group % kGroupKeys;
    event(is_list ? PYTHON_LIST_START : PYTHON_DICT_START, kLeafKeys + key, {});
    return is_list;
  }
  void end(bool is_list) { event(is_list ? PYTHON_LIST_END : PYTHON_DICT_END, kNoKeyId, {}); }

  uint32_t send_groups(uint32_t group, uint32_t left) {
    const bool is_list = start(group);
    const uint32_t groups = varies() ? draw(1, 2 * kGroupsOfGroup) : kGroupsOfGroup;
    uint32_t sent = 0;
    for (uint32_t i = 0; i < groups && sent < left; ++i) sent += send_group(i, left - sent);
    end(is_list);
    return sent;
  }

  uint32_t send_group(uint32_t group, uint32_t left) {
    const bool is_list = start(group);
    const uint32_t wanted = varies() ? draw(1, 2 * kLeavesOfGroup) : kLeavesOfGroup;
    const uint32_t leaves = std::min(wanted, left);
    for (uint32_t i = 0; i < leaves; ++i) {
      send_leaf(varies() ? draw(0, kLeafKeys - 1) : (group * kLeavesOfGroup + i) % kLeafKeys);
    }
    end(is_list);
    return leaves;
  }

  void send_leaf(uint32_t key_id) {
    const uint32_t kind = draw(0, 19);
    const uint64_t word = random_();
    uint64_t magnitude = word >> draw(0, 62);
    if (structure_ == Structure::kGauges) {
      const uint64_t gauge = gauges_();
      magnitude = gauge >> gauge % 63;
    }
    if (kind < 11) {
      event(PYTHON_LONG, key_id, bytes_of(magnitude + (varies() ? 0 : number_ % 16)));
    } else if (kind < 15) {
      event(PYTHON_DOUBLE, key_id, bytes_of(static_cast<double>(word % 10'000 + number_ % 16) / 7));
    } else if (kind < 18) {
      const std::string text = "state-" + std::to_string(word % 1'000'000'000);
      event(PYTHON_STRING, key_id,
            bytes_of(text + (long_names_ ? " since the link was trained last" : "")));
    } else {
      const python_event_type_t type = word % 2 ? PYTHON_BOOL_TRUE : PYTHON_BOOL_FALSE;
      event(kind == 18 ? type : PYTHON_NONE, key_id, {});
    }
  }

  void event(python_event_type_t type, uint32_t key_id, Bytes data) {
    if (!writer_.whole({0, packDictEventWord(type, key_id)}, data)) {
      fail("streams", "an event does not fit");
    }
  }

  OpaqueEventsWriter& writer_;
  uint32_t leaves_;
  Structure structure_;
  bool long_names_;
  uint64_t number_ = 0;
  std::mt19937_64 random_;
  std::mt19937_64 gauges_;
};

}  // namespace

DictionarySamples::DictionarySamples(uint32_t leaves, Structure structure, bool long_names)
    : writer_({.source_id = "node-0017.rack-4",
               .tag = "dict_power",
               .app_id = {},
               .event_size = kEventSize,
               .page_size = kPageSize}) {
  Sender sender(writer_, leaves, structure, long_names);
  sender.send_keys();
  keys_ = writer_.take_pages();
  // The pool is of pages: what is read is several times what is written.
  const size_t per_group = per_group_ = leaves < kLeavesOfGroup * kGroupsOfGroup ? 4 : 1;
  const size_t groups = std::max<size_t>(3, g_pool_bytes / (leaves * kEventSize * per_group));
  for (size_t i = 0; i < groups; ++i) {
    for (size_t k = 0; k < per_group; ++k) sender.send(i * per_group + k);
    groups_.push_back({writer_.take_pages()});
  }
}

}  // namespace vek::bench
