// The parameters that a configuration gives a destination: names in any case, the last of several
// equal names counts, and a name that nobody knows is refused rather than ignored.
#ifndef VEK_RAW_MSGPACK_API_PARAMETERS_H
#define VEK_RAW_MSGPACK_API_PARAMETERS_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "utils/export_parameters.h"

namespace vek::engine {

bool equals_ignoring_case(std::string_view a, std::string_view b) noexcept;

class Parameters {
 public:
  // Borrowed while this object lives; may be null.
  explicit Parameters(const fluentbit_export_parameters_t* list) noexcept : list_(list) {}

  std::optional<std::string_view> find(std::string_view name) const;
  // The value, or `fallback` when the name is absent or its value empty.
  std::string_view text(std::string_view name, std::string_view fallback) const;

  // Name and value of each, in their order, those of equal names included.
  std::vector<std::pair<std::string_view, std::string_view>> all() const;

  // True when every name that begins with "vek." is one of `own` or one that every destination
  // takes. Otherwise as all_known().
  bool all_engine_names_known(std::string_view plugin, std::span<const std::string_view> own) const;
  // True when every name is one of `own` or one that every destination takes. Otherwise false, with
  // an error line that has the stranger and the known name nearest to it.
  bool all_known(std::string_view plugin, std::span<const std::string_view> own) const;

 private:
  bool refuse_stranger(std::string_view plugin, const char* name,
                       std::span<const std::string_view> own) const;

  const fluentbit_export_parameters_t* list_;
};

// Bytes of "512", "64K", "64MB", "1G" (powers of 1000, as log processors count); none when the text
// is something else, zero or beyond 64 bits.
std::optional<size_t> parse_size(std::string_view text);
// Seconds, a fraction allowed, from 0 to an hour.
std::optional<double> parse_seconds(std::string_view text);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_PARAMETERS_H
