// Environment variables: settings that have an older name too, and paths.
#ifndef VEK_UTILS_ENVIRONMENT_H
#define VEK_UTILS_ENVIRONMENT_H

namespace vek {

// The value of `prefixed`, else that of `plain`, else null; says in the log which one was used, and
// warns when both are set and differ. Borrowed from the environment.
const char* lookup_environment(const char* prefixed, const char* plain) noexcept;

// A path that says where files are looked for or made; null when unset, and in a process with
// raised privileges (setuid, file capabilities), where whoever starts it must not choose libraries
// for it. Borrowed from the environment.
const char* path_from_environment(const char* name) noexcept;

}  // namespace vek

#endif  // VEK_UTILS_ENVIRONMENT_H
