// What the tool says to people: lines on standard error, and one status line at its bottom.
//
// Standard output belongs to data. A message first takes the status line away, so that the two
// never mix; the status line exists only where standard error is a terminal. Colours follow the
// NO_COLOR convention (any non-empty value turns them off) and are left out for TERM=dumb, unless
// --color says otherwise.
// One thread at a time.
#ifndef VEK_TOOLS_BASE_CONSOLE_H
#define VEK_TOOLS_BASE_CONSOLE_H

#include <string>
#include <string_view>

namespace vek::tools {

// "vektool: error: ..." and "vektool: warning: ...".
void say_error(const char* format, ...) __attribute__((format(printf, 1, 2)));
void say_warning(const char* format, ...) __attribute__((format(printf, 1, 2)));
// A plain line.
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));

// What --color says; it goes before NO_COLOR.
enum class Colours { kAuto, kAlways, kNever };
void set_colours(Colours colours);
// Whether text for this file descriptor is to be coloured.
bool colours_wanted(int fd);

bool status_line_possible();
// Replaces the status line; cut to the terminal's width. Nothing where there is no terminal.
void show_status_line(std::string_view text);
void clear_status_line();
// Async-signal-safe form for signal handlers.
void clear_status_line_from_signal();

// Writes text to standard output and flushes it; false, quietly, when it cannot be written.
bool write_output(std::string_view text);

// "1.4 MiB", "312 bytes".
std::string readable_size(double bytes);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_CONSOLE_H
