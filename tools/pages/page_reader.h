// PageReader: pages out of a file, one after the other.
#ifndef VEK_TOOLS_PAGES_PAGE_READER_H
#define VEK_TOOLS_PAGES_PAGE_READER_H

#include <cstdint>
#include <string>

#include "data/byte_reader.h"
#include "data/data_page.h"

namespace vek::tools {

class PageReader {
 public:
  enum class Result {
    kPage,         // image() is the next page
    kEnd,          // the file ended at the end of a page
    kDamaged,      // problem() says where and what
    kReadFailed,   // problem() has the system's text
    kInterrupted,  // a signal asked to stop
  };

  virtual ~PageReader() = default;

  // "-" is standard input. False with problem() set when it cannot be read. Page numbers and
  // offsets start again.
  virtual bool open(const std::string& path) = 0;
  virtual Result next() = 0;

  // Valid until the next call; exactly as long as the page's header says.
  virtual Bytes image() const = 0;
  virtual uint64_t page_number() const = 0;  // of the last page; from 1
  virtual uint64_t page_offset() const = 0;  // of the last page, in the file
  virtual const std::string& name() const = 0;
  virtual const std::string& problem() const = 0;

  const vek_data_page_t* page() const {
    return reinterpret_cast<const vek_data_page_t*>(image().data());
  }
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_PAGE_READER_H
