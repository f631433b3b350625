#include "fuzz/records.h"

#include <dlfcn.h>

#include "fuzz/support.h"
#include "raw_msgpack_api/record_walk.h"

namespace vek::fuzz {
namespace {

// "init" gets no context of its caller's, so that it is left here.
Records* g_records = nullptr;

void* begin(const char*, const char*, const char*, const fluentbit_export_parameters_t*,
            const char*, const char*) {
  return g_records;
}

int take(void* context, const void* data, size_t size) {
  static_cast<Records*>(context)->add(data, size);
  return 0;
}

int end(void*) { return 0; }

}  // namespace

Records::Records() {
  bytes_.reserve(kMost);
  ends_.reserve(kMost / 16);
}

RawMsgpackApi Records::api() {
  g_records = this;
  RawMsgpackApi api;
  api.handle = dlopen(nullptr, RTLD_LAZY);  // this program: exporters close what they were given
  api.init = begin;
  api.add_data = take;
  api.finalize = end;
  return api;
}

void Records::add(const void* data, size_t size) {
  if (bytes_.size() + size > kMost || ends_.size() == ends_.capacity()) return;
  bytes_.append(static_cast<const char*>(data), size);
  ends_.push_back(bytes_.size());
}

void Records::clear() {
  bytes_.clear();
  ends_.clear();
}

bool Records::equal(const std::vector<std::string>& expected) const {
  if (ends_.size() != expected.size()) return false;
  size_t begins = 0;
  for (size_t i = 0; i < ends_.size(); ++i) {
    if (std::string_view(bytes_).substr(begins, ends_[i] - begins) != expected[i]) return false;
    begins = ends_[i];
  }
  return true;
}

void Records::require_sound() const {
  size_t begins = 0;
  for (const size_t ends : ends_) {
    require_sound_record(std::string_view(bytes_).substr(begins, ends - begins));
    begins = ends;
  }
}

void require_sound_record(std::string_view record) {
  using vek::engine::RecordWalk;
  RecordWalk walk({reinterpret_cast<const uint8_t*>(record.data()), record.size()});
  require(walk.next() == RecordWalk::Step::kRecord, "a record is sound");
  require(walk.next() == RecordWalk::Step::kEnd, "nothing is behind a record");
}

}  // namespace vek::fuzz
