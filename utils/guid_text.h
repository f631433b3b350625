// GuidText: an identifier as hexadecimal text, "0x%lx".
#ifndef VEK_UTILS_GUID_TEXT_H
#define VEK_UTILS_GUID_TEXT_H

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

class GuidText {
 public:
  static constexpr size_t kMaxSize = 18;  // "0x" and 16 digits

  explicit GuidText(uint64_t value) noexcept {
    end_ = std::to_chars(text_ + 2, text_ + sizeof(text_), value, 16).ptr;
  }
  std::string_view view() const noexcept { return {text_, static_cast<size_t>(end_ - text_)}; }

 private:
  char text_[kMaxSize] = {'0', 'x'};
  char* end_;
};

}  // namespace vek

#endif  // VEK_UTILS_GUID_TEXT_H
