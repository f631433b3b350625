// How often, how fast and with which times pages are replayed: the options for it.
#ifndef VEK_TOOLS_REPLAY_REPLAY_OPTIONS_H
#define VEK_TOOLS_REPLAY_REPLAY_OPTIONS_H

#include "tools/replay/replay.h"

namespace vek::tools {

// The options refer to `options`, which outlives the parser.
void add_replay_rounds(Verb& verb, ReplayOptions& options);  // --repeat, --loop
void add_replay_pace(Verb& verb, ReplayOptions& options);    // --pace, --speed, --rate
void add_replay_times(Verb& verb, ReplayOptions& options);   // --from, --to, --shift-time

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_REPLAY_OPTIONS_H
