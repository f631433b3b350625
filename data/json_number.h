// Integers out of JSON numbers.
//
// JSON numbers are doubles, and a document may hold any: each conversion here is defined for all of
// them. The fraction is cut off; what lies outside the integer's range becomes its nearest end.
#ifndef VEK_DATA_JSON_NUMBER_H
#define VEK_DATA_JSON_NUMBER_H

#include <concepts>
#include <limits>

namespace vek {

template <std::unsigned_integral T>
T json_number_to(double number) noexcept {
  // The double next to the maximum may lie above it (2^64 for 64 bits), hence "not below".
  constexpr double kEnd = static_cast<double>(std::numeric_limits<T>::max());
  if (!(number > 0)) return 0;  // NaN too
  if (number >= kEnd) return std::numeric_limits<T>::max();
  return static_cast<T>(number);
}

}  // namespace vek

#endif  // VEK_DATA_JSON_NUMBER_H
