// OutputRelay: stands between standard output's pipe and whatever in this process writes to it.
//
// A destination that prints records runs on threads of its own that, rightly, refuse to die of a
// closed pipe: to it, the pipe is a broken destination to report and try again. To the tool's user
// it is `| head` that has seen enough. While a relay lives, standard output is a private pipe that
// never breaks; what comes through it goes on to the real one, and when that is closed the process
// ends quietly. Terminals and files are left alone.
#ifndef VEK_TOOLS_REPLAY_OUTPUT_RELAY_H
#define VEK_TOOLS_REPLAY_OUTPUT_RELAY_H

#include <thread>

namespace vek::tools {

class OutputRelay {
 public:
  OutputRelay();
  // Passes on what was written so far and gives standard output back.
  ~OutputRelay();
  OutputRelay(const OutputRelay&) = delete;
  OutputRelay& operator=(const OutputRelay&) = delete;

 private:
  void pass_on() const;

  int real_output_ = -1;  // -1: no relay is needed
  int read_end_ = -1;
  int stop_read_ = -1;
  int stop_write_ = -1;
  std::thread thread_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_OUTPUT_RELAY_H
