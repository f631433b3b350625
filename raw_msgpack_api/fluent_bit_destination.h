// Any output of Fluent Bit: a real one takes the records, over a unix socket, from the same sender
// as the destination "forward" has, with its promises.
#ifndef VEK_RAW_MSGPACK_API_FLUENT_BIT_DESTINATION_H
#define VEK_RAW_MSGPACK_API_FLUENT_BIT_DESTINATION_H

#include <memory>
#include <span>
#include <string_view>

#include "raw_msgpack_api/destination.h"
#include "raw_msgpack_api/engine_choice.h"

namespace vek::engine {

// Started and proven, by the first of `engines` that can be had. Null, after an error line that
// says what was looked for, why it failed and what mends it.
std::unique_ptr<Destination> make_fluent_bit_destination(std::string_view output,
                                                         std::span<const Engine> engines,
                                                         const Settings& settings,
                                                         const Parameters& parameters);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FLUENT_BIT_DESTINATION_H
