// Pages of counters and events whose schemas the input makes up.
//
// The input is a program: it builds a type system and a page, and then tells lies about the bytes
// of that page, its header included. An unharmed page leaves as exactly the records that the plain
// packers make of it, by type system (one input in four, which calculates an identifier each time)
// and by schema manager alike. Of a
// harmed one this is asked: nothing is read beyond it, nothing in it is changed, every record is
// sound, it costs no more than its budget, and the good page behind it leaves as it did before.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "data/page_writer.h"
#include "exporter/fluentbit_exporter.h"
#include "exporter/record_buffer.h"
#include "fuzz/generated.h"
#include "fuzz/records.h"
#include "fuzz/support.h"
#include "schema_manager/fillings.h"
#include "schema_manager/schema_manager.h"
#include "tests/counters/plain_packer.h"
#include "tests/field_set/plain_events.h"

namespace {

using vek::fuzz::require;
using vek::fuzz::Supply;
using Image = std::vector<uint8_t>;
using Texts = std::vector<std::string>;

constexpr char kSource[] = "fuzz";
constexpr size_t kLargestPage = 1 << 16;

struct Page {
  Image image;
  Texts records;
};

// Builds blocks and, beside them, what each of them has to become.
class Builder {
 public:
  Builder(Supply& supply, const vek_type_system_t& types)
      : supply_(supply),
        types_(types),
        set_(vek_schema_to_counter_set(types.counters_schema, nullptr)),
        plain_({}) {
    const vek_schema_t& schema = *types_.schemas[0];
    for (uint16_t i = 0; i < schema.num_types; ++i) {
      plain_types_.push_back(plain_.bind(*schema.types[i]));
    }
  }

  Page build() {
    for (uint32_t i = 1 + supply_.below(6); i > 0; --i) {
      blocks_.emplace_back();
      schemas_block();
      for (uint32_t k = supply_.below(4); k > 0; --k) events_block();
      if (supply_.below(3) != 0) counters_block();
    }
    return {image(), records_};
  }

 private:
  Image& block() { return blocks_.back(); }
  void append(vek::Bytes bytes) { block().insert(block().end(), bytes.begin(), bytes.end()); }
  Image values(uint64_t size) {
    Image bytes(size);
    const auto some = supply_.take(supply_.below(64));
    for (size_t i = 0; i < size && !some.empty(); ++i) bytes[i] = some[i % some.size()];
    return bytes;
  }
  // The part behind its header of a page that holds this alone.
  template <typename Write>
  void written(Write write) {
    vek::PageWriter writer(kSource, "", 0);
    write(writer);
    append(vek::Bytes(writer.finish()).subspan(VEK_PAGE_HEADER_SIZE));
  }
  void note(vek::RecordBuffer& record) {
    if (const auto bytes = vek::fuzz::bytes_of(record); !bytes.empty()) records_.push_back(bytes);
  }

  void schemas_block() {
    const vek_schema_t& schema = *types_.schemas[0];
    const Image id(schema.digest, schema.digest + VEK_SCHEMA_ID_SIZE);
    written([&](vek::PageWriter& writer) { writer.schemas_block(std::vector<Image>{id}); });
  }

  void events_block() {
    const vek_schema_t& schema = *types_.schemas[0];
    const auto index = static_cast<uint16_t>(supply_.below(schema.num_types));
    const vek::test::PlainType& type = plain_types_[index];
    const auto count = static_cast<uint8_t>(supply_.below(4));
    const uint64_t time = vek::fuzz::time_of(supply_);
    const Image events = values(type.size * count);
    written([&](vek::PageWriter& writer) { writer.events_block(time, 0, index, count, events); });
    for (uint8_t i = 0; type.size > 0 && i < count; ++i) {
      vek::RecordBuffer record;
      plain_.pack(record.get(), type, events.data() + i * type.size, time, kSource, "flb_std");
      note(record);
    }
  }

  // Ends its block: nothing behind it is looked at.
  void counters_block() {
    const uint64_t time = vek::fuzz::time_of(supply_);
    const Image bytes = values(types_.counters_schema->size_of_counters);
    written([&](vek::PageWriter& writer) { writer.counters_block(time, bytes); });
    if (vek_counters_schema_number_of_counters(types_.counters_schema) == 0) return;
    const Image& here = block();
    vek::RecordBuffer record;
    vek::test::plain_pack(record.get(), here.data() + here.size() - bytes.size() - 16, set_.get(),
                          kSource, "flb_std");
    note(record);
  }

  Image image() {
    size_t block_size = 5;
    for (const Image& bytes : blocks_) block_size = std::max(block_size, bytes.size());
    block_size += supply_.below(20);
    vek::PageWriter writer(kSource, "", block_size);
    writer.set_counters_schema_id(types_.counters_schema_digest);
    for (const Image& bytes : blocks_) {
      writer.raw(bytes);
      writer.next_block();
    }
    return writer.finish();
  }

  Supply& supply_;
  const vek_type_system_t& types_;
  vek::fuzz::CounterSet set_;
  vek::test::PlainFieldSet plain_;
  std::vector<vek::test::PlainType> plain_types_;
  std::vector<Image> blocks_;
  Texts records_;
};

// One exporter, and one way in which it finds schemas.
class Way {
 public:
  Way(const vek_exporter_schema_manager_t& schemas, vek::fuzz::Records& records)
      : schemas_(schemas), records_(records), exporter_(records.api()) {
    exporter_.setPluginWithDefaultHostAndPort("forward");
    exporter_.createFieldSet(nullptr, nullptr);
    require(exporter_.connectToFlb(), "the exporter connects");
  }

  // By a copy of exactly the image's size, so that a sanitizer sees a byte too many.
  bool makes(const Texts& expected, const Image& image, bool within_budget) {
    process(image, within_budget);
    return records_.equal(expected);
  }
  void process(const Image& image, bool within_budget) {
    const std::unique_ptr<uint8_t[]> copy(new uint8_t[image.size()]);
    std::memcpy(copy.get(), image.data(), image.size());
    records_.clear();
    if (within_budget) {
      const vek::fuzz::Budget budget(image.size());
      exporter_.exportDataPage(reinterpret_cast<vek_data_page_t*>(copy.get()), &schemas_);
    } else {
      exporter_.exportDataPage(reinterpret_cast<vek_data_page_t*>(copy.get()), &schemas_);
    }
    require(std::memcmp(copy.get(), image.data(), image.size()) == 0, "the page is only read");
    records_.require_sound();
  }

 private:
  vek_exporter_schema_manager_t schemas_;
  vek::fuzz::Records& records_;
  vek::FluentBitExporter exporter_;
};

void tell_lie(Supply& lies, Image& image) {
  vek_data_page_t& header = *vek::PageWriter::header_of(image);
  const uint8_t kind = lies.byte();
  if (kind < 24) {
    header.filled = kind < 12 ? lies.word() : lies.number();
  } else if (kind < 48) {
    header.block_size = kind < 36 ? lies.word() : lies.number();
  } else if (kind < 64) {
    // Whoever hands a page over has as many bytes as `total` says.
    const size_t total = lies.word() % kLargestPage;
    header.total = total;
    image.resize(std::max<size_t>(total, VEK_PAGE_HEADER_SIZE));
  } else if (kind < 72) {
    image[offsetof(vek_data_page_t, data_source) + lies.below(80)] = lies.byte();
  } else if (image.size() > VEK_PAGE_HEADER_SIZE) {
    const size_t at = lies.word() % (image.size() - VEK_PAGE_HEADER_SIZE);
    image[VEK_PAGE_HEADER_SIZE + at] = lies.byte();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  auto [program, lies] = vek::fuzz::split(data, size);
  const std::shared_ptr<vek_type_system_t> types(vek::fuzz::type_system(program, {4, 4, 6}));
  const Page page = Builder(program, *types).build();

  vek_exporter_schema_manager_t lookup{};
  std::unique_ptr<vek::SchemaManager> manager;
  if (size % 4 == 0) {
    vek_exporter_schema_manager_from_type_system(types.get(), &lookup);
  } else {
    manager = std::make_unique<vek::SchemaManager>();
    manager->appendTypeSystem(types);
    vek_exporter_schema_manager_from_manager(manager.get(), &lookup);
  }
  static vek::fuzz::Records records;
  Way way(lookup, records);
  require(way.makes(page.records, page.image, false), "a page leaves as packed plainly");

  Image harmed = page.image;
  for (int i = 0; i < 64 && !lies.empty(); ++i) tell_lie(lies, harmed);
  way.process(harmed, true);
  require(way.makes(page.records, page.image, true), "and so does the one behind lies");
  return 0;
}
