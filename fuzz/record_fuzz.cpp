// Any bytes where the engine expects records. What it finds sound lies inside them, is found sound
// alone too, and prints to a line that no terminal and no log can misread; a mended record is sound
// with the count that it gets; what is dropped has a reason.
#include <string>
#include <vector>

#include "fuzz/support.h"
#include "raw_msgpack_api/frame_writer.h"
#include "raw_msgpack_api/record_events.h"
#include "raw_msgpack_api/record_json.h"
#include "raw_msgpack_api/record_walk.h"

namespace {

using vek::engine::Bytes;
using vek::engine::RecordView;
using vek::engine::RecordWalk;
using vek::fuzz::require;

void require_sound(Bytes bytes) {
  RecordWalk walk(bytes);
  require(walk.next() == RecordWalk::Step::kRecord && !walk.mended(), "a record is sound alone");
  require(walk.record().bytes.size() == bytes.size(), "it is as long as before");
  require(walk.next() == RecordWalk::Step::kEnd, "nothing is behind it");
}

void require_text(const RecordView& record) {
  for (const auto style : {vek::engine::TextStyle::kJson, vek::engine::TextStyle::kArrows}) {
    std::string text;
    vek::engine::append_text(record.bytes, style, text);
    vek::fuzz::require_printable(text, "the text of a record is one printable line");
  }
}

void require_events(const RecordView& record) {
  vek::engine::RecordEvents events(record);
  const Bytes whole = record.body();
  size_t bytes = 0;
  for (Bytes body; events.next(body); bytes += body.size()) {
    require(body.data() >= whole.data(), "an event begins inside the record");
    require(body.data() + body.size() <= whole.data() + whole.size(), "and ends inside it");
    require(!body.empty(), "an event has bytes");
  }
  require(bytes <= whole.size() && bytes > 0, "events do not overlap, and there is one");
}

void check(const RecordWalk& walk, Bytes input) {
  const RecordView& record = walk.record();
  require(record.bytes.data() >= input.data(), "a record begins inside the input");
  require(record.bytes.data() + record.bytes.size() <= input.data() + input.size(),
          "and ends inside it");
  require(record.depth >= 1 && record.depth <= vek::engine::kMaxRecordDepth, "depth is bounded");
  if (walk.mended()) {
    std::vector<uint8_t> copy(record.bytes.begin(), record.bytes.end());
    vek::engine::set_map_count(std::span(copy).subspan(record.body_offset), walk.pairs());
    require_sound(copy);
    return;
  }
  require_sound(record.bytes);
  require_text(record);
  require_events(record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const Bytes input(data, size);
  const vek::fuzz::Budget budget(size, 32);  // the texts: a byte can become twelve characters
  RecordWalk walk(input);
  size_t steps = 0;
  for (auto step = walk.next(); step != RecordWalk::Step::kEnd; step = walk.next()) {
    require(++steps <= size, "each step takes a byte at least");
    if (step == RecordWalk::Step::kRecord) check(walk, input);
  }
  return 0;
}
