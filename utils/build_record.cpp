// In the plug-in and in the engine alike, and found without loading either: those who look at an
// installation may hold a library that cannot be loaded.
#include "utils/build_record.h"

namespace {

[[gnu::used, gnu::retain]] const char kBuildRecord[] = VEK_BUILD_MARK VEK_BUILD_OPTIONS;

}  // namespace
