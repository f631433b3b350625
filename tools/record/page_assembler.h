// PageAssembler: pages out of bytes that arrive in pieces.
#ifndef VEK_TOOLS_RECORD_PAGE_ASSEMBLER_H
#define VEK_TOOLS_RECORD_PAGE_ASSEMBLER_H

#include <functional>
#include <string>
#include <vector>

#include "data/byte_reader.h"

namespace vek::tools {

class PageAssembler {
 public:
  // One whole image, good during the call.
  using OnPage = std::function<void(Bytes)>;

  // Where to put bytes that are read next; then tell how many came.
  uint8_t* room(size_t size);
  // Hands out every page that is whole now. False, with problem() set, where a header's length
  // cannot be: nothing behind it can be understood.
  bool took(size_t size, const OnPage& on_page);
  // Bytes of a page that is not whole.
  size_t pending() const { return size_; }
  const std::string& problem() const { return problem_; }

 private:
  std::vector<uint8_t> buffer_;
  size_t size_ = 0;
  std::string problem_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_RECORD_PAGE_ASSEMBLER_H
