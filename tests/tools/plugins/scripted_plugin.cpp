// A plug-in that writes down how it is called (to the file VEK_SCRIPT_LOG) and misbehaves as
// VEK_SCRIPT says, for tests of hosts.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "data/page_view.h"
#include "exporter/exporter_api.h"
#include "utils/logger.h"

namespace {

int plugin_object;
int pages;

bool scripted(std::string_view what) {
  const char* script = std::getenv("VEK_SCRIPT");
  return script && what == script;
}

__attribute__((format(printf, 1, 2))) void note(const char* format, ...) {
  const char* path = std::getenv("VEK_SCRIPT_LOG");
  std::FILE* file = path ? std::fopen(path, "a") : nullptr;
  if (!file) return;
  va_list args;
  va_start(args, format);
  std::vfprintf(file, format, args);
  va_end(args);
  std::fputc('\n', file);
  std::fclose(file);
}

void* init(vek_dict_t* params) {
  note("init %s", vek_dict_get(params, "fluentbit-config-dir"));
  if (scripted("init fails")) return nullptr;
  return &plugin_object;
}

int connect(void* exporter) {
  note("connect %s", exporter == &plugin_object ? "object" : "?");
  if (scripted("connect logs an error")) VEK_LOGE("cannot reach %s", "anything");
  return scripted("connect fails") ? 0 : 1;
}

int export_data_page(void*, const vek_data_page_t* page,
                     const vek_exporter_schema_manager_t* schemas) {
  const vek::PageView view(page);
  unsigned sum = 0;
  for (const uint8_t byte : view.blocks.bytes()) sum += byte;
  uint64_t time_us = 0;
  const bool is_timed = view.blocks.read(offsetof(vek_counters_block_t, timestamp), time_us);
  if (is_timed && time_us > 1'000'000'000'000) {
    note("page of today, time %lu", static_cast<unsigned long>(time_us));
    return 1;
  }
  note("page %s %s %lu bytes sum %u by %s", view.source_id.data(), view.tag.data(),
       static_cast<unsigned long>(view.total), sum,
       schemas->has_schema_manager ? "manager" : "type system");
  ++pages;
  if (scripted("second page answers 0") && pages == 2) return 0;
  if (scripted("second page logs a failure") && pages == 2) {
    VEK_LOGW("[Fluent Bit Exporter] export for vek data page failed");
  }
  if (scripted("talks")) {
    VEK_LOGE("an error");
    VEK_LOGW("a warning");
    VEK_LOGI("some information");
    VEK_LOGD("a detail");
  }
  return 1;
}

void disconnect(void*) {
  note("disconnect");
  if (scripted("disconnect logs an error")) VEK_LOGE("[Fluent Bit Exporter] cannot finalize API");
}

void destroy(void* exporter) { note("destroy %s", exporter == &plugin_object ? "object" : "?"); }

vek_exporter_api_t record{VEK_EXPORTER_API_VERSION,
                          "scripted",
                          "A plug-in for tests",
                          init,
                          connect,
                          export_data_page,
                          disconnect,
                          destroy,
                          nullptr,
                          nullptr,
                          nullptr,
                          {"fluentbit-config-dir"}};

}  // namespace

extern "C" VEK_API const vek_exporter_api_t* vek_exporter_get_api(void) {
  if (scripted("crashes")) std::abort();
  if (scripted("no record")) return nullptr;
  if (scripted("another version")) record.version = 2;
  if (scripted("no entry points")) record.export_data_page = nullptr;
  return &record;
}
