// What the C calls share. Nothing is thrown across them: whatever fails for want of memory answers
// as the call answers any failure.
#ifndef VEK_JSON_CALLS_H
#define VEK_JSON_CALLS_H

#include <exception>
#include <utility>

#include "json/value.h"

namespace vek::json {

// The result of `call`, or `failure` when it throws.
template <typename Result, typename Call>
Result or_failure(Result failure, Call&& call) noexcept {
  try {
    return std::forward<Call>(call)();
  } catch (const std::exception&) {
    return failure;
  }
}

// A call that hands a value out.
template <typename Make>
JSON_Value* make_or_null(Make&& make) noexcept {
  return or_failure(static_cast<JSON_Value*>(nullptr), [&] { return make().release(); });
}

// A container takes a value over only when the call succeeds; else it stays the caller's. Values
// that hang in a container already are refused.
template <typename Adopt>
JSON_Status adopt(JSON_Value* value, Adopt&& put) noexcept {
  if (!value || value->parent) return JSONFailure;
  ValuePtr owned(value);
  const JSON_Status status = or_failure<JSON_Status>(JSONFailure, [&] {
    put(owned);
    return JSONSuccess;
  });
  static_cast<void>(owned.release());
  return status;
}

// `give` hands a new value to a container; released when the container does not take it.
template <typename Give>
JSON_Status give_new(JSON_Value* value, Give&& give) noexcept {
  const JSON_Status status = give(value);
  if (status != JSONSuccess) json_value_free(value);
  return status;
}

}  // namespace vek::json

#endif  // VEK_JSON_CALLS_H
