// What leaves an exporter, kept without taking memory while an input is at work.
#ifndef VEK_FUZZ_RECORDS_H
#define VEK_FUZZ_RECORDS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "exporter/raw_msgpack_api.h"
#include "exporter/record_buffer.h"

namespace vek::fuzz {

class Records {
 public:
  Records();
  // Entry points that hand records over to this.
  RawMsgpackApi api();
  void add(const void* data, size_t size);
  void clear();

  bool equal(const std::vector<std::string>& expected) const;
  // Each is one whole record, or one that announces a pair more than it has (pages without a
  // source); whatever the page said.
  void require_sound() const;

 private:
  static constexpr size_t kMost = 4 << 20;  // bytes; later ones are left out

  std::string bytes_;
  std::vector<size_t> ends_;
};

void require_sound_record(std::string_view record);

inline std::string bytes_of(vek::RecordBuffer& record) {
  return {record.get()->data ? record.get()->data : "", record.get()->size};
}

}  // namespace vek::fuzz

#endif  // VEK_FUZZ_RECORDS_H
