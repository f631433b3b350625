#include "tools/inspect/labelled_bytes.h"

#include <algorithm>
#include <array>

#include "data/printable.h"
#include "tools/base/readable_time.h"
#include "tools/inspect/labelled_values.h"
#include "utils/json_scalars.h"

namespace vek::tools {
namespace {

using Look = LabelledBytes::Look;

class Labeller {
 public:
  explicit Labeller(const InspectedPage& page) : page_(page), bytes_(page.image) {}

  std::vector<LabelledBytes> run() {
    header();
    for (const SeenBlock& block : page_.blocks) {
      fill_to(block.offset, "padding");
      one_block(block);
    }
    const uint64_t filled = std::min<uint64_t>(page_.view.filled, page_.image.size());
    fill_to(filled, "padding");
    fill_to(page_.image.size(), "unused");
    return std::move(out_);
  }

 private:
  // Fields come in order; what lies between two of them is labelled `between`.
  void add(size_t offset, size_t length, Look look, std::string label, std::string value = {},
           const char* between = "unused") {
    const size_t end = page_.image.size();
    if (offset < done_ || offset >= end || length == 0) return;
    fill_to(offset, between);
    length = std::min(length, end - offset);
    out_.push_back({offset, length, look, std::move(label), std::move(value)});
    done_ = offset + length;
  }

  void fill_to(size_t offset, const char* label) {
    offset = std::min(offset, page_.image.size());
    if (offset <= done_) return;
    out_.push_back({done_, offset - done_, Look::kUnused, label, {}});
    done_ = offset;
  }

  std::string number(size_t offset, size_t length) const {
    Bytes raw;
    uint64_t value = 0;
    if (!bytes_.slice(offset, length, raw)) return {};
    for (size_t i = length; i-- > 0;) value = value << 8 | raw[i];
    return std::to_string(value);
  }

  std::string time(size_t offset) const {
    uint64_t time_us = 0;
    return bytes_.read(offset, time_us) ? '"' + readable_time(time_us) + '"' : std::string();
  }

  static std::string quoted(std::string_view text) {
    std::string out;
    append_json_string(text, out);
    return out;
  }

  void header() {
    add(0, 1, Look::kStructure, "version", number(0, 1));
    add(1, 1, Look::kStructure, "minor version", number(1, 1));
    add(8, 8, Look::kStructure, "total", number(8, 8));
    add(16, 8, Look::kStructure, "filled", number(16, 8));
    add(24, 8, Look::kStructure, "block size", number(24, 8));
    add(64, VEK_PAGE_SOURCE_ID_SIZE, Look::kIdentity, "source", quoted(page_.view.source_text()));
    add(128, VEK_PAGE_TAG_SIZE, Look::kIdentity, "tag", quoted(page_.view.tag_text()));
    add(144, VEK_SCHEMA_ID_SIZE, Look::kIdentity, "counters schema",
        '"' + schema_id_text(page_.view.schema_id.data()) + '"');
    fill_to(VEK_PAGE_HEADER_SIZE, "unused");
  }

  void one_block(const SeenBlock& block) {
    const size_t at = block.offset;
    const size_t end = at + block.length;
    add(at, 4, Look::kMagic, std::string(block_name(block.type)) + " block");
    if (block.type == VEK_COUNTERS_BLOCK) {
      if (block.time_us) add(at + 8, 8, Look::kTime, "time", time(at + 8));
      if (block.counters) {
        values(label_counters(*block.counters, bytes_, at + VEK_BLOCK_HEADER_SIZE, end), end);
      } else if (block.time_us) {
        add(at + VEK_BLOCK_HEADER_SIZE, block.length - VEK_BLOCK_HEADER_SIZE, Look::kValue,
            "values");
      }
    } else if (block.type == VEK_EVENTS_BLOCK && block.time_us) {
      add(at + 4, 8, Look::kTime, "time", time(at + 4));
      add(at + 12, 1, Look::kStructure, "schema index", number(at + 12, 1));
      add(at + 13, 2, Look::kStructure, "type index", number(at + 13, 2));
      add(at + 15, 1, Look::kStructure, "count", number(at + 15, 1));
      events(block, end);
    } else if (block.type == VEK_SCHEMAS_BLOCK) {
      add(at + 4, 2, Look::kStructure, "length", number(at + 4, 2));
      schema_ids(at, end);
    } else {
      add(at + 4, block.length > 4 ? block.length - 4 : 0, Look::kValue, "contents");
    }
    fill_to(end, "unused");
  }

  void values(const std::vector<LabelledBytes>& values, size_t end) {
    for (const LabelledBytes& one : values) {
      if (one.offset < end) {
        add(one.offset, std::min(one.length, end - one.offset), one.look, one.label, one.value);
      }
    }
  }

  void events(const SeenBlock& block, size_t end) {
    size_t at = block.offset + VEK_BLOCK_HEADER_SIZE;
    if (!block.event_type || block.event_type->size == 0) {
      return add(at, end - at, Look::kValue, "events");
    }
    const uint64_t size = block.event_type->size;
    const std::string name = printable(block.event_type->name);
    for (unsigned i = 0; i < block.count && at < end && size <= end - at; ++i, at += size) {
      values(label_event(*block.event_type, name + "[" + std::to_string(i) + "]", bytes_, at), end);
      fill_to(at + size, "unused");
    }
    if (at < end) add(at, end - at, Look::kValue, name + ", cut");
  }

  void schema_ids(size_t block, size_t end) {
    size_t index = 0;
    for (size_t at = block + VEK_BLOCK_HEADER_SIZE; at <= end && end - at >= VEK_SCHEMA_ID_SIZE;
         at += VEK_SCHEMA_ID_SIZE) {
      add(at, VEK_SCHEMA_ID_SIZE, Look::kIdentity, "schema " + std::to_string(index++),
          '"' + schema_id_text(page_.image.data() + at) + '"');
    }
  }

  const InspectedPage& page_;
  ByteReader bytes_;
  size_t done_ = 0;
  std::vector<LabelledBytes> out_;
};

}  // namespace

std::vector<LabelledBytes> label_bytes(const InspectedPage& page) { return Labeller(page).run(); }

}  // namespace vek::tools
