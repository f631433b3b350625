#include <array>

#include "raw_msgpack_api/destination.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

constexpr std::array<const DestinationKind*, 5> kDestinations = {
    &kStdoutRawDestination, &kStdoutDestination, &kFileDestination, &kForwardDestination,
    &kNullDestination};
static_assert(kDestinations.size() == kBuiltInOutputs.size(), "the list that all know");

}  // namespace

const DestinationKind* find_destination(std::string_view name) {
  for (const DestinationKind* kind : kDestinations) {
    if (equals_ignoring_case(kind->name, name)) return kind;
  }
  return nullptr;
}

}  // namespace vek::engine
