#include "exporter/exp_config.h"

#include <cstdlib>
#include <cstring>

fluentbit_exporter_config_t* vek_create_exporter_config(void) {
  auto* config = static_cast<fluentbit_exporter_config_t*>(
      std::calloc(1, sizeof(fluentbit_exporter_config_t)));
  if (!config) return nullptr;
  config->name = strdup("default_name");
  config->enable = 1;
  config->plugin_name = strdup("forward");
  config->host = strdup("127.0.0.1");
  config->msgpack_data_layout = strdup("flb_std");
  config->source_tag_list = vek_init_string_array();
  config->params = fluentbit_export_init_parameters();
  return config;
}

void destroy_config(fluentbit_exporter_config_t* config) {
  if (!config) return;
  std::free(config->name);
  std::free(config->plugin_name);
  std::free(config->host);
  std::free(config->counterset);
  std::free(config->fieldset);
  std::free(config->msgpack_data_layout);
  vek_free_string_array(config->source_tag_list);
  fluentbit_export_destroy_parameters(config->params);
  std::free(config);
}
