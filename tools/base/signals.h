// How the tool ends when it is told to.
//
// A closed pipe behind standard output or standard error ends the process quietly, by SIGPIPE, as
// shells expect of a filter; a broken connection of a destination does not: its writer gets EPIPE.
// The first SIGINT or SIGTERM asks a run to stop at the next page, a second one ends the process.
#ifndef VEK_TOOLS_BASE_SIGNALS_H
#define VEK_TOOLS_BASE_SIGNALS_H

namespace vek::tools {

// Whatever the parent process had set, also "ignore".
void install_signal_handlers();
bool stop_requested();
// Ends the process as a closed pipe does. Async-signal-safe.
[[noreturn]] void end_of_closed_pipe();

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_SIGNALS_H
