// The four meta fields that every "flb_std" record of an event may carry.
#ifndef VEK_FIELD_SET_META_FIELDS_H
#define VEK_FIELD_SET_META_FIELDS_H

#include <cstdint>
#include <string_view>

namespace vek {

enum MetaField : int32_t {
  kMetaTimestamp = 0,
  kMetaType = 1,
  kMetaTypeName = 2,
  kMetaSource = 3,
  kMetaFieldCount = 4
};

inline constexpr std::string_view kEventsType = "events";  // the value of "type"

void logEmptyMetaAlias();

}  // namespace vek

#endif  // VEK_FIELD_SET_META_FIELDS_H
