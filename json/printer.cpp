#ifndef VEK_HAVE_PARSON

#include "json/printer.h"

#include <array>
#include <charconv>
#include <string_view>

namespace vek::json {

namespace {

constexpr size_t kSpacesPerLevel = 4;

// The escape of a character, empty when it stands for itself.
std::string_view short_escape(char c) {
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '/':
      return "\\/";
    case '\b':
      return "\\b";
    case '\f':
      return "\\f";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return {};
  }
}

void print_string(std::string& out, std::string_view text) {
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  out += '"';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (const std::string_view escape = short_escape(c); !escape.empty()) {
      out += escape;
    } else if (byte < 0x20) {
      out += "\\u00";
      out += kHexDigits[byte >> 4];
      out += kHexDigits[byte & 0x0F];
    } else {
      out += c;
    }
  }
  out += '"';
}

// What printf gives for "%1.17g" in the C locale. Under the host's own locale, printf could put
// another decimal point and so change the hash of a schema.
void print_number(std::string& out, double number) {
  std::array<char, 64> digits;
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                          std::chars_format::general, 17);
  if (error == std::errc{}) out.append(digits.data(), end);
}

// Prints without recursion: a stack of the open containers and how far each has been printed.
class Printer {
 public:
  explicit Printer(Layout layout) : pretty_(layout == Layout::kPretty) {}

  std::string run(const json_value_t& value);

 private:
  struct Open {
    const json_value_t* container;
    size_t printed;
  };

  void print_value(const json_value_t& value);
  void print_container(const json_value_t& value, size_t count, std::string_view brackets);
  void continue_innermost();
  void break_line();

  const bool pretty_;
  std::string out_;
  std::vector<Open> open_;
};

std::string Printer::run(const json_value_t& value) {
  print_value(value);
  while (!open_.empty()) continue_innermost();
  return std::move(out_);
}

// Of a container that is not empty, only the opening bracket.
void Printer::print_value(const json_value_t& value) {
  if (const std::string* text = value.string()) {
    print_string(out_, *text);
  } else if (const double* number = value.number()) {
    print_number(out_, *number);
  } else if (const json_object_t* object = value.object()) {
    print_container(value, object->members.size(), "{}");
  } else if (const json_array_t* array = value.array()) {
    print_container(value, array->elements.size(), "[]");
  } else if (const bool* boolean = value.boolean()) {
    out_ += *boolean ? "true" : "false";
  } else {
    out_ += "null";
  }
}

void Printer::print_container(const json_value_t& value, size_t count, std::string_view brackets) {
  if (count == 0) {
    out_ += brackets;
    return;
  }
  out_ += brackets.front();
  open_.push_back({&value, 0});
}

// The next item of the innermost open container, or its closing bracket.
void Printer::continue_innermost() {
  const auto [container, printed] = open_.back();
  const json_object_t* object = container->object();
  const size_t count = object ? object->members.size() : container->array()->elements.size();
  if (printed == count) {
    open_.pop_back();
    break_line();
    out_ += object ? '}' : ']';
    return;
  }
  open_.back().printed++;
  if (printed > 0) out_ += ',';
  break_line();
  if (object) {
    print_string(out_, object->members[printed].name);
    out_ += pretty_ ? ": " : ":";
    print_value(*object->members[printed].value);
  } else {
    print_value(*container->array()->elements[printed]);
  }
}

void Printer::break_line() {
  if (!pretty_) return;
  out_ += '\n';
  out_.append(open_.size() * kSpacesPerLevel, ' ');
}

}  // namespace

std::string print(const json_value_t& value, Layout layout) { return Printer(layout).run(value); }

}  // namespace vek::json

#endif  // VEK_HAVE_PARSON
