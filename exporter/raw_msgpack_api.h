// Finding and opening libraw_msgpack_api.so, the engine behind every exporter.
#ifndef VEK_EXPORTER_RAW_MSGPACK_API_H
#define VEK_EXPORTER_RAW_MSGPACK_API_H

#include <cstddef>

#include "utils/export_parameters.h"

namespace vek {

// The engine's entry points. `port` is decimal text; `kind` is "cntr" or "evnt"; a null context
// means failure.
using RawMsgpackInit = void* (*)(const char* plugin, const char* host, const char* port,
                                 const fluentbit_export_parameters_t* params, const char* kind,
                                 const char* second_tag);
using RawMsgpackAddData = int (*)(void* context, const void* data, size_t size);
using RawMsgpackFinalize = int (*)(void* context);

struct RawMsgpackApi {
  void* handle = nullptr;  // from dlopen, for the caller to close; null when nothing was found
  // Null where the library lacks the entry point.
  RawMsgpackInit init = nullptr;
  RawMsgpackAddData add_data = nullptr;
  RawMsgpackFinalize finalize = nullptr;
};

// Looks into the file that FLUENT_BIT_EXPORT_API_SO names, then where the system's loader looks,
// then into the installation's lib directory (below VEK_ROOT), and logs each step of the way.
RawMsgpackApi loadRawMsgpackApi();

}  // namespace vek

#endif  // VEK_EXPORTER_RAW_MSGPACK_API_H
