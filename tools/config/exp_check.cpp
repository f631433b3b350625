#include "tools/config/exp_check.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <vector>

#include "data/data_page.h"
#include "tools/base/lower_case.h"
#include "tools/base/suggest.h"

namespace vek::tools {
namespace {

std::string in_quotes(std::string_view text) { return "'" + std::string(text) + "'"; }

bool is_word(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.'; }
bool is_blank(char c) { return std::isspace(static_cast<unsigned char>(c)); }

// What the author meant to be the key.
std::string_view first_word(std::string_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), is_word);
  return text.substr(0, static_cast<size_t>(end - text.begin()));
}

std::vector<std::string> known_keys() {
  std::vector<std::string> keys;
  for (const std::string_view key : exp_keys()) keys.emplace_back(key);
  return keys;
}

std::string nearest_key_hint(std::string_view word) {
  const std::string guess = nearest(word, known_keys());
  return guess.empty() ? "keys are msgpack_data_layout, plugin_name, name, counterset, fieldset, "
                         "host, enable, port, batch_mode, source_tag and plugin_NAME"
                       : "did you mean " + in_quotes(guess) + "?";
}

}  // namespace

Place ExpCheck::at_value(const ExpLine& line) const {
  return {path_, line.number, line.value_column > 0 ? line.value_column : line.column};
}

void ExpCheck::on_exp_line(const ExpLine& line) {
  if (line.text.empty()) return;
  if (line.key.empty()) {
    const std::string_view word = first_word(line.text);
    findings_.error(at(line), "unknown-key", in_quotes(word) + " is no key; the line has no effect",
                    nearest_key_hint(word));
    return;
  }
  if (line.kind == ExpKeyKind::kParameter) return check_parameter(line);
  check_key(line);
  check_value(line);
  places_[std::string(line.key)] = at_value(line);
}

// A key takes every line that begins with it, and drops one character behind it.
void ExpCheck::check_key(const ExpLine& line) {
  const std::string key(line.key);
  if (line.kind != ExpKeyKind::kTags) check_repeated(key, line);
  if (line.behind.empty()) return;
  const std::string_view word = first_word(line.text);
  if (word.size() > line.key.size()) {
    const std::string guess = nearest(word, known_keys());
    findings_.warning(at(line), "prefix-key",
                      in_quotes(word) + " begins with the key " + in_quotes(key) +
                          ", which takes the "
                          "line with the value " +
                          in_quotes(line.value),
                      guess.empty() || guess == key ? "write '" + key + " = ...'"
                                                    : "did you mean " + in_quotes(guess) + "?");
    return;
  }
  const auto sign = std::find_if_not(line.behind.begin(), line.behind.end(), is_blank);
  if (sign != line.behind.end() && *sign != '=' && *sign != ':') {
    findings_.error(at(line), "no-separator",
                    "there is no '=' behind " + in_quotes(key) +
                        ", so the value loses its first "
                        "character and is " +
                        in_quotes(line.value),
                    "write '" + key + " = ...'");
  }
}

void ExpCheck::check_value(const ExpLine& line) {
  if (line.kind == ExpKeyKind::kNumber) return check_number(line);
  if (line.value.empty()) {
    findings_.warning(at(line), "empty-value",
                      in_quotes(line.key) + " has no value; what it was before stays");
    return;
  }
  if (line.kind == ExpKeyKind::kTags) check_tags(line);
}

void ExpCheck::check_number(const ExpLine& line) {
  long value = 0;
  const char* const text_end = line.value.data() + line.value.size();
  const auto [end, error] = std::from_chars(line.value.data(), text_end, value);
  if (line.value.empty() || error != std::errc() || end != text_end) {
    const bool is_enable = line.key == "enable";
    findings_.error(
        at_value(line), "not-a-number",
        in_quotes(line.value) + " is no number, so " + in_quotes(line.key) + " becomes " +
            (error == std::errc() ? std::to_string(value) : "0") +
            (is_enable && (error != std::errc() || value == 0) ? " and switches the destination off"
                                                               : ""),
        is_enable ? "write 'enable = 1' or 'enable = 0'" : "");
  } else if (line.key == "port" && (value < 0 || value > 65535)) {
    findings_.error(at_value(line), "port-range",
                    std::to_string(value) + " is no port; its low 16 bits are " +
                        std::to_string(static_cast<uint16_t>(value)));
  }
}

void ExpCheck::check_tags(const ExpLine& line) {
  std::string_view rest = line.value;
  size_t column = line.value_column;
  for (bool more = true; more;) {
    const size_t comma = rest.find(',');
    const std::string_view tag = rest.substr(0, comma);
    const Place place{path_, line.number, column};
    if (tag.empty()) {
      findings_.warning(place, "empty-tag", "an empty tag is listed; no page matches it",
                        "'counters' lets pages without a tag pass");
    } else if (is_blank(tag.front()) || is_blank(tag.back())) {
      findings_.error(place, "tag-blank",
                      "the blank belongs to the tag " + in_quotes(tag) + ", which no page has",
                      "write tags without blanks around the comma");
    } else if (tag.size() > VEK_PAGE_TAG_SIZE) {
      findings_.error(
          place, "tag-too-long",
          "tags of pages have at most 16 characters, so no page matches " + in_quotes(tag));
    }
    more = comma != std::string_view::npos;
    if (more) {
      rest.remove_prefix(comma + 1);
      column += comma + 1;
    }
  }
}

void ExpCheck::check_parameter(const ExpLine& line) {
  if (line.parameter.empty()) {
    findings_.error(
        at(line), "empty-parameter",
        std::string("the parameter has no name; ") +
            (line.behind.starts_with('=') ? "it is left out" : "the destination will not start"),
        "write 'plugin_NAME = value'");
    return;
  }
  if (edit_distance(lower_case(line.parameter), "name") <= 1) {
    findings_.warning(at(line), "near-key",
                      "this is a parameter " + in_quotes(line.parameter) + " of the output",
                      "did you mean 'plugin_name'?");
  }
  check_repeated("plugin_" + lower_case(line.parameter), line);
  places_["plugin_" + lower_case(line.parameter)] = at_value(line);
  if (std::count(line.behind.begin(), line.behind.end(), '=') > 1) {
    findings_.error(at_value(line), "cut-value",
                    "the value ends at the second '=' and is " + in_quotes(line.value));
  }
}

void ExpCheck::check_repeated(const std::string& key, const ExpLine& line) {
  const auto [seen, is_first] = seen_.emplace(key, line.number);
  if (is_first) return;
  findings_.warning(at(line), "repeated-key",
                    in_quotes(key) + " was given in line " + std::to_string(seen->second) +
                        " already; the last one counts");
  seen->second = line.number;
}

}  // namespace vek::tools
