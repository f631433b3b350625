// PageSalvager: the pages of a damaged file, also those behind the damage.
//
// Where a page cannot be one, or is not followed by one, it looks for the next header byte by byte:
// by lengths that fit each other, by printable names, and by the magic value behind the header. A
// page whose end is missing is given up for the one that begins inside it. A file without damage
// gives the pages that PageFile gives. At most the largest page and some of what is behind it are
// in memory.
#ifndef VEK_TOOLS_PAGES_PAGE_SALVAGER_H
#define VEK_TOOLS_PAGES_PAGE_SALVAGER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/pages/input_file.h"
#include "tools/pages/page_reader.h"

namespace vek::tools {

// Bytes that belong to no intact page.
struct LostBytes {
  uint64_t offset = 0;
  uint64_t bytes = 0;
  bool is_cut_page = false;  // they begin with the header of a page
  std::string why;
};

class PageSalvager final : public PageReader {
 public:
  bool open(const std::string& path) override;
  // After kDamaged, lost() says what was lost, and the next call goes on behind it. Cut pages are
  // counted in page_number(), too.
  Result next() override;
  const LostBytes& lost() const { return lost_; }

  Bytes image() const override;
  uint64_t page_number() const override { return page_number_; }
  uint64_t page_offset() const override { return page_offset_; }
  const std::string& name() const override { return file_.name(); }
  const std::string& problem() const override { return problem_; }

 private:
  const uint8_t* at(uint64_t offset) const { return window_.data() + (offset - window_start_); }
  // Bytes of the file that are there from `offset` on, up to `wanted`; reads as many.
  uint64_t have(uint64_t offset, uint64_t wanted);
  void forget_before(uint64_t offset);
  bool begins_at(uint64_t offset);      // surely a header
  bool is_followed_well(uint64_t end);  // by one, or by nothing
  std::optional<uint64_t> find_page(uint64_t from, uint64_t end);
  Result take_page(uint64_t total);
  Result lose(uint64_t end, bool is_cut_page, std::string why);
  Result failed();

  InputFile file_;
  std::string problem_;
  std::vector<uint8_t> window_;
  uint64_t window_start_ = 0;  // offset in the file of its first byte
  std::optional<InputFile::Outcome> end_;
  int error_ = 0;  // errno of a failed read
  uint64_t next_offset_ = 0;
  uint64_t page_offset_ = 0;
  uint64_t page_size_ = 0;
  uint64_t page_number_ = 0;
  LostBytes lost_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_PAGE_SALVAGER_H
