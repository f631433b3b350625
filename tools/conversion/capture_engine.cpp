#include "tools/conversion/capture_engine.h"

#include <dlfcn.h>

namespace vek::tools {
namespace {

// "init" gets no context of its caller's, so that the sink is left here for it.
RecordSink* next_sink = nullptr;

void* start(const char*, const char*, const char*, const fluentbit_export_parameters_t*,
            const char*, const char*) {
  return next_sink;
}

int take(void* context, const void* data, size_t size) {
  static_cast<RecordSink*>(context)->on_records({static_cast<const uint8_t*>(data), size});
  return 0;
}

int finish(void*) { return 0; }

}  // namespace

RawMsgpackApi capture_engine(RecordSink& sink) {
  next_sink = &sink;
  RawMsgpackApi api;
  api.handle = dlopen(nullptr, RTLD_LAZY);  // this program: exporters close what they were given
  api.init = start;
  api.add_data = take;
  api.finalize = finish;
  return api;
}

}  // namespace vek::tools
