// PageFile: reads page images, which lie back to back in a file or come through a pipe.
//
// One image is in memory at a time, whole, in a buffer that is used again for the next: memory does
// not grow with the file. The length in a page's own header is all that separates pages, so where a
// length cannot be right, or bytes are missing, reading ends: the reader names the page and the
// byte where it begins, and does not guess where the next one might be. It does not look into
// pages; a page with senseless contents but a sound length is handed out as it is.
#ifndef VEK_TOOLS_PAGE_FILE_H
#define VEK_TOOLS_PAGE_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/byte_reader.h"
#include "data/data_page.h"

namespace vek::tools {

class PageFile {
 public:
  // A header that announces more is garbage. Collectors' pages are some kilobytes to a few
  // megabytes long.
  static constexpr uint64_t kMaxPageBytes = uint64_t{64} << 20;

  enum class Result {
    kPage,         // image() is the next page
    kEnd,          // the file ended at the end of a page
    kDamaged,      // problem() says where and what
    kReadFailed,   // problem() has the system's text
    kInterrupted,  // a signal asked to stop
  };

  PageFile() = default;
  ~PageFile();
  PageFile(const PageFile&) = delete;
  PageFile& operator=(const PageFile&) = delete;

  // "-" is standard input. False with problem() set when it cannot be read. Page numbers and
  // offsets start again; the buffer is kept.
  bool open(const std::string& path);
  Result next();

  // Valid until the next call; exactly as long as the page's header says.
  Bytes image() const { return {buffer_.data(), image_size_}; }
  std::span<uint8_t> writable_image() { return {buffer_.data(), image_size_}; }
  const vek_data_page_t* page() const {
    return reinterpret_cast<const vek_data_page_t*>(buffer_.data());
  }
  uint64_t page_number() const { return page_number_; }  // of the last page; from 1
  uint64_t bytes_read() const { return offset_ + have_; }
  const std::string& name() const { return name_; }
  const std::string& problem() const { return problem_; }

 private:
  enum class Fill { kFull, kShort, kFailed, kInterrupted };

  Fill fill(uint64_t size);
  Result damaged(const std::string& what);
  Result stopped(Fill fill, const std::string& what);
  void close();

  std::string name_;
  std::string problem_;
  int fd_ = -1;
  bool owns_fd_ = false;
  std::vector<uint8_t> buffer_;
  uint64_t have_ = 0;        // bytes of the current page that are in the buffer
  uint64_t image_size_ = 0;  // of the page that was handed out last
  uint64_t offset_ = 0;      // where the current page begins
  uint64_t page_number_ = 0;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGE_FILE_H
