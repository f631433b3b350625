// A Fluent Bit pipeline in this process.
#ifndef VEK_RAW_MSGPACK_API_LIBRARY_PIPELINE_H
#define VEK_RAW_MSGPACK_API_LIBRARY_PIPELINE_H

#include "raw_msgpack_api/fluent_bit_config.h"
#include "raw_msgpack_api/pipeline.h"

namespace vek::engine {

// Loads, checks, starts and probes. `config` is borrowed during the call.
PipelineStart start_library_pipeline(const FluentBitConfig& config);

// Descriptors that this process may still open.
size_t free_descriptors();

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_LIBRARY_PIPELINE_H
