#include <array>
#include <string>

#include "raw_msgpack_api/destination.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

constexpr std::array<const DestinationKind*, 5> kDestinations = {
    &kStdoutRawDestination, &kStdoutDestination, &kFileDestination, &kForwardDestination,
    &kNullDestination};

}  // namespace

const DestinationKind* find_destination(std::string_view name) {
  std::string works;
  for (const DestinationKind* kind : kDestinations) {
    if (equals_ignoring_case(kind->name, name)) return kind;
    if (!works.empty()) works += ", ";
    works += kind->name;
  }
  VEK_LOGE("[raw msgpack API] there is no output '%.*s'; these work: %s",
           static_cast<int>(name.size()), name.data(), works.c_str());
  return nullptr;
}

}  // namespace vek::engine
