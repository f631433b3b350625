#include "tests/field_set/plain_events.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include "utils/filters.h"

namespace vek::test {
namespace {

const std::map<int, std::string>& meta_names() {
  static const std::map<int, std::string> names{
      {0, "timestamp"}, {1, "type"}, {2, "type_name"}, {3, "source"}};
  return names;
}

template <typename T>
T load(const uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

void flatten(const vek_type_definition_t& type, const std::string& prefix, uint64_t base,
             std::vector<PlainField>& out, std::set<std::string>& names) {
  for (uint16_t i = 0; i < type.num_fields; ++i) {
    const vek_type_field_definition_t& field = *type.fields[i];
    names.insert(field.type_name);
    const std::string path =
        prefix.empty() ? field.field_name : prefix + "." + std::string(field.field_name);
    const uint32_t id = field.type->id;
    const auto append = [&](const std::string& name, uint64_t at) {
      out.push_back({name, id, field.array_length, field.offset + at, false});
    };
    if (field.array_length == 1) {
      if (id != 0) {
        append(path, base);
      } else {
        flatten(*field.type, path, base + field.offset, out, names);
      }
    } else if (id == 2 || id == 7) {
      append(path, base);
    } else {
      for (uint32_t j = 0; j < field.array_length; ++j) {
        const std::string element = path + "." + std::to_string(j);
        if (id != 0) {
          append(element, base + j * field.type_size);
        } else {
          flatten(*field.type, element, base + field.offset + j * field.type_size, out, names);
        }
      }
    }
  }
}

void pack_text(msgpack_packer* packer, const std::string& text) {
  msgpack_pack_str(packer, text.size());
  msgpack_pack_str_body(packer, text.data(), text.size());
}

void pack_pair(msgpack_packer* packer, const std::string& key, const std::string& value) {
  pack_text(packer, key);
  pack_text(packer, value);
}

void pack_chars(msgpack_packer* packer, const uint8_t* chars, uint64_t length) {
  length = std::min<uint64_t>(length, 65535);
  std::vector<char> copy(length + 1, '\0');
  for (uint64_t i = 0; i < length; ++i) copy[i] = static_cast<char>(chars[i]);
  pack_text(packer, copy.data());
}

void pack_value(msgpack_packer* packer, const PlainField& field, const PlainText& text,
                const uint8_t* event, const std::string& name) {
  const uint8_t* value = event + field.offset;
  switch (field.type_id) {
    case 1:
      *value != 0 ? msgpack_pack_true(packer) : msgpack_pack_false(packer);
      return;
    case 2:
    case 7:
      return pack_chars(packer, value, text.length);
    case 3:
    case 15:
      msgpack_pack_short(packer, load<int16_t>(value));
      return;
    case 4:
    case 16:
      msgpack_pack_int(packer, load<int32_t>(value));
      return;
    case 5:
    case 6:
    case 17:
      msgpack_pack_int64(packer, load<int64_t>(value));
      return;
    case 14:
      msgpack_pack_int8(packer, load<int8_t>(value));
      return;
    case 8:
    case 19:
      msgpack_pack_unsigned_short(packer, load<uint16_t>(value));
      return;
    case 9:
    case 20:
      msgpack_pack_unsigned_int(packer, load<uint32_t>(value));
      return;
    case 18:
      msgpack_pack_uint8(packer, load<uint8_t>(value));
      return;
    case 12:
      msgpack_pack_float(packer, load<float>(value));
      return;
    case 13:
      msgpack_pack_double(packer, load<double>(value));
      return;
    case 21:
      if (name == "port_guid" || name == "node_guid" || name == "GUID") {
        char hex[32];
        std::snprintf(hex, sizeof(hex), "0x%" PRIx64, load<uint64_t>(value));
        pack_text(packer, hex);
        return;
      }
      [[fallthrough]];
    case 10:
    case 11:
    case 22:
      msgpack_pack_uint64(packer, load<uint64_t>(value));
      return;
    default:
      pack_text(packer, "0");
  }
}

bool fits_word(const PlainField& field, const PlainType& type) {
  return field.offset + 8 <= type.size;
}

// The source that a "guid" field supplies; empty when there is none.
std::string guid_source(const PlainType& type, const uint8_t* event) {
  for (const PlainField& field : type.fields) {
    std::string name = field.name;
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (name.find("guid") == std::string::npos || !fits_word(field, type)) continue;
    char text[32];
    std::snprintf(text, sizeof(text), "0x%012" PRIx64, load<uint64_t>(event + field.offset));
    return text;
  }
  return {};
}

void pack_meta(msgpack_packer* packer, int index, const std::string& key,
               const std::map<std::string, bool>& used, const PlainType& type,
               uint64_t timestamp_us, const char* source) {
  if (key.empty() || used.at(key)) return;
  if (index == 0) {
    pack_text(packer, key);
    msgpack_pack_uint64(packer, timestamp_us);
  } else if (index == 1) {
    pack_pair(packer, key, "events");
  } else if (index == 2) {
    pack_pair(packer, key, type.name);
  } else if (source) {
    pack_pair(packer, key, source);
  }
}

}  // namespace

bool PlainFieldSet::is_of_interest(const std::string& name, const std::set<std::string>& names) {
  if (tables_.types_of_interest.empty()) return true;
  for (const std::string& entry : tables_.types_of_interest) {
    const bool pattern = !entry.empty() && entry.back() == '*';
    if (pattern && name.compare(0, entry.size() - 1, entry, 0, entry.size() - 1) == 0) {
      if (tables_.tokens.count(entry)) tables_.tokens[name] = tables_.tokens.at(entry);
      if (tables_.constants.count(entry)) tables_.constants[name] = tables_.constants.at(entry);
      if (tables_.aliases.count(entry)) tables_.aliases[name] = tables_.aliases.at(entry);
      return true;
    }
    if (name == entry || names.count(entry)) return true;
  }
  return false;
}

void PlainFieldSet::filter(PlainType& type, const std::vector<std::string>& tokens) {
  type.num_included = 0;
  if (tokens.empty()) {
    type.num_included = type.fields.size();
    return;
  }
  for (PlainField& field : type.fields) field.skip = true;
  for (PlainField& field : type.fields) {
    for (const std::string& token : tokens) {
      vek_filter_token_t incl[32];
      vek_filter_token_t excl[32];
      uint32_t incl_count = 0;
      uint32_t excl_count = 0;
      if (!vek_filter_get_incl_excl_tokens(token.c_str(), incl, &incl_count, excl, &excl_count)) {
        continue;
      }
      if (incl_count > 0) {
        if (vek_filter_have_match(incl, incl_count, excl, excl_count, field.name.c_str()) &&
            field.skip) {
          field.skip = false;
          ++type.num_included;
        }
      } else if (excl_count > 0 &&
                 vek_filter_have_match(excl, excl_count, incl, 0, field.name.c_str())) {
        if (!field.skip) --type.num_included;
        field.skip = true;
        break;
      }
    }
  }
}

PlainType PlainFieldSet::bind(const vek_type_definition_t& definition) {
  PlainType type;
  type.name = definition.name;
  type.size = definition.size;
  std::set<std::string> names;
  flatten(definition, "", 0, type.fields, names);
  if (is_of_interest(type.name, names)) {
    std::vector<std::string> tokens;
    if (!tables_.types_of_interest.empty()) tokens = tables_.tokens[type.name];
    if (tables_.tokens.count("default")) {
      const std::vector<std::string> common = tables_.tokens.at("default");
      tokens.insert(tokens.end(), common.begin(), common.end());
    }
    if (tables_.aliases.count(type.name)) {
      const auto& aliases = tables_.aliases.at(type.name);
      for (size_t i = 0; i < type.fields.size(); ++i) {
        if (aliases.count(type.fields[i].name)) type.aliased_fields.push_back(i);
      }
      for (const auto& [index, name] : meta_names()) {
        if (aliases.count(name)) type.aliased_meta_fields.push_back(index);
      }
    }
    filter(type, tokens);
  } else {
    for (PlainField& field : type.fields) field.skip = true;
  }
  type.skip_empty_strings = type.name.rfind("kelvra_smi_event", 0) == 0;
  return type;
}

void PlainFieldSet::pack(msgpack_sbuffer* out, const PlainType& type, const uint8_t* event,
                         uint64_t timestamp_us, const char* source, const std::string& layout) {
  if (type.num_included == 0) return;
  const bool is_flb_std = layout == "flb_std";
  std::vector<PlainText> texts(type.fields.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    const PlainField& field = type.fields[i];
    if (field.skip || field.type_id != 2) continue;
    const auto* chars = reinterpret_cast<const char*>(event + field.offset);
    texts[i].length = strnlen(chars, std::min<uint32_t>(field.array_length, 65535));
    texts[i].left_out = is_flb_std && type.skip_empty_strings && texts[i].length == 0;
  }
  const std::string guid = guid_source(type, event);
  if (!guid.empty()) source = guid.c_str();

  msgpack_packer packer;
  msgpack_packer_init(&packer, out, msgpack_sbuffer_write);
  if (is_flb_std) {
    pack_flb_std(&packer, type, texts, event, timestamp_us, source);
  } else {
    pack_custom(&packer, type, event, timestamp_us, source);
  }
  for (size_t i = 0; i < texts.size(); ++i) {
    const PlainField& field = type.fields[i];
    if (field.skip || texts[i].left_out) continue;
    pack_text(&packer, field.name);
    pack_value(&packer, field, texts[i], event, field.name);
  }
}

void PlainFieldSet::pack_flb_std(msgpack_packer* packer, const PlainType& type,
                                 const std::vector<PlainText>& texts, const uint8_t* event,
                                 uint64_t timestamp_us, const char* source) {
  msgpack_pack_array(packer, 2);
  msgpack_pack_double(packer, static_cast<double>(timestamp_us / 1000000) +
                                  static_cast<double>(timestamp_us % 1000000) / 1e6);

  const auto aliases = tables_.aliases.find(type.name);
  const auto constants = tables_.constants.find(type.name);
  std::map<std::string, bool> used;
  for (const auto& [index, name] : meta_names()) used[name] = false;
  for (const int index : type.aliased_meta_fields) {
    used[aliases->second.at(meta_names().at(index))] = false;
  }
  uint64_t empty = 0;
  for (size_t i = 0; i < texts.size(); ++i) {
    const auto key = used.find(type.fields[i].name);
    if (key != used.end()) key->second = !type.fields[i].skip;
    if (texts[i].left_out) ++empty;
  }
  uint64_t pairs = type.aliased_fields.size() + type.num_included - empty;
  if (constants != tables_.constants.end()) pairs += constants->second.size();
  for (const auto& [key, taken] : used) pairs += taken ? 0 : 1;
  msgpack_pack_map(packer, pairs);

  for (const auto& [index, name] : meta_names()) {
    pack_meta(packer, index, name, used, type, timestamp_us, source);
  }
  for (const int index : type.aliased_meta_fields) {
    pack_meta(packer, index, aliases->second.at(meta_names().at(index)), used, type, timestamp_us,
              source);
  }
  for (const size_t position : type.aliased_fields) {
    const PlainField& field = type.fields[position];
    const std::string& alias = aliases->second.at(field.name);
    pack_text(packer, alias);
    pack_value(packer, field, texts[position], event, alias);
  }
  if (constants == tables_.constants.end()) return;
  for (const auto& [key, value] : constants->second) pack_pair(packer, key, value);
}

void PlainFieldSet::pack_custom(msgpack_packer* packer, const PlainType& type, const uint8_t* event,
                                uint64_t timestamp_us, const char* source) {
  uint64_t time = 0;
  for (const PlainField& field : type.fields) {
    if (field.name == "timestamp" && fits_word(field, type)) {
      time = load<uint64_t>(event + field.offset);
    }
  }
  msgpack_pack_map(packer, 5);
  pack_text(packer, "timestamp");
  msgpack_pack_uint64(packer, time != 0 ? time : timestamp_us);
  pack_pair(packer, "type", "events");
  pack_pair(packer, "type_name", type.name);
  pack_pair(packer, "source", source ? source : "");
  pack_text(packer, "values");
  msgpack_pack_map(packer, type.num_included);
}

}  // namespace vek::test
