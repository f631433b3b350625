// The text of a msgpack object: JSON, or the notation of log processors' standard output, which
// differs in one thing: `=>` stands between key and value.
//
// What JSON lacks is written so that nothing is lost: bin as base64 text; an extension as
// {"type": number, "data": base64 text}, EventTime (type 0, 8 bytes) as seconds with nine digits
// behind the point; keys that are not text as the text of their value, keys that are containers as
// the hexadecimal digits of their msgpack. Members stay in order, duplicates stay.
#ifndef VEK_RAW_MSGPACK_API_RECORD_JSON_H
#define VEK_RAW_MSGPACK_API_RECORD_JSON_H

#include <cstdint>
#include <string>

#include "raw_msgpack_api/event_time.h"
#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

enum class TextStyle : uint8_t { kJson, kArrows };

// Appends the object at the start of `object`, which a RecordWalk found sound.
void append_text(Bytes object, TextStyle style, std::string& out);
// "seconds.nanoseconds", nine digits behind the point.
void append_time(EventTime time, std::string& out);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_JSON_H
