// Settings that have a prefixed environment variable and an older one without the prefix.
#ifndef VEK_UTILS_ENVIRONMENT_H
#define VEK_UTILS_ENVIRONMENT_H

namespace vek {

// The value of `prefixed`, else that of `plain`, else null; says in the log which one was used, and
// warns when both are set and differ. Borrowed from the environment.
const char* lookup_environment(const char* prefixed, const char* plain) noexcept;

}  // namespace vek

#endif  // VEK_UTILS_ENVIRONMENT_H
