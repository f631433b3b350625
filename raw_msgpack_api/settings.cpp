#include "raw_msgpack_api/settings.h"

#include "utils/logger.h"

namespace vek::engine {
std::optional<Settings> read_settings(const Parameters& parameters, const Target& target) {
  Settings settings;
  settings.name = parameters.text("Alias", target.plugin);
  settings.host = target.host;
  settings.port = target.port;
  settings.tag = parameters.text("Tag", target.kind.empty() ? "vek" : target.kind);
  if (const auto text = parameters.find("Mem_Buf_Limit")) {
    const auto size = parse_size(*text);
    if (!size) {
      VEK_LOGE("[raw msgpack API] Mem_Buf_Limit = '%.*s' is no size; write it as 64M",
               static_cast<int>(text->size()), text->data());
      return std::nullopt;
    }
    settings.mem_buf_limit = *size;
  }
  if (const auto text = parameters.find("vek.grace")) {
    const auto seconds = parse_seconds(*text);
    if (!seconds) {
      VEK_LOGE("[raw msgpack API] vek.grace = '%.*s' is no number of seconds from 0 to 3600",
               static_cast<int>(text->size()), text->data());
      return std::nullopt;
    }
    settings.grace = std::chrono::milliseconds(static_cast<int64_t>(*seconds * 1000));
  }
  return settings;
}

}  // namespace vek::engine
