// Where the records of exporters go in scenarios: into memory that is had before anything fails.
#ifndef VEK_TESTS_HARDENING_RECORD_SINK_H
#define VEK_TESTS_HARDENING_RECORD_SINK_H

#include <string>

#include "exporter/exporter_api.h"
#include "exporter/raw_msgpack_api.h"
#include "tests/support/env_guard.h"
#include "utils/dictionary.h"
#include "utils/owned.h"

namespace vek::test {

using Dict = Owned<vek_dict_t, vek_dict_delete>;

inline void destroy_handle(void* handle) { vek_exporter_get_api()->destroy(handle); }

class RecordSink {
 public:
  // For an exporter that is made in the same function.
  RawMsgpackApi api();
  // Of all records, readable.
  const std::string& text() const { return text_; }

 private:
  static int take(void* context, const void* data, size_t size);
  std::string text_;
};

// The scripted engine's: what the plug-in finds by the environment while this lives.
class ScriptedSink {
 public:
  ScriptedSink();
  ~ScriptedSink();
  ScriptedSink(const ScriptedSink&) = delete;
  ScriptedSink& operator=(const ScriptedSink&) = delete;
  std::string text() const;
};

}  // namespace vek::test

#endif  // VEK_TESTS_HARDENING_RECORD_SINK_H
