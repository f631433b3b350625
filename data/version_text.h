// The text of an encoded version, in a buffer of its own: identifiers are digests of such texts and
// are made on any thread, where the one buffer of vek_version_to_string could change half-way.
#ifndef VEK_DATA_VERSION_TEXT_H
#define VEK_DATA_VERSION_TEXT_H

#include <cstdint>
#include <cstdio>

namespace vek {

struct VersionText {
  explicit VersionText(uint32_t version) noexcept {
    std::snprintf(text, sizeof(text), "%u.%u.%u", version & 0xFFu, version >> 8 & 0xFFu,
                  version >> 16);
  }

  char text[16];
};

}  // namespace vek

#endif  // VEK_DATA_VERSION_TEXT_H
