#ifndef VEK_HAVE_PARSON

#include "json/value.h"

#include <functional>
#include <utility>

static_assert(std::variant_size_v<json_value_t::Content> == JSONBoolean - JSONNull + 1);

namespace vek::json {

namespace {

// Takes the last child out of a container; null when there is none.
json_value_t* take_last_child(json_value_t& value) noexcept {
  json_value_t* child = nullptr;
  if (json_object_t* object = value.object(); object && !object->members.empty()) {
    child = object->members.back().value.release();
    object->members.pop_back();
  } else if (json_array_t* array = value.array(); array && !array->elements.empty()) {
    child = array->elements.back().release();
    array->elements.pop_back();
  }
  return child;
}

}  // namespace

// Walks down by taking children out and up by the parents: neither stack nor memory is needed, so
// a tree of any depth can be released even when memory has run out.
void DestroyTree::operator()(json_value_t* root) const noexcept {
  json_value_t* value = root;
  while (value) {
    if (json_value_t* child = take_last_child(*value)) {
      value = child;
      continue;
    }
    json_value_t* parent = value == root ? nullptr : value->parent;
    delete value;
    value = parent;
  }
}

ValuePtr make_value(json_value_t::Content content) {
  ValuePtr value(new json_value_t{});
  value->content = std::move(content);
  return value;
}

ValuePtr make_object() {
  ValuePtr value(new json_value_t{});
  value->content = std::make_unique<json_object_t>(value.get());
  return value;
}

ValuePtr make_array() {
  ValuePtr value(new json_value_t{});
  value->content = std::make_unique<json_array_t>(value.get());
  return value;
}

namespace {

struct CopyTask {
  const json_value_t* source;
  json_value_t* target;
};

// A copy without children; containers are noted, to be filled later.
ValuePtr shallow_copy(const json_value_t& source, std::vector<CopyTask>& pending) {
  ValuePtr copy;
  if (source.object()) {
    copy = make_object();
  } else if (source.array()) {
    copy = make_array();
  } else if (const std::string* text = source.string()) {
    return make_value(*text);
  } else if (const double* number = source.number()) {
    return make_value(*number);
  } else if (const bool* boolean = source.boolean()) {
    return make_value(*boolean);
  } else {
    return make_value();
  }
  pending.push_back({&source, copy.get()});
  return copy;
}

}  // namespace

ValuePtr deep_copy(const json_value_t& source) {
  std::vector<CopyTask> pending;
  ValuePtr root = shallow_copy(source, pending);
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    if (const json_object_t* object = from->object()) {
      for (const Member& member : object->members) {
        ValuePtr child = shallow_copy(*member.value, pending);
        to->object()->add(std::string(member.name), child);
      }
    } else if (const json_array_t* array = from->array()) {
      for (const ValuePtr& element : array->elements) {
        ValuePtr child = shallow_copy(*element, pending);
        to->array()->append(child);
      }
    }
  }
  return root;
}

}  // namespace vek::json

void json_array_t::append(vek::json::ValuePtr& value) {
  elements.emplace_back();
  value->parent = owner;
  elements.back() = std::move(value);
}

size_t json_object_t::find(std::string_view name) const {
  return find(name, indexed() ? std::hash<std::string_view>{}(name) : 0);
}

size_t json_object_t::find(std::string_view name, size_t hash) const {
  if (indexed()) {
    return index_.find(hash, [&](size_t position) { return members[position].name == name; });
  }
  for (size_t position = 0; position < members.size(); position++) {
    if (members[position].name == name) return position;
  }
  return kNone;
}

bool json_object_t::add(std::string&& name, vek::json::ValuePtr& value) {
  const size_t hash = std::hash<std::string_view>{}(name);
  if (find(name, hash) != kNone) return false;
  append(std::move(name), hash, value);
  return true;
}

void json_object_t::append(std::string&& name, size_t hash, vek::json::ValuePtr& value) {
  const bool was_indexed = indexed();
  const size_t position = members.size();
  if (position + 1 > kUnindexedMembers) index_.reserve(position + 1);
  members.push_back({std::move(name), hash, nullptr});
  value->parent = owner;
  members.back().value = std::move(value);
  if (!indexed()) return;
  for (size_t at = was_indexed ? position : 0; at <= position; at++) {
    index_.add(members[at].hash, at);
  }
}

void json_object_t::set(std::string_view name, vek::json::ValuePtr& value) {
  const size_t hash = std::hash<std::string_view>{}(name);
  const size_t position = find(name, hash);
  if (position == kNone) {
    append(std::string(name), hash, value);
    return;
  }
  value->parent = owner;
  members[position].value = std::move(value);
}

void json_object_t::remove(size_t position) {
  const size_t last = members.size() - 1;
  if (indexed()) {
    index_.remove(members[position].hash, position);
    if (position != last) index_.move(members[last].hash, last, position);
  }
  if (position != last) std::swap(members[position], members[last]);
  members.pop_back();
  // Back among the small objects: the entries would be stale when the object grows again.
  if (members.size() == kUnindexedMembers) index_ = {};
}

#endif  // VEK_HAVE_PARSON
