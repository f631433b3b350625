// PageIntake: where a recorder's pages come from: whoever connects to a unix socket, files that
// appear in a directory, or standard input.
#ifndef VEK_TOOLS_RECORD_PAGE_INTAKE_H
#define VEK_TOOLS_RECORD_PAGE_INTAKE_H

#include <poll.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "data/byte_reader.h"

namespace vek::tools {

class PageIntake {
 public:
  // One whole page. False when it could not be kept.
  using OnPage = std::function<bool(Bytes)>;

  struct Counts {
    uint64_t inputs = 0;      // connections or files
    uint64_t bad_inputs = 0;  // of them, those with bytes that are no pages
    uint64_t lost_bytes = 0;  // of them: what was no whole page
  };

  virtual ~PageIntake() = default;

  // False with problem() set.
  virtual bool open() = 0;
  // Adds what is to be waited for.
  virtual void add_waits(std::vector<pollfd>& waits) const = 0;
  // Takes what is there without waiting.
  virtual void take(const OnPage& on_page) = 0;
  // No more pages can come.
  virtual bool is_over() const { return false; }
  // Ends it; what has not become a page is counted.
  virtual void close() = 0;

  const Counts& counts() const { return counts_; }
  const std::string& problem() const { return problem_; }

 protected:
  Counts counts_;
  std::string problem_;
};

// Several clients at once, each with pages back to back. The socket belongs to its owner alone.
std::unique_ptr<PageIntake> make_socket_intake(const std::string& path);
// Regular files that are written or moved into the directory, but those whose names begin with a
// dot or end in ".tmp" or ".part". With `remove`, those that are there already are taken, too, and
// each is removed once its pages are kept; otherwise they stay as they are.
std::unique_ptr<PageIntake> make_directory_intake(const std::string& dir, bool remove);
std::unique_ptr<PageIntake> make_input_intake();

}  // namespace vek::tools

#endif  // VEK_TOOLS_RECORD_PAGE_INTAKE_H
