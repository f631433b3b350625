#include "counters/counter_group.h"

#include <cstdlib>
#include <cstring>

#include "utils/logger.h"
#include "utils/owned.h"

namespace {

using Group = vek::Owned<vek_counter_group_t, vek_free_counter_group>;

bool replace_text(char** dst, const char* src) noexcept {
  std::free(*dst);
  *dst = src ? strdup(src) : nullptr;
  return *dst || !src;
}

// Makes room for one counter more; the new slot is null.
bool grow(vek_counter_group_t* group) noexcept {
  const size_t count = static_cast<size_t>(group->num_counters) + 1;
  void* array = std::realloc(group->counters, count * sizeof(vek_counter_info_t*));
  if (!array) {
    VEK_LOGE("Failed to allocate array of %d counter pointers", static_cast<int>(count));
    return false;
  }
  group->counters = static_cast<vek_counter_info_t**>(array);
  group->counters[count - 1] = nullptr;
  return true;
}

bool provider_accepts(vek_counter_group_t* group, const vek_counter_info_t* counter) {
  vek_counter_provider_t* provider = group->provider;
  return !provider || !provider->add_counter || provider->add_counter(provider, group, counter);
}

}  // namespace

vek_counter_group_t* vek_create_counter_group(vek_counter_provider_t* provider,
                                              vek_counter_provider_info_t* info) {
  Group group(static_cast<vek_counter_group_t*>(std::calloc(1, sizeof(vek_counter_group_t))));
  if (!group) return nullptr;
  if (provider && provider->create_group && !provider->create_group(provider, info, group.get())) {
    return nullptr;
  }
  group->provider = provider;
  group->info = info;
  if (!replace_text(&group->provider_name, provider ? provider->name : nullptr)) return nullptr;
  if (!replace_text(&group->name, info ? info->name : nullptr)) return nullptr;
  return group.release();
}

bool vek_add_counter_to_group(vek_counter_group_t* group, const vek_counter_info_t* counter) {
  if (!group || !counter || !grow(group)) return false;

  // Some providers count the counter while they vet it, others leave that to us: either way it is
  // counted once.
  const uint32_t count = group->num_counters;
  const bool accepted = provider_accepts(group, counter);
  group->num_counters = count;
  if (!accepted) return false;

  vek_counter_info_t* copy = vek_counter_info_deep_copy(counter);
  if (!copy) {
    VEK_LOGE("Deep copy of the counter failed");
    return false;
  }
  group->counters[count] = copy;
  group->num_counters = count + 1;
  return true;
}

bool vek_start_counting_group(vek_counter_group_t* group) {
  if (!group || !group->provider) return false;
  vek_counter_provider_t* provider = group->provider;
  return !provider->start || provider->start(provider, group);
}

bool vek_stop_counting_group(vek_counter_group_t* group) {
  if (!group || !group->provider) return false;
  vek_counter_provider_t* provider = group->provider;
  return !provider->stop || provider->stop(provider, group, 0);
}

void vek_free_counter_group(vek_counter_group_t* group) {
  if (!group) return;
  for (uint32_t i = 0; group->counters && i < group->num_counters; ++i) {
    vek_destroy_counter_info(group->counters[i]);
    std::free(group->counters[i]);
  }
  std::free(group->name);
  std::free(group->provider_name);
  std::free(group->counters);
  std::free(group);
}

void vek_destroy_counter_group(vek_counter_group_t* group) { vek_free_counter_group(group); }
