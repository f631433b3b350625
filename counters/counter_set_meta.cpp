#include <cstdlib>
#include <cstring>

#include "counters/builtin_keys.h"
#include "counters/counter_set_build.h"
#include "utils/logger.h"

namespace {

// A zeroed element behind the last one; it counts only once its texts are in place.
vek_counter_set_meta_element_t* grow(vek_counter_set_t* set) noexcept {
  const bool first = set->num_meta == 0;
  const size_t size = (set->num_meta + 1) * sizeof(vek_counter_set_meta_element_t);
  void* meta = std::realloc(set->meta, size);
  if (!meta) {
    VEK_LOGE("[counter_set] %s of meta_fields failed!", first ? "allocation" : "reallocation");
    return nullptr;
  }
  set->meta = static_cast<vek_counter_set_meta_element_t*>(meta);
  vek_counter_set_meta_element_t* element = &set->meta[set->num_meta];
  std::memset(element, 0, sizeof(*element));
  return element;
}

bool keep(vek_counter_set_t* set, vek_counter_set_meta_element_t* element, bool complete) noexcept {
  if (complete) {
    ++set->num_meta;
    return true;
  }
  std::free(element->name);
  std::free(element->source_name);
  std::free(element->constant);
  return false;
}

bool set_output_name(vek_counter_set_meta_element_t* element, const char* name) noexcept {
  element->name = strdup(name);
  element->name_len = std::strlen(name);
  return element->name != nullptr;
}

void bind_counter(const vek_counter_set_t* set, vek_counter_set_meta_element_t* meta) noexcept {
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (std::strcmp(set->counters[i].name, meta->source_name) != 0) continue;
    meta->element = set->counters[i];
    meta->element.name = meta->name;
    meta->element.name_len = meta->name_len;
    meta->skip = 0;
    return;
  }
}

bool is_exported_name(const vek_counter_set_t* set, const char* name) noexcept {
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (!set->skip[i] && std::strcmp(set->counters[i].name, name) == 0) return true;
  }
  return false;
}

}  // namespace

bool vek::append_meta_alias(vek_counter_set_t* set, const char* source_name,
                            const char* output_name) {
  vek_counter_set_meta_element_t* element = grow(set);
  if (!element) return false;
  element->skip = 1;
  element->builtin = builtin_key(source_name);
  element->kind = element->builtin ? VEK_META_BUILTIN_ALIAS : VEK_META_COUNTER_ALIAS;
  bool complete = set_output_name(element, output_name);
  if (complete && element->kind == VEK_META_COUNTER_ALIAS) {
    element->source_name = strdup(source_name);
    complete = element->source_name != nullptr;
  }
  return keep(set, element, complete);
}

bool vek::append_meta_constant(vek_counter_set_t* set, const char* output_name,
                               const char* constant) {
  vek_counter_set_meta_element_t* element = grow(set);
  if (!element) return false;
  element->kind = VEK_META_CONSTANT;
  element->constant = strdup(constant);
  element->constant_len = std::strlen(constant);
  const bool complete = set_output_name(element, output_name) && element->constant;
  return keep(set, element, complete);
}

void vek::bind_meta_fields(vek_counter_set_t* set) {
  set->num_shown_meta = 0;
  for (uint64_t i = 0; i < set->num_meta; ++i) {
    vek_counter_set_meta_element_t* meta = &set->meta[i];
    if (meta->kind == VEK_META_COUNTER_ALIAS) bind_counter(set, meta);
    if (meta->kind == VEK_META_BUILTIN_ALIAS) meta->skip = 0;
    // Counters win over meta fields, and so do the record's own keys, written or not: receivers
    // tell records apart by them.
    if (is_exported_name(set, meta->name) || builtin_key(meta->name)) {
      meta->skip = 1;
      VEK_LOGW(
          "[counter_set] meta_field '%s' will not be shown during export. A counter with the same "
          "name already exists!",
          meta->name);
    }
    if (!meta->skip) ++set->num_shown_meta;
  }
}
