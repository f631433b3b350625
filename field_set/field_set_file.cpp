// Reading of field-set files: lines become the tables of a field set.

#include <fstream>
#include <sstream>
#include <utility>

#include "counters/meta_field_line.h"
#include "field_set/bound_type.h"
#include "field_set/field_set.h"
#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/strings.h"

namespace vek {
namespace {

constexpr char kDefaultType[] = "default";  // stands for all types
constexpr char kAliasPrefix[] = "meta_field_alias:";
constexpr char kConstantPrefix[] = "meta_field_add:";

// What one line says to each of the current types.
struct LineParts {
  bool is_header = false;
  bool is_token = false;
  bool has_alias = false;
  bool has_constant = false;
  set_file_parser_key_val_pair_t alias{};
  set_file_parser_key_val_pair_t constant{};
};

bool isHeader(const std::string& line) {
  return line.starts_with('[') && line.find(']') == line.size() - 1;
}

// "[a,b]" names a and b, "[]" nothing: lines that follow it are attached to no type.
std::vector<std::string> headerTypes(const std::string& line) {
  std::istringstream pieces(FieldSet::trim_white_space_cpp_string(line.substr(1, line.size() - 2)));
  std::vector<std::string> types;
  for (std::string type; std::getline(pieces, type, ',');) types.push_back(type);
  return types;
}

LineParts readLine(const std::string& line) {
  LineParts parts;
  parts.is_header = isHeader(line);
  const bool is_alias = vek_set_file_parser_check_custom_meta_field(line.c_str(), kAliasPrefix,
                                                                    parts.alias, &parts.has_alias);
  const bool is_constant = vek_set_file_parser_check_custom_meta_field(
      line.c_str(), kConstantPrefix, parts.constant, &parts.has_constant);
  parts.is_token = !parts.is_header && !is_alias && !is_constant;
  return parts;
}

FieldSetLineKind kindOf(const LineParts& parts) {
  if (parts.is_header) return FieldSetLineKind::kHeader;
  if (parts.is_token) return FieldSetLineKind::kToken;
  return parts.has_alias || parts.has_constant ? FieldSetLineKind::kMeta
                                               : FieldSetLineKind::kBadMeta;
}

std::string withoutAnchors(std::string token) {
  std::erase_if(token, [](char c) { return c == '^' || c == '$'; });
  return token;
}

void addTokenLine(FieldSetTables& tables, const std::string& type, const std::string& line) {
  const size_t equals = line.find('=');
  if (equals == std::string::npos) {
    tables.tokens_by_type[type].push_back(line);
    return;
  }
  const std::string token = line.substr(equals + 1);
  tables.tokens_by_type[type].push_back(token);
  tables.meta_fields_aliases_by_type[type][withoutAnchors(token)] = line.substr(0, equals);
}

void addLine(FieldSetTables& tables, const std::string& type, const std::string& line,
             const LineParts& parts) {
  tables.tokens_by_type[type];  // a type named in a header is of interest without any token
  if (parts.has_alias) {
    tables.meta_fields_aliases_by_type[type][parts.alias.key] = parts.alias.val;
  }
  if (parts.has_constant) {
    tables.meta_fields_constants_by_type[type][parts.constant.key] = parts.constant.val;
  }
  if (parts.is_token) addTokenLine(tables, type, line);
}

void dumpPairs(const char* title, const std::map<std::string, FieldSet::NameMap>& table) {
  VEK_LOGD("%s:", title);
  for (const auto& [type, pairs] : table) {
    VEK_LOGD("\ttype = %s:", type.c_str());
    for (const auto& [key, value] : pairs) {
      VEK_LOGD("\t\t key : %s -> val : %s", key.c_str(), value.c_str());
    }
  }
}

void dumpTables(const FieldSetTables& tables) {
  if (!VEK_LOG_ENABLED(VEK_LOG_DEBUG)) return;
  VEK_LOGD("tokens_by_type_:");
  for (const auto& [type, tokens] : tables.tokens_by_type) {
    VEK_LOGD("\ttype = %s:", type.c_str());
    for (const std::string& token : tokens) VEK_LOGD("\t\t%s", token.c_str());
  }
  dumpPairs("meta_fields_aliases_by_type_", tables.meta_fields_aliases_by_type);
  dumpPairs("meta_fields_constants_by_type_", tables.meta_fields_constants_by_type);
}

// Blanks between a token and a comment behind it stay part of the token: trimming comes first, and
// tokens in the field were written against that.
std::string cleanLine(const std::string& raw) {
  const std::string line = FieldSet::trim_white_space_cpp_string(raw);
  return line.substr(0, line.find('#'));
}

// However a file is left, nothing points to the places of its lines any more.
void forgetPlaces(FieldSetState* state) { state->line_places = nullptr; }

}  // namespace

std::string FieldSet::trim_white_space_cpp_string(const std::string& text) {
  std::vector<char> scratch(text.c_str(), text.c_str() + text.size() + 1);
  return trim_white_space(scratch.data());
}

bool FieldSet::LoadFromFile(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    VEK_LOGW("Cannot open field set file %s", path.c_str());
    return false;
  }
  std::vector<std::string> lines;
  std::vector<LinePlace> places;
  size_t number = 0;
  for (std::string raw; std::getline(file, raw);) {
    ++number;
    std::string line = cleanLine(raw);
    if (line.empty()) continue;
    places.push_back({number, raw.find(line) + 1});
    lines.push_back(std::move(line));
  }
  VEK_LOGD("fset file %s", path.c_str());
  for (const std::string& line : lines) VEK_LOGD("%s", line.c_str());
  VEK_LOGD("-----------------------");
  {
    const Owned<FieldSetState, forgetPlaces> forget(state_.get());
    // cppcheck-suppress danglingLifetime
    state_->line_places = &places;
    loadFromLines(std::move(lines));
  }
  UpdateTypesOfInterest();
  return true;
}

// Taken by value: that is the signature hosts build against.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void FieldSet::loadFromLines(std::vector<std::string> lines) {
  FieldSetTables& tables = state_->tables;
  std::vector<std::string> types{kDefaultType};
  for (size_t i = 0; i < lines.size(); ++i) {
    const LineParts parts = readLine(lines[i]);
    if (parts.is_header) types = headerTypes(lines[i]);
    for (const std::string& type : types) addLine(tables, type, lines[i], parts);
    if (state_->observer) {
      const LinePlace place = state_->line_places ? (*state_->line_places)[i] : LinePlace{i + 1, 1};
      state_->observer->on_field_set_line(
          {place.number, place.column, lines[i], kindOf(parts), types});
    }
  }
  state_->tables_changed();
  dumpTables(tables);
}

void FieldSet::UpdateTypesOfInterest() {
  std::vector<std::string>& types = state_->tables.types_of_interest;
  types.clear();
  for (const auto& entry : state_->tables.tokens_by_type) types.push_back(entry.first);
  // Only the first name is looked at: with a type that sorts before "default" the list stays whole,
  // and only listed types leave. Field-set files select types this way.
  if (!types.empty() && types.front() == kDefaultType) types.clear();
}

bool FieldSet::initializeFromFile(const vek_schema_t* schema, const char* path) {
  if (path && !LoadFromFile(path)) return false;
  if (schema) updateWithNewSchema(schema);
  return true;
}

bool FieldSet::initializeFromFile(const vek_type_system_t* type_system, const char* path) {
  if (path && !LoadFromFile(path)) return false;
  updateWithNewSchemas(type_system, false);
  return true;
}

void FieldSet::initializeFromLines(const vek_schema_t* schema, std::vector<std::string> lines) {
  loadFromLines(std::move(lines));
  UpdateTypesOfInterest();
  if (schema) updateWithNewSchema(schema);
}

void FieldSet::initializeFromLines(const vek_type_system_t* type_system,
                                   std::vector<std::string> lines) {
  loadFromLines(std::move(lines));
  UpdateTypesOfInterest();
  updateWithNewSchemas(type_system, false);
}

}  // namespace vek
