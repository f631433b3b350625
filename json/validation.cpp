#ifndef VEK_HAVE_PARSON

#include "json/validation.h"

namespace vek::json {

namespace {

struct Pair {
  const json_value_t* shape;
  const json_value_t* value;
};

// Compares one value; what hangs below it is left in `pending`.
bool matches(const Pair& pair, std::vector<Pair>& pending) {
  if (pair.shape->type() == JSONNull) return true;
  if (pair.shape->type() != pair.value->type()) return false;
  if (const json_array_t* shape = pair.shape->array(); shape && !shape->elements.empty()) {
    for (const ValuePtr& element : pair.value->array()->elements) {
      pending.push_back({shape->elements.front().get(), element.get()});
    }
  }
  if (const json_object_t* shape = pair.shape->object()) {
    const json_object_t& object = *pair.value->object();
    for (const Member& wanted : shape->members) {
      const size_t position = object.find(wanted.name);
      if (position == json_object_t::kNone) return false;
      pending.push_back({wanted.value.get(), object.members[position].value.get()});
    }
  }
  return true;
}

}  // namespace

bool has_shape(const json_value_t& shape, const json_value_t& value) {
  std::vector<Pair> pending{{&shape, &value}};
  while (!pending.empty()) {
    const Pair pair = pending.back();
    pending.pop_back();
    if (!matches(pair, pending)) return false;
  }
  return true;
}

}  // namespace vek::json

#endif  // VEK_HAVE_PARSON
