// What a configuration says about the spool.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_SETTINGS_H
#define VEK_RAW_MSGPACK_API_SPOOL_SETTINGS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "raw_msgpack_api/parameters.h"
#include "raw_msgpack_api/spool.h"

namespace vek::engine {

// When what was stored is made to survive a loss of power; "vek.fsync". A process that is killed
// loses nothing that was stored either way.
struct SpoolSync {
  enum class Kind : uint8_t {
    kAlways,    // before add_data returns; every record is stored first, then sent
    kInterval,  // by a thread of its own
    kNever      // when the system thinks fit
  };
  Kind kind = Kind::kInterval;
  std::chrono::milliseconds interval{1000};
};

struct SpoolConfig {
  SpoolSettings spool;  // its folder is empty without "storage.path"
  SpoolSync sync;

  bool is_wanted() const { return !spool.folder.empty(); }
};

// Of the destination called `name`, whose folder lies in "storage.path". None, with an error line,
// when a value cannot be used.
std::optional<SpoolConfig> read_spool_settings(const Parameters& parameters,
                                               const std::string& name);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SPOOL_SETTINGS_H
