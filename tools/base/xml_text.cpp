#include "tools/base/xml_text.h"

namespace vek::tools {

std::string xml_text(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\n':
        out += "&#10;";
        break;
      default:
        out += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
  }
  return out;
}

}  // namespace vek::tools
