// The same pages through a reader that builds trees and through one that packs as it goes: what
// becomes of them has to be the same, byte for byte and line for line.
#ifndef VEK_TESTS_DICT_READER_BOTH_READERS_H
#define VEK_TESTS_DICT_READER_BOTH_READERS_H

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "dict_reader/dict_msgpack.h"
#include "dict_reader/dict_reader.h"
#include "tests/dict_reader/stream_pages.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"

namespace vek::test {

// One page, and what finds the types of its events.
struct ReadPage {
  Image image;
  vek_exporter_schema_manager_t lookup;
};

struct ReadOptions {
  bool send_root_only = false;
  uint32_t log_level = 6;
  size_t refuse_each = SIZE_MAX;  // each such record is refused by its receiver
};

// What can be seen of a reader from outside, in order.
struct Outcome {
  std::vector<std::string> records;
  std::vector<bool> pages;
  std::vector<LogLine> lines;
};

class ReaderUnderTest {
 public:
  ReaderUnderTest(bool packs, const ReadOptions& options) : options_(options) {
    data_dict_reader_user_t user = {receive, reinterpret_cast<dict_reader_user_ctx*>(this),
                                    options.send_root_only, true};
    std::array<unsigned char, VEK_APP_ID_SIZE> any_app{};
    reader_ = std::make_unique<DataDictionaryReader>(&user, any_app.data(),
                                                     DataDictionaryReader::kTreeDecoder);
    if (packs) reader_->PackRecords(receiveRecord);
  }

  void read(const std::vector<ReadPage>& pages) {
    const LogCapture log(options_.log_level);
    for (const ReadPage& page : pages) {
      const GuardedBytes guarded(page.image);
      outcome_.pages.push_back(reader_->ReadPage(guarded.as<vek_data_page_t>(), &page.lookup));
    }
    for (const LogLine& line : log.lines()) outcome_.lines.push_back(line);
  }
  void setLogLevel(uint32_t level) { options_.log_level = level; }
  const Outcome& outcome() const { return outcome_; }

 private:
  static bool receive(dict_reader_user_ctx* context, const data_dict_message_t* message) {
    msgpack_sbuffer buffer;
    EXPECT_EQ(data_dict_pack_and_delete(message, &buffer), 1u);
    const bool taken = receiveRecord(context, buffer.data, buffer.size);
    msgpack_sbuffer_destroy(&buffer);
    return taken;
  }
  static bool receiveRecord(dict_reader_user_ctx* context, const void* record, size_t size) {
    auto& self = *reinterpret_cast<ReaderUnderTest*>(context);
    self.outcome_.records.emplace_back(static_cast<const char*>(record), size);
    return self.outcome_.records.size() % self.options_.refuse_each != 0;
  }

  ReadOptions options_;
  Outcome outcome_;
  std::unique_ptr<DataDictionaryReader> reader_;
};

// What both make of the pages.
inline Outcome readByBoth(const std::vector<ReadPage>& pages, const ReadOptions& options) {
  ReaderUnderTest tree(false, options);
  ReaderUnderTest packing(true, options);
  tree.read(pages);
  packing.read(pages);
  EXPECT_EQ(tree.outcome().pages, packing.outcome().pages);
  EXPECT_EQ(tree.outcome().lines, packing.outcome().lines);
  EXPECT_EQ(tree.outcome().records, packing.outcome().records);
  return packing.outcome();
}

inline std::vector<ReadPage> pagesOf(StreamPages& stream) {
  std::vector<ReadPage> pages;
  for (Image& image : stream.writer.take_pages()) {
    pages.push_back({std::move(image), lookup_of(stream.writer.schema())});
  }
  return pages;
}

}  // namespace vek::test

#endif  // VEK_TESTS_DICT_READER_BOTH_READERS_H
