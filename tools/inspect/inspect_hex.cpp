// Every byte of a page: sixteen a row, labelled by field, the first bad one marked.
#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/base/harmless_text.h"
#include "tools/inspect/inspect_view.h"
#include "tools/inspect/labelled_bytes.h"

namespace vek::tools {
namespace {

constexpr size_t kRow = 16;
constexpr size_t kOffsetWidth = 8;
constexpr const char* kPlain = "\033[0m";
constexpr const char* kBad = "\033[1;37;41m";

const char* colour_of(LabelledBytes::Look look) {
  switch (look) {
    case LabelledBytes::Look::kMagic:
      return "\033[1;35m";
    case LabelledBytes::Look::kStructure:
      return "\033[36m";
    case LabelledBytes::Look::kTime:
      return "\033[34m";
    case LabelledBytes::Look::kIdentity:
      return "\033[33m";
    case LabelledBytes::Look::kValue:
      return "\033[32m";
    default:
      return "\033[2m";
  }
}

std::string hex(Bytes bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const uint8_t byte : bytes) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 0x0f];
  }
  return out;
}

std::string offset_text(size_t offset) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "%08zx", offset);
  return text.data();
}

class HexText final : public InspectView {
 public:
  explicit HexText(bool coloured) : coloured_(coloured) {}

  void page(const InspectedPage& page) override {
    const PageFault* fault = page.fault();
    bad_ = fault ? std::min(fault->offset, page.image.size() - 1) : page.image.size();
    text_ += "page " + std::to_string(page.number) + " at byte " + std::to_string(page.offset) +
             " of " + std::string(page.file) + ": " + std::to_string(page.image.size()) +
             " bytes\n";
    for (const LabelledBytes& field : label_bytes(page)) rows(page, field, fault);
    text_ += '\n';
  }

 private:
  bool is_bad_in(size_t start, size_t length) const {
    return bad_ >= start && bad_ - start < length;
  }

  // Rows like the one before are left out behind a '*', as long as no bad byte is in them.
  void rows(const InspectedPage& page, const LabelledBytes& field, const PageFault* fault) {
    bool is_left_out = false;
    for (size_t done = 0; done < field.length; done += kRow) {
      const size_t start = field.offset + done;
      const size_t length = std::min(kRow, field.length - done);
      const Bytes bytes = page.image.subspan(start, length);
      const bool bad = is_bad_in(start, length);
      const bool repeats =
          done > 0 && std::equal(bytes.begin(), bytes.end(),
                                 page.image.begin() + static_cast<ptrdiff_t>(start - kRow));
      if (repeats && !bad && done + length < field.length) {
        if (!is_left_out) text_ += "*\n";
        is_left_out = true;
        continue;
      }
      is_left_out = false;
      row(start, bytes, field, done == 0);
      if (bad) mark(start, fault->what);
    }
  }

  void row(size_t start, Bytes bytes, const LabelledBytes& field, bool is_first) {
    std::string line = offset_text(start) + "  ";
    const char* const colour = coloured_ ? colour_of(field.look) : "";
    const char* const plain = coloured_ ? kPlain : "";
    line += colour;
    for (size_t i = 0; i < bytes.size(); ++i) {
      const bool bad = coloured_ && start + i == bad_;
      if (bad) line += kBad;
      line += hex(bytes.subspan(i, 1));
      if (bad) (line += kPlain) += colour;
      line += ' ';
    }
    line += plain;
    line.append((kRow - bytes.size()) * 3, ' ');
    if (is_first) {
      line += " " + harmless(field.label);
      if (!field.value.empty()) line += " = " + field.value;
    }
    end_line(line);
    text_ += line;
  }

  void mark(size_t row_start, const std::string& what) {
    const size_t column = kOffsetWidth + 2 + (bad_ - row_start) * 3;
    text_ += std::string(column, ' ') + (coloured_ ? kBad : "") + "^^" + (coloured_ ? kPlain : "") +
             " first bad byte: " + what + "\n";
  }

  bool coloured_;
  size_t bad_ = 0;
};

class HexJson final : public InspectView {
 public:
  void page(const InspectedPage& page) override {
    const PageFault* fault = page.fault();
    for (const LabelledBytes& field : label_bytes(page)) {
      JsonWriter json;
      begin_line(json, "bytes", page.file)
          .member("page", page.number)
          .member("offset", uint64_t{field.offset})
          .member("length", uint64_t{field.length})
          .member("field", field.label)
          .key("value");
      if (field.value.empty()) {
        json.null();
      } else {
        json.raw(field.value);
      }
      json.member("hex", hex(page.image.subspan(field.offset, field.length)));
      const bool has_fault =
          fault && fault->offset >= field.offset && fault->offset - field.offset < field.length;
      write_fault(json, has_fault ? fault : nullptr);
      text_ += json.end_object().out() + "\n";
    }
  }

  void lost(std::string_view file, const LostBytes& lost) override {
    append_lost(text_, file, lost);
  }
};

}  // namespace

std::unique_ptr<InspectView> make_hex_view(bool json, bool coloured) {
  if (json) return std::make_unique<HexJson>();
  return std::make_unique<HexText>(coloured);
}

}  // namespace vek::tools
