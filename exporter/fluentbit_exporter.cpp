#include "exporter/fluentbit_exporter.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "exporter/layout_rule.h"
#include "utils/environment.h"
#include "utils/logger.h"
#include "utils/strings.h"

namespace vek {
namespace {

CString copyOf(const char* text) { return CString(strdup(text ? text : "")); }

// Texts for which memory ran out read as empty.
const char* textOf(const CString& text) { return text ? text.get() : ""; }

bool equal(const char* a, const char* b) { return std::strcmp(a, b) == 0; }

uint64_t readChecks() {
  const char* text = std::getenv("FLUENT_BIT_CHECKS");
  unsigned long checks = 0;
  return text && std::sscanf(text, "%lu", &checks) == 1 ? checks : 0;
}

// Private, and never through a link or into a pipe that someone left in a shared folder.
File createDumpFile(const char* path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int fd = open(path, kFlags, S_IRUSR | S_IWUSR);
  if (fd < 0) return nullptr;
  File file(fdopen(fd, "w"));
  if (!file) {
    const int why = errno;
    close(fd);
    errno = why;
  }
  return file;
}

uint16_t defaultPort(const char* plugin) {
  if (equal(plugin, "influxdb")) return 8086;
  if (equal(plugin, "es")) return 9200;
  return 24224;
}

}  // namespace

FluentBitExporter::FluentBitExporter() : FluentBitExporter(loadRawMsgpackApi()) {}

FluentBitExporter::FluentBitExporter(const RawMsgpackApi& api)
    : plugin_name_(copyOf("forward")),
      host_(copyOf("localhost")),
      api_(api),
      fluent_bit_checks_(readChecks()) {
  if (api_.handle) StartOpaqueProcessing();
}

FluentBitExporter::~FluentBitExporter() {
  VEK_LOGD("[%s]", "~FluentBitExporter");
  host_.reset();
  plugin_name_.reset();
  dump_file_.reset();
  dump_file_path_.reset();
  source_tags_.clear();
  freeCounterSets();
  if (connected_ && api_.handle) {
    try {
      closeConnection();
    } catch (...) {  // the engine's: it must not end the collector
    }
    dlclose(api_.handle);
  }
  msgpack_data_layout_.reset();
  dict_reader_.reset();
  opaque_extractor_.reset();
  freeFieldSet();
}

void FluentBitExporter::updateSetsWithTypeSystem(const vek_type_system_t* type_system) {
  if (!type_system) return;
  const vek_counters_schema_t* const counters = type_system->counters_schema;
  if (counters && vek_counters_schema_number_of_counters(counters) != 0) {
    createCounterSet(counters, counterset_file_);
  }
  if (type_system->num_schemas != 0) createFieldSet(type_system, fieldset_file_);
}

void FluentBitExporter::setLayout(const char* name) {
  msgpack_data_layout_ = copyOf(name);
  record_layout_ =
      msgpack_data_layout_ ? layout_named(msgpack_data_layout_.get()) : RecordLayout::kFlbStd;
}

void FluentBitExporter::setPluginWithDefaultHostAndPort(const char* plugin) {
  plugin_name_ = copyOf(plugin);
  host_ = copyOf("localhost");
  setLayout(kStandardLayout.data());
  port_ = defaultPort(textOf(plugin_name_));
}

void FluentBitExporter::setHostAndPort(const char* host, unsigned short port) {
  host_ = copyOf(host);
  port_ = port;
}

void FluentBitExporter::setExportParams(void* params) {
  export_params_ = static_cast<const fluentbit_export_parameters_t*>(params);
}

void FluentBitExporter::setMsgpackDataLayout(const char* layout) {
  const char* const plugin = textOf(plugin_name_);
  const CString wanted = copyOf(layout);  // the caller's text may be the one that is replaced
  const char* const name = textOf(wanted);
  custom_layout_allowed_ = takes_custom_layout(plugin);
  const bool custom = std::string_view(name) == kCustomLayout;
  if (!custom && std::string_view(name) != kStandardLayout) {
    VEK_LOGW(
        "[Fluent Bit Exporter] Msgpack data layout should be   flb_std' or 'custom', "
        "provided '%s'.",
        name);
    setLayout(kStandardLayout.data());
    VEK_LOGI("[Fluent Bit Exporter] Using '%s' layout'.", kStandardLayout.data());
  } else if (!custom_layout_allowed_) {
    if (custom) {
      VEK_LOGW(
          "[Fluent Bit Exporter] Ingoring '%s' msgpack data layout. '%s' plugin works only with "
          "'flb_std' layout.",
          name, plugin);
    }
    VEK_LOGI("[Fluent Bit Exporter] Setting 'flb_std' msgpack data layout.");
    setLayout(kStandardLayout.data());
  } else {
    VEK_LOGI("[Fluent Bit Exporter] Setting '%s' msgpack data layout.", name);
    setLayout(name);
    if (!msgpack_data_layout_) {
      VEK_LOGE("[Fluent Bit Exporter] out of memory: '%s' layout is not set", name);
    }
  }
}

void FluentBitExporter::OpenDumpFile() {
  const char* const stem = path_from_environment("FLUENTBIT_EXPORT_DUMP_FILE");
  if (!stem) return;
  dump_file_path_.reset(vek_expand_string_template("%s_%s", stem, textOf(plugin_name_)));
  if (!dump_file_path_) {
    VEK_LOGE("Cannot open dump file '%s_%s'", stem, textOf(plugin_name_));
    return;
  }
  dump_file_ = createDumpFile(dump_file_path_.get());
  if (!dump_file_) {
    VEK_LOGE("Cannot open dump file '%s'. error: %s", dump_file_path_.get(), std::strerror(errno));
    dump_file_path_.reset();
  }
}

bool FluentBitExporter::connectToFlb() {
  if (!api_.handle) return false;
  const std::string port = std::to_string(port_);
  const char* const kind = counter_set_ ? "cntr" : "evnt";
  void* const context = api_.init ? api_.init(textOf(plugin_name_), textOf(host_), port.c_str(),
                                              export_params_, kind, "evnt")
                                  : nullptr;
  if (!context) {
    VEK_LOGE("[Fluent Bit Exporter] cannot initialize API");
    return false;
  }
  flb_ctx_ = context;
  connected_ = true;
  VEK_LOGI("[FluentBitExporter] Connected to internal FluentBit for destination '%s'",
           textOf(plugin_name_));
  return true;
}

bool FluentBitExporter::closeConnection() {
  VEK_LOGD("[%s]", "closeConnection");
  if (!api_.handle) return false;
  if (!api_.finalize || api_.finalize(flb_ctx_) != 0) {
    VEK_LOGE("[Fluent Bit Exporter] cannot finalize API");
    return false;
  }
  flb_ctx_ = nullptr;
  connected_ = false;
  return true;
}

bool FluentBitExporter::exportMsgpackBuffer(const msgpack_sbuffer* buffer) {
  if (!api_.add_data || !buffer || !flb_ctx_) {
    VEK_LOGE("[Fluent Bit Export] [%s] Cannot send data", "exportMsgpackBuffer");
    return false;
  }
  api_.add_data(flb_ctx_, buffer->data, buffer->size);
  return true;
}

}  // namespace vek
