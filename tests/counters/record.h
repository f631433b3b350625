// The record of a block, owned.
#ifndef VEK_TESTS_COUNTERS_RECORD_H
#define VEK_TESTS_COUNTERS_RECORD_H

#include <msgpack.h>

#include <string>

#include "counters/counters_msgpack.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {

class Record {
 public:
  using Pack = void (*)(msgpack_sbuffer*, const void*, const vek_counter_set_t*, const char*,
                        const char*);

  Record(const void* block, const vek_counter_set_t* set, const char* source, const char* layout,
         Pack pack = vek_counter_block_to_msgpack_filtered) {
    pack(&buffer_, block, set, source, layout);
  }
  ~Record() { msgpack_sbuffer_destroy(&buffer_); }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  const msgpack_sbuffer& buffer() const { return buffer_; }
  std::string text() const { return msgpack_to_text(buffer_.data, buffer_.size); }
  std::string hex() const { return to_hex(buffer_.data, buffer_.size); }

 private:
  msgpack_sbuffer buffer_ = {};
};

}  // namespace vek::test

#endif  // VEK_TESTS_COUNTERS_RECORD_H
