#include "exporter/exporter_api.h"

#include <limits>
#include <memory>
#include <string>

#include "exporter/exporters_array.h"
#include "utils/keep_errno.h"
#include "utils/logger.h"
#include "utils/strings.h"

namespace {

using vek::FluentBitExportersArray;

FluentBitExportersArray* arrayOf(void* handle) {
  return static_cast<FluentBitExportersArray*>(handle);
}

int parseInterval(const char* text) {
  if (!text) return 0;
  long interval = 0;
  if (!string_to_long(text, &interval)) {
    VEK_LOGW("[Fluent Bit Page Exporter] Failed to convert export interval to long: %s", text);
    return 0;
  }
  if (interval < std::numeric_limits<int32_t>::min() ||
      interval > std::numeric_limits<int32_t>::max()) {
    VEK_LOGW("[Fluent Bit Page Exporter] Export interval value out of int range: %ld", interval);
    return 0;
  }
  return static_cast<int>(interval);
}

void* apiInit(vek_dict_t* params) try {
  const vek::KeepErrno errno_kept;
  const char* dir = vek_dict_get(params, "fluentbit-config-dir");
  if (!dir) return nullptr;
  const int interval = parseInterval(vek_dict_get(params, "fluentbit-export-interval"));
  auto array = std::make_unique<FluentBitExportersArray>(std::string(dir), interval);
  return array->failedToInit() ? nullptr : array.release();
} catch (...) {
  return nullptr;
}

// Only an exception counts as failure: an exporter that could not connect has said so in the log,
// and the others still want their pages.
int apiConnect(void* exporter) try {
  const vek::KeepErrno errno_kept;
  if (!exporter) return 0;
  arrayOf(exporter)->connectEnabledExporters();
  return 1;
} catch (...) {
  return 0;
}

int apiExportDataPage(void* exporter, const vek_data_page_t* page,
                      const vek_exporter_schema_manager_t* schema_manager) try {
  const vek::KeepErrno errno_kept;
  if (!exporter) return 0;
  arrayOf(exporter)->exportDataPage(page, schema_manager);
  return 1;
} catch (...) {
  return 0;
}

void apiDisconnect(void* exporter) try {
  const vek::KeepErrno errno_kept;
  if (exporter) arrayOf(exporter)->disconnectExporters();
} catch (...) {
}

void apiDestroy(void* exporter) try {
  const vek::KeepErrno errno_kept;
  delete arrayOf(exporter);
} catch (...) {
}

vek_dict_t* apiGetCustomOptions(void* exporter) {
  return exporter ? arrayOf(exporter)->customOptions() : nullptr;
}

int32_t apiGetExportInterval(void* exporter) {
  return exporter ? arrayOf(exporter)->exportInterval() : 0;
}

constexpr vek_exporter_api_t kApi = {
    VEK_EXPORTER_API_VERSION,
    "fluentbit_exporter",
    "An exporter for dict data pages sent to fluentbit",
    apiInit,
    apiConnect,
    apiExportDataPage,
    apiDisconnect,
    apiDestroy,
    apiGetCustomOptions,
    nullptr,
    apiGetExportInterval,
    // "fluentbit-export-interval" is read by init, yet collectors are not to offer it.
    {"fluentbit-config-dir"},
};

}  // namespace

const vek_exporter_api_t* vek_exporter_get_api(void) { return &kApi; }
