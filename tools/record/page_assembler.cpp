#include "tools/record/page_assembler.h"

#include <algorithm>
#include <cstring>

#include "data/data_page.h"
#include "tools/pages/page_file.h"

namespace vek::tools {

uint8_t* PageAssembler::room(size_t size) {
  if (buffer_.size() < size_ + size) buffer_.resize(size_ + size);
  return buffer_.data() + size_;
}

bool PageAssembler::took(size_t size, const OnPage& on_page) {
  size_ += size;
  size_t done = 0;
  while (size_ - done >= VEK_PAGE_HEADER_SIZE) {
    uint64_t total = 0;
    std::memcpy(&total, buffer_.data() + done + offsetof(vek_data_page_t, total), sizeof(total));
    problem_ = length_problem(total);
    if (!problem_.empty() || total > size_ - done) break;
    on_page({buffer_.data() + done, total});
    done += total;
  }
  if (done == 0) return problem_.empty();
  std::copy(buffer_.begin() + static_cast<ptrdiff_t>(done),
            buffer_.begin() + static_cast<ptrdiff_t>(size_), buffer_.begin());
  size_ -= done;
  return problem_.empty();
}

}  // namespace vek::tools
