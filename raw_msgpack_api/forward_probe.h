// Asks a Forward receiver behind a unix socket whether it takes records: an empty frame is
// acknowledged like any other and stores nothing.
#ifndef VEK_RAW_MSGPACK_API_FORWARD_PROBE_H
#define VEK_RAW_MSGPACK_API_FORWARD_PROBE_H

#include <functional>
#include <string>

#include "raw_msgpack_api/stop_signal.h"

namespace vek::engine {

// Empty once the receiver has acknowledged, and otherwise what went wrong last: tried again and
// again until `deadline`, or until `given_up` (may be empty) answers true. Two frames on one
// connection: there were receivers that read no second one.
std::string probe_receiver(const std::string& unix_path, const std::string& tag,
                           Clock::time_point deadline, const std::function<bool()>& given_up);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FORWARD_PROBE_H
