// The straightforward way through dictionary streams: the pages walked event by event, and a tree
// of heap nodes built of them, packed with msgpack-c node by node. What the reader is compared
// with.
#ifndef VEK_BENCH_PLAIN_DICTIONARIES_H
#define VEK_BENCH_PLAIN_DICTIONARIES_H

#include <msgpack.h>

#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "data/data_page.h"
#include "data/opaque_events_extractor.h"
#include "dict_reader/dict_event.h"

namespace vek::bench {

struct StreamEvent {
  python_event_type_t type;
  uint32_t key_id;
  const uint8_t* data;
  uint32_t size;
};

// Every event of a page that is known to be right, in order.
template <typename Visit>
inline void walk_stream(const std::vector<uint8_t>& image, size_t event_size, Visit visit) {
  const uint8_t* at = image.data() + VEK_PAGE_HEADER_SIZE;
  const uint8_t* const end = image.data() + image.size();
  while (at < end) {
    if (vek_data_block_get_type(at) == VEK_SCHEMAS_BLOCK) {
      vek_schema_block_t header;
      std::memcpy(&header, at, VEK_BLOCK_HEADER_SIZE);
      at += header.length;
      continue;
    }
    vek_event_header_t block;
    std::memcpy(&block, at, sizeof block);
    at += sizeof block;
    for (unsigned i = 0; i < block.count; ++i, at += event_size) {
      vek_opaque_event_t event;
      std::memcpy(&event, at, sizeof event);
      if (event.kind != VEK_OPAQUE_WHOLE || event.data_size > event_size - sizeof event) return;
      visit(StreamEvent{typeOfDictEventWord(event.second_word),
                        keyIdOfDictEventWord(event.second_word), at + sizeof event,
                        event.data_size});
    }
  }
}

// A value of the tree: what the reader's public classes are, without a pool behind them.
struct PlainValue {
  virtual ~PlainValue() = default;
  virtual void pack(msgpack_packer& packer) const = 0;

  struct PlainContainer* parent = nullptr;
  const std::string* name = nullptr;
};

struct PlainContainer final : PlainValue {
  void pack(msgpack_packer& packer) const override;

  bool is_dict = false;
  std::list<std::unique_ptr<PlainValue>> children;
};

class PlainDecoder {
 public:
  // True when the event has completed a record, which is then in `out`.
  bool take(const StreamEvent& event, msgpack_sbuffer& out);

 private:
  void add(const StreamEvent& event, std::unique_ptr<PlainValue> value);
  void open(const StreamEvent& event, bool is_dict);
  bool end(msgpack_sbuffer& out);

  std::unordered_map<uint32_t, std::string> names_;
  uint64_t timestamp_ = 0;
  std::unique_ptr<PlainValue> root_;
  PlainContainer* current_ = nullptr;
};

// All that a packer has to look at, and nothing done with it: kind, type, key id and size of each
// event, and the first word of its data, summed up.
uint64_t sum_of_stream(const std::vector<uint8_t>& image, size_t event_size);

}  // namespace vek::bench

#endif  // VEK_BENCH_PLAIN_DICTIONARIES_H
