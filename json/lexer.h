// The scalar tokens of JSON text, read from a cursor in a NUL-terminated text.
//
// The NUL ends every token, so nothing is read behind it. Each function moves the cursor behind
// what it read; after a failure the cursor's place means nothing.
#ifndef VEK_JSON_LEXER_H
#define VEK_JSON_LEXER_H

#include <optional>
#include <string>
#include <string_view>

namespace vek::json {

void skip_white_space(const char*& cursor);

// True, and the cursor moves, when `expected` stands at the cursor.
bool take(const char*& cursor, std::string_view expected);

// The text between quotes, escapes resolved; the cursor stands at the opening quote.
std::optional<std::string> read_string(const char*& cursor);

// The cursor stands at a digit or a minus sign.
std::optional<double> read_number(const char*& cursor);

}  // namespace vek::json

#endif  // VEK_JSON_LEXER_H
