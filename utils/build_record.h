// Where a library's file says what it was built with.
#ifndef VEK_UTILS_BUILD_RECORD_H
#define VEK_UTILS_BUILD_RECORD_H

// Stands before it, as what(1) looks for; a NUL ends it.
#define VEK_BUILD_MARK "@(#)vekora build: "

#endif  // VEK_UTILS_BUILD_RECORD_H
