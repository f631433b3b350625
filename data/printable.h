// Names for messages: records made by hand may lack one, and "%s" must not see a null pointer.
#ifndef VEK_DATA_PRINTABLE_H
#define VEK_DATA_PRINTABLE_H

namespace vek {

inline const char* printable(const char* text) noexcept { return text ? text : "(null)"; }

}  // namespace vek

#endif  // VEK_DATA_PRINTABLE_H
