// Standard output, shared by every context that writes to it.
#ifndef VEK_RAW_MSGPACK_API_STDOUT_SINK_H
#define VEK_RAW_MSGPACK_API_STDOUT_SINK_H

#include <memory>
#include <string_view>

#include "raw_msgpack_api/byte_sink.h"

namespace vek::engine {

// Null, with an error line for output `plugin`, when the process has no standard output.
//
// The sink keeps a descriptor of its own: a host that later closes descriptor 1 and opens something
// else must not find records there. One batch is written at a time, so lines stay whole.
std::unique_ptr<ByteSink> make_stdout_sink(std::string_view plugin);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_STDOUT_SINK_H
