// JSON text of single values: strings that any parser and any terminal takes, numbers that read
// back as the same number.
#ifndef VEK_UTILS_JSON_SCALARS_H
#define VEK_UTILS_JSON_SCALARS_H

#include <cstdint>
#include <string>
#include <string_view>

namespace vek {

// Quoted. Control characters (DEL and C1 too, which terminals obey) are escaped; each byte that is
// not part of valid UTF-8 becomes \ufffd; other characters stay as they are.
void append_json_string(std::string_view text, std::string& out);
void append_json_unsigned(uint64_t number, std::string& out);
void append_json_signed(int64_t number, std::string& out);
// The shortest digits that read back as the same value, always recognisable as a fraction or an
// exponent; null for what JSON lacks (NaN, infinities).
void append_json_double(double number, std::string& out);
void append_json_float(float number, std::string& out);

}  // namespace vek

#endif  // VEK_UTILS_JSON_SCALARS_H
