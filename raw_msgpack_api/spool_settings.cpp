#include "raw_msgpack_api/spool_settings.h"

#include <charconv>

#include "utils/logger.h"

namespace vek::engine {
namespace {

std::nullopt_t refuse(const char* name, std::string_view value, const char* why) {
  VEK_LOGE("[raw msgpack API] %s = '%.*s' is %s", name, static_cast<int>(value.size()),
           value.data(), why);
  return std::nullopt;
}

std::optional<SpoolSync> parse_sync(std::string_view text) {
  constexpr int64_t kHour = 3'600'000;
  if (equals_ignoring_case(text, "always")) return SpoolSync{SpoolSync::Kind::kAlways};
  if (equals_ignoring_case(text, "never")) return SpoolSync{SpoolSync::Kind::kNever};
  int64_t number = 0;
  const char* text_end = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), text_end, number);
  if (error != std::errc{} || end != text_end || number < 1 || number > kHour) return std::nullopt;
  return SpoolSync{SpoolSync::Kind::kInterval, std::chrono::milliseconds(number)};
}

}  // namespace

std::optional<SpoolConfig> read_spool_settings(const Parameters& parameters,
                                               const std::string& name) {
  SpoolConfig config;
  config.spool.label = "[raw msgpack API] [" + name + "]";
  const std::string path(parameters.text("storage.path", ""));
  if (!path.empty()) {
    config.spool.folder = (path.ends_with('/') ? path : path + '/') + safe_folder_name(name);
  }
  if (const auto text = parameters.find("storage.total_limit_size")) {
    const auto size = parse_size(*text);
    if (!size) return refuse("storage.total_limit_size", *text, "no size; write it as 1G");
    config.spool.limit = *size;
  }
  if (const auto text = parameters.find("vek.fsync")) {
    const auto sync = parse_sync(*text);
    if (!sync) {
      return refuse("vek.fsync", *text,
                    "neither always, never nor a number of milliseconds from 1 to 3600000");
    }
    config.sync = *sync;
  }
  config.spool.syncs = config.sync.kind != SpoolSync::Kind::kNever;
  return config;
}

}  // namespace vek::engine
