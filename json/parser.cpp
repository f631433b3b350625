#ifndef VEK_HAVE_PARSON

#include "json/parser.h"

#include <optional>
#include <string>
#include <utility>

#include "json/lexer.h"

namespace vek::json {

namespace {

// Reads without recursion: the open containers are the innermost one and its chain of parents.
class Parser {
 public:
  explicit Parser(const char* text) : cursor_(text) {}

  ValuePtr run();

 private:
  bool read_item();
  bool next_item();
  std::optional<std::string> read_name();
  ValuePtr read_value();
  json_value_t* place(std::string&& name, ValuePtr value);

  bool in_object() const { return open_ && open_->object(); }

  const char* cursor_;
  ValuePtr root_;
  json_value_t* open_ = nullptr;  // the innermost open container
  size_t depth_ = 0;              // the number of open containers
  bool just_opened_ = false;      // nothing of the innermost container has been read
};

ValuePtr Parser::run() {
  take(cursor_, "\xEF\xBB\xBF");
  do {
    if (!read_item() || !next_item()) return nullptr;
  } while (open_);
  return std::move(root_);
}

// One value, with its name inside an object. Of a container, only the opening bracket.
bool Parser::read_item() {
  if (depth_ > kMaxNesting) return false;
  std::string name;
  if (in_object()) {
    std::optional<std::string> found = read_name();
    if (!found) return false;
    name = std::move(*found);
  }
  json_value_t* value = place(std::move(name), read_value());
  if (!value) return false;
  just_opened_ = value->object() || value->array();
  if (just_opened_) {
    open_ = value;
    depth_++;
  }
  return true;
}

// Moves to the next item of the innermost container that has one and closes the others; a comma
// may stand before the closing bracket. False when the text goes on in another way.
bool Parser::next_item() {
  while (open_) {
    skip_white_space(cursor_);
    const bool comma = !just_opened_ && take(cursor_, ",");
    skip_white_space(cursor_);
    if (!take(cursor_, in_object() ? "}" : "]")) return comma || just_opened_;
    open_ = open_->parent;
    depth_--;
    just_opened_ = false;
  }
  return true;
}

// The name, and the colon behind it.
std::optional<std::string> Parser::read_name() {
  if (*cursor_ != '"') return std::nullopt;
  std::optional<std::string> name = read_string(cursor_);
  // Members are asked for by C strings: such a name could never be found.
  if (!name || name->find('\0') != std::string::npos) return std::nullopt;
  skip_white_space(cursor_);
  if (!take(cursor_, ":")) return std::nullopt;
  return name;
}

ValuePtr Parser::read_value() {
  skip_white_space(cursor_);
  switch (*cursor_) {
    case '{':
      cursor_++;
      return make_object();
    case '[':
      cursor_++;
      return make_array();
    case '"': {
      std::optional<std::string> text = read_string(cursor_);
      return text ? make_value(std::move(*text)) : nullptr;
    }
    case 't':
      return take(cursor_, "true") ? make_value(true) : nullptr;
    case 'f':
      return take(cursor_, "false") ? make_value(false) : nullptr;
    case 'n':
      return take(cursor_, "null") ? make_value() : nullptr;
    default:
      break;
  }
  if (*cursor_ != '-' && (*cursor_ < '0' || *cursor_ > '9')) return nullptr;
  const std::optional<double> number = read_number(cursor_);
  return number ? make_value(*number) : nullptr;
}

// Hangs a value where it belongs; null when there is none or its name is taken.
json_value_t* Parser::place(std::string&& name, ValuePtr value) {
  json_value_t* placed = value.get();
  if (!placed) return nullptr;
  if (!open_) {
    root_ = std::move(value);
  } else if (json_array_t* array = open_->array()) {
    array->append(value);
  } else if (!open_->object()->add(std::move(name), value)) {
    return nullptr;
  }
  return placed;
}

}  // namespace

ValuePtr parse(const char* text) { return Parser(text).run(); }

}  // namespace vek::json

#endif  // VEK_HAVE_PARSON
