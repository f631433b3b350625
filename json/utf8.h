// UTF-8, as the JSON calls need it: checked where a program sets text, written where a document
// spells a character as an escape.
#ifndef VEK_JSON_UTF8_H
#define VEK_JSON_UTF8_H

#include <cstdint>
#include <string>
#include <string_view>

namespace vek::json {

// Refuses overlong forms, surrogates and what lies above U+10FFFF.
bool is_valid_utf8(std::string_view text);

// `code_point` is at most U+10FFFF.
void append_utf8(std::string& text, uint32_t code_point);

}  // namespace vek::json

#endif  // VEK_JSON_UTF8_H
