#include "raw_msgpack_api/parameter_check.h"

#include <array>
#include <span>

#include "raw_msgpack_api/engine_choice.h"
#include "raw_msgpack_api/file_config.h"
#include "raw_msgpack_api/fluent_bit_config.h"
#include "raw_msgpack_api/forward_config.h"
#include "raw_msgpack_api/spool_settings.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

// A built-in output with parameters of its own; the others have none.
struct Rules {
  std::string_view output;
  std::span<const std::string_view> parameters;
  bool (*take)(const Settings&, const Parameters&);
};
constexpr std::array<Rules, 2> kRules = {
    {{kFileOutput, kFileParameters,
      [](const Settings& settings, const Parameters& parameters) {
        return read_file_config(settings, parameters).has_value();
      }},
     {kForwardOutput, kForwardParameters,
      [](const Settings& settings, const Parameters& parameters) {
        return read_forward_config(settings, parameters).has_value();
      }}}};

bool built_in_would_take(const Settings& settings, std::string_view output,
                         const Parameters& parameters) {
  for (const Rules& rules : kRules) {
    if (!same_word(rules.output, output)) continue;
    return parameters.all_known(rules.output, rules.parameters) && rules.take(settings, parameters);
  }
  return parameters.all_known(output, {});
}

}  // namespace

bool init_would_take(const std::string& plugin, const std::string& host, const std::string& port,
                     const fluentbit_export_parameters_t* params) {
  const Parameters parameters(params);
  const bool is_built_in = is_built_in_output(plugin);
  const auto engines = engines_to_try(parameters, is_built_in);
  if (!engines) return false;
  const bool wants_built_in = engines->front() == Engine::kBuiltin;
  if (wants_built_in && !is_built_in) {
    report_no_output(plugin);
    return false;
  }
  const auto settings = read_settings(parameters, {plugin, host, port, {}});
  if (!settings || !read_spool_settings(parameters, settings->name)) return false;
  if (wants_built_in) return built_in_would_take(*settings, plugin, parameters);
  return parameters.all_engine_names_known(plugin, kFluentBitParameters) &&
         read_feed_config(*settings, parameters, {}).has_value();
}

}  // namespace vek::engine
