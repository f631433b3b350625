// Text inside XML.
#ifndef VEK_TOOLS_BASE_XML_TEXT_H
#define VEK_TOOLS_BASE_XML_TEXT_H

#include <string>

namespace vek::tools {

// For attributes; what XML cannot hold becomes "?".
std::string xml_text(const std::string& text);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_XML_TEXT_H
