// An engine whose ledger is what VEK_LEDGER says, for tests of those who read it.
#include <cstdio>
#include <cstdlib>

#include "utils/export.h"
#include "utils/export_parameters.h"

namespace {
int context;
}

extern "C" {

VEK_API void* init(const char*, const char*, const char*, const fluentbit_export_parameters_t*,
                   const char*, const char*) {
  return &context;
}
VEK_API int add_data(void*, const void*, size_t) { return 0; }
VEK_API int finalize(void*) { return 0; }
VEK_API int raw_msgpack_api_ledger(char* out, size_t size) {
  return std::snprintf(out, size, "%s", std::getenv("VEK_LEDGER"));
}
}
