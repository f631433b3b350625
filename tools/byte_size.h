// Options that take a number of bytes.
#ifndef VEK_TOOLS_BYTE_SIZE_H
#define VEK_TOOLS_BYTE_SIZE_H

#include <cstdint>
#include <string>

namespace vek::tools {

// Of "500", "64KiB", "10MiB", "1GiB" (k, M, G for short); throws CLI::ValidationError for anything
// else, and for nothing at all.
uint64_t take_byte_size(const char* option, const std::string& text);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BYTE_SIZE_H
