#include "utils/export_parameters.h"

#include <cstring>
#include <limits>

#include "utils/owned.h"

fluentbit_export_parameters_t* fluentbit_export_init_parameters(void) {
  return static_cast<fluentbit_export_parameters_t*>(
      std::calloc(1, sizeof(fluentbit_export_parameters_t)));
}

bool push_parameter(fluentbit_export_parameters_t* list, const char* name, const char* value) {
  if (!list || !name || !value) return false;
  if (list->count == std::numeric_limits<int32_t>::max()) return false;

  // The copies come first: a failure after the array has grown would still leave it as it was,
  // since only the count says how many pairs there are.
  vek::CString name_copy(strdup(name));
  vek::CString value_copy(strdup(value));
  if (!name_copy || !value_copy) return false;

  const size_t count = static_cast<size_t>(list->count);
  auto* grown = static_cast<fluentbit_export_parameter_t*>(
      std::realloc(list->params, (count + 1) * sizeof(fluentbit_export_parameter_t)));
  if (!grown) return false;
  grown[count] = {name_copy.release(), value_copy.release()};
  list->params = grown;
  ++list->count;
  return true;
}

void fluentbit_export_destroy_parameters(fluentbit_export_parameters_t* list) {
  if (!list) return;
  for (int32_t i = 0; i < list->count; ++i) {
    std::free(list->params[i].name);
    std::free(list->params[i].value);
  }
  std::free(list->params);
  std::free(list);
}
