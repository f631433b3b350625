// How much of what comes from elsewhere is kept: generous bounds, far beyond what real providers
// and operators need, so that nobody's mistake or malice grows a collector without end.
//
// What does not fit is given up with a line that says so, the oldest first. SECURITY.md lists these
// limits with those of the engine, which has some of its own.
#ifndef VEK_UTILS_LIMITS_H
#define VEK_UTILS_LIMITS_H

#include <cstddef>

namespace vek::limits {

// Bytes of one configuration or schema file; a larger one counts as one that cannot be opened.
inline constexpr size_t kFileBytes = size_t{64} << 20;
// Extended opaque events whose last chunk has not come, of one extractor, and their bytes.
inline constexpr size_t kUnfinishedEvents = 65'536;
inline constexpr size_t kUnfinishedBytes = size_t{1} << 30;
// Dictionary streams (pairs of source and tag) of one destination.
inline constexpr size_t kStreams = 65'536;
// Key names of one dictionary stream.
inline constexpr size_t kKeysOfStream = size_t{1} << 20;
// Events of one dictionary stream's plan, and of its places. Nothing is lost behind them, but
// written without a plan.
inline constexpr size_t kEventsOfPlan = 16'384;
// Counter sets of one destination, one for each counters schema.
inline constexpr size_t kCounterSets = 4096;

}  // namespace vek::limits

#endif  // VEK_UTILS_LIMITS_H
