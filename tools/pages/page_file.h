// PageFile: reads page images, which lie back to back in a file or come through a pipe.
//
// One image is in memory at a time, whole, in a buffer that is used again for the next: memory does
// not grow with the file. The length in a page's own header is all that separates pages, so where a
// length cannot be right, or bytes are missing, reading ends: the reader names the page and the
// byte where it begins, and does not guess where the next one might be; PageSalvager does. It does
// not look into pages; a page with senseless contents but a sound length is handed out as it is.
#ifndef VEK_TOOLS_PAGES_PAGE_FILE_H
#define VEK_TOOLS_PAGES_PAGE_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/pages/input_file.h"
#include "tools/pages/page_reader.h"

namespace vek::tools {

class PageFile final : public PageReader {
 public:
  // A header that announces more is garbage. Collectors' pages are some kilobytes to a few
  // megabytes long.
  static constexpr uint64_t kMaxPageBytes = uint64_t{64} << 20;

  // The buffer of the file before is kept.
  bool open(const std::string& path) override;
  Result next() override;

  Bytes image() const override { return {buffer_.data(), image_size_}; }
  std::span<uint8_t> writable_image() { return {buffer_.data(), image_size_}; }
  uint64_t page_number() const override { return page_number_; }
  uint64_t page_offset() const override { return offset_; }
  uint64_t bytes_read() const { return offset_ + have_; }
  const std::string& name() const override { return file_.name(); }
  const std::string& problem() const override { return problem_; }

 private:
  InputFile::Outcome fill(uint64_t size);
  Result damaged(const std::string& what);
  Result stopped(InputFile::Outcome outcome, const std::string& what);

  InputFile file_;
  std::string problem_;
  std::vector<uint8_t> buffer_;
  uint64_t have_ = 0;        // bytes of the current page that are in the buffer
  uint64_t image_size_ = 0;  // of the page that was handed out last
  uint64_t offset_ = 0;      // where the current page begins
  uint64_t page_number_ = 0;
};

// Why a page cannot be so long; empty when it can.
std::string length_problem(uint64_t total);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_PAGE_FILE_H
