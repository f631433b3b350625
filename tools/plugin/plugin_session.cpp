#include "tools/plugin/plugin_session.h"

#include "utils/dictionary.h"

namespace vek::tools {

PluginSession::~PluginSession() {
  disconnect();
  if (exporter_) library_.api().destroy(exporter_);
}

bool PluginSession::init(const std::string& config_dir, std::string& problem) {
  const auto create = library_.find<decltype(vek_dict_create)>("vek_dict_create");
  const auto add = library_.find<decltype(vek_dict_add)>("vek_dict_add");
  const auto remove = library_.find<decltype(vek_dict_delete)>("vek_dict_delete");
  if (!create || !add || !remove) {
    problem =
        "the plug-in does not export its dictionary (vek_dict_create, vek_dict_add, "
        "vek_dict_delete)";
    return false;
  }
  vek_dict_t* params = create();
  if (params && add(params, "fluentbit-config-dir", config_dir.c_str())) {
    exporter_ = library_.api().init(params);
  }
  if (params) remove(params);
  if (!exporter_) {
    problem =
        "the plug-in refused to start. Where its engine library is not found, set "
        "FLUENT_BIT_EXPORT_API_SO to the path of libraw_msgpack_api.so; VEK_API_LOG_LEVEL=6 "
        "shows where it is looked for";
  }
  return exporter_ != nullptr;
}

bool PluginSession::connect() {
  connected_ = true;
  return library_.api().connect(exporter_) == 1;
}

bool PluginSession::export_page(const vek_data_page_t* page,
                                const vek_exporter_schema_manager_t& schemas) {
  return library_.api().export_data_page(exporter_, page, &schemas) == 1;
}

void PluginSession::disconnect() {
  if (connected_) library_.api().disconnect(exporter_);
  connected_ = false;
}

}  // namespace vek::tools
