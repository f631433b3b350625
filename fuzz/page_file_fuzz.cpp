// Page files: the reader finds the pages that a straightforward reading of the lengths finds, and
// names the place where it stops.
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/support.h"
#include "tools/pages/page_file.h"

namespace {

using vek::fuzz::require;
using vek::tools::PageFile;

struct Expected {
  std::vector<std::string> pages;
  PageFile::Result end = PageFile::Result::kEnd;
};

Expected expected_of(std::string_view bytes) {
  Expected expected;
  while (!bytes.empty()) {
    uint64_t total = 0;
    expected.end = PageFile::Result::kDamaged;
    if (bytes.size() < VEK_PAGE_HEADER_SIZE) return expected;
    std::memcpy(&total, bytes.data() + 8, sizeof(total));
    if (total < VEK_PAGE_HEADER_SIZE || total > bytes.size()) return expected;
    expected.pages.emplace_back(bytes.substr(0, total));
    bytes.remove_prefix(total);
    expected.end = PageFile::Result::kEnd;
  }
  return expected;
}

// Pieces, each a page whose length is as the input says, or nearly.
std::string pages_of(vek::fuzz::Supply supply) {
  std::string bytes;
  while (!supply.empty()) {
    const uint8_t kind = supply.byte();
    const size_t body = supply.word() % 600;
    std::string page(VEK_PAGE_HEADER_SIZE + body, static_cast<char>(kind));
    uint64_t total = page.size();
    if (kind < 32) total = supply.number();
    if (kind >= 32 && kind < 48) total += supply.byte();
    std::memcpy(page.data() + 8, &total, sizeof(total));
    if (kind >= 240) page.resize(supply.word() % page.size());
    bytes += page;
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes = pages_of(vek::fuzz::Supply(data, size));
  const Expected expected = expected_of(bytes);
  const vek::fuzz::InputFile input(bytes);
  PageFile file;
  const vek::fuzz::Budget budget(bytes.size(), 4);
  require(file.open(input.path()), "the file is opened");
  for (const std::string& page : expected.pages) {
    require(file.next() == PageFile::Result::kPage, "a page is found");
    require(file.image().size() == page.size() &&
                std::memcmp(file.image().data(), page.data(), page.size()) == 0,
            "it is the page");
  }
  require(file.next() == expected.end, "it ends where the pages end");
  require(file.page_number() == expected.pages.size(), "pages are counted");
  require(expected.end == PageFile::Result::kEnd || !file.problem().empty(), "a problem is named");
  return 0;
}
