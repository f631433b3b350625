// An engine that sends nothing: what the plug-in's exporters hand over goes to a sink instead.
#ifndef VEK_TOOLS_CONVERSION_CAPTURE_ENGINE_H
#define VEK_TOOLS_CONVERSION_CAPTURE_ENGINE_H

#include "data/byte_reader.h"
#include "exporter/raw_msgpack_api.h"

namespace vek::tools {

class RecordSink {
 public:
  virtual ~RecordSink() = default;
  // One buffer of add_data, good during the call.
  virtual void on_records(Bytes buffer) = 0;
};

// For the constructor of one exporter, whose next connection leads to the sink. The sink outlives
// the exporter. One thread.
RawMsgpackApi capture_engine(RecordSink& sink);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONVERSION_CAPTURE_ENGINE_H
