// ChildProgram: a program that this process runs, and that ends with it.
//
// Made with clone(2) as posix_spawn does it (no copy of the host's memory, none of its fork
// handlers), which cannot do two things that a child needs here: ask for a signal when its parent
// dies, and hand out a descriptor for the child, which stays true where process ids are reused and
// where the host reaps every child it meets. The kernel sends that signal when the *thread* that
// started the child ends: that thread has to stay as long as the child.
#ifndef VEK_RAW_MSGPACK_API_CHILD_PROGRAM_H
#define VEK_RAW_MSGPACK_API_CHILD_PROGRAM_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "raw_msgpack_api/socket.h"
#include "raw_msgpack_api/stop_signal.h"

namespace vek::engine {

struct ProgramStart {
  std::string path;
  std::vector<std::string> arguments;  // without the name itself; never a secret: anybody sees them
  int output = -1;                     // its standard output; -1: the host's
  int error = -1;                      // its standard error
  int kept = -1;                       // one more that it inherits, unless -1
};

class ChildProgram {
 public:
  // Its signals are as a fresh program's, its standard input is empty, all other descriptors are
  // closed. None, with errno, when it cannot be run.
  static std::optional<ChildProgram> start(const ProgramStart& start);

  ChildProgram(ChildProgram&&) = default;
  ChildProgram& operator=(ChildProgram&&) = default;

  pid_t pid() const { return pid_; }
  // Readable once it has ended.
  int fd() const { return pidfd_.fd(); }
  void signal(int number) const noexcept;
  // True once it has ended, and waited for; then how() says how it did.
  bool wait_until(Clock::time_point deadline);
  // "it ended with status 3", "it was ended by signal 9".
  const std::string& how() const { return how_; }
  bool ended_well() const { return ended_well_; }

 private:
  ChildProgram(pid_t pid, Socket pidfd) : pid_(pid), pidfd_(std::move(pidfd)) {}
  bool has_ended() const;
  void reap();

  pid_t pid_;
  Socket pidfd_;  // a descriptor, closed with it
  std::string how_;
  bool ended_well_ = false;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_CHILD_PROGRAM_H
