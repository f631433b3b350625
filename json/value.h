// The tree behind the JSON calls: values, and the objects and arrays inside them.
//
// A value owns what hangs below it and knows the value that it hangs in. Values are created
// anywhere and released by whoever holds the root; all functions here that can run out of memory
// throw std::bad_alloc, and only the C calls (calls.h) turn that into a failure.
//
// Depth: the parser bounds it, but a program may build trees of any depth. So nothing here, nor in
// the printer or the validation, walks a tree by recursion.
#ifndef VEK_JSON_VALUE_H
#define VEK_JSON_VALUE_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "json/json.h"
#include "json/name_index.h"

namespace vek::json {

struct DestroyTree {
  void operator()(json_value_t* root) const noexcept;
};
using ValuePtr = std::unique_ptr<json_value_t, DestroyTree>;

struct Member {
  std::string name;
  size_t hash;
  ValuePtr value;
};

}  // namespace vek::json

struct json_array_t {
  explicit json_array_t(json_value_t* wrapping) : owner(wrapping) {}

  // Takes `value` over; it stays with the caller when memory runs out.
  void append(vek::json::ValuePtr& value);

  json_value_t* const owner;
  std::vector<vek::json::ValuePtr> elements;
};

// Members in the order in which they were added. Names are unique.
struct json_object_t {
  static constexpr size_t kNone = vek::json::NameIndex::kNone;

  explicit json_object_t(json_value_t* wrapping) : owner(wrapping) {}

  size_t find(std::string_view name) const;
  // False, and `value` stays with the caller, when there is a member of that name; it also stays
  // with the caller when memory runs out.
  bool add(std::string&& name, vek::json::ValuePtr& value);
  // Replaces the member of that name in its place, or adds one.
  void set(std::string_view name, vek::json::ValuePtr& value);
  // The last member takes the place of the removed one.
  void remove(size_t position);

  json_value_t* const owner;
  std::vector<vek::json::Member> members;

 private:
  // Comparing a few names is faster than hashing; the index starts with larger objects.
  static constexpr size_t kUnindexedMembers = 16;

  size_t find(std::string_view name, size_t hash) const;
  void append(std::string&& name, size_t hash, vek::json::ValuePtr& value);
  bool indexed() const { return members.size() > kUnindexedMembers; }

  vek::json::NameIndex index_;
};

struct json_value_t {
  using Object = std::unique_ptr<json_object_t>;
  using Array = std::unique_ptr<json_array_t>;
  // In the order of the public type numbers, which begin with JSONNull.
  using Content = std::variant<std::monostate, std::string, double, Object, Array, bool>;

  JSON_Value_Type type() const { return static_cast<JSON_Value_Type>(content.index()) + JSONNull; }

  const std::string* string() const { return std::get_if<std::string>(&content); }
  const double* number() const { return std::get_if<double>(&content); }
  const bool* boolean() const { return std::get_if<bool>(&content); }
  json_object_t* object() const {
    const Object* held = std::get_if<Object>(&content);
    return held ? held->get() : nullptr;
  }
  json_array_t* array() const {
    const Array* held = std::get_if<Array>(&content);
    return held ? held->get() : nullptr;
  }

  Content content;
  json_value_t* parent = nullptr;
};

namespace vek::json {

ValuePtr make_value(json_value_t::Content content = {});
ValuePtr make_object();
ValuePtr make_array();
ValuePtr deep_copy(const json_value_t& source);

}  // namespace vek::json

#endif  // VEK_JSON_VALUE_H
