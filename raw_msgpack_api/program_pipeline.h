// A Fluent Bit pipeline in a program of its own, which is started again when it dies.
#ifndef VEK_RAW_MSGPACK_API_PROGRAM_PIPELINE_H
#define VEK_RAW_MSGPACK_API_PROGRAM_PIPELINE_H

#include "raw_msgpack_api/fluent_bit_config.h"
#include "raw_msgpack_api/pipeline.h"
#include "raw_msgpack_api/private_folder.h"

namespace vek::engine {

// Finds, checks, starts and probes. `folder` outlives the pipeline; `config` is copied.
PipelineStart start_program_pipeline(const FluentBitConfig& config, const PrivateFolder& folder);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_PROGRAM_PIPELINE_H
