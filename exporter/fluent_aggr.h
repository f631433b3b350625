// How an aggregator addresses this plug-in: opaque events whose payload is finished msgpack records
// for the engine. They travel as extended events, whose meta data names the receiver's tag.
#ifndef VEK_EXPORTER_FLUENT_AGGR_H
#define VEK_EXPORTER_FLUENT_AGGR_H

#include <array>
#include <cstdint>

#include "data/opaque_events_extractor.h"

namespace vek {

inline constexpr char kFluentAggrTag[] = "fluent_aggr";       // tag of the pages
inline constexpr char kFluentAggrTagOption[] = "fluent_tag";  // key in the meta data
// Events of other applications on such pages are passed over.
inline constexpr std::array<uint8_t, VEK_APP_ID_SIZE> kFluentAggrAppId = {
    0x76, 0xb7, 0xd6, 0x96, 0x9d, 0x5a, 0x4b, 0xc5, 0x80, 0x2f, 0x26, 0x00, 0xd7, 0x3a, 0x97, 0x1b};

}  // namespace vek

#endif  // VEK_EXPORTER_FLUENT_AGGR_H
