// Stands in for what libFuzzer does at each comparison; see CMakeLists.txt.
#include <cstdint>

#define VEK_NO_COMPARE(name, type) \
  __attribute__((no_sanitize("coverage"))) void __wrap___sanitizer_cov_trace_##name(type, type) {}

extern "C" {
VEK_NO_COMPARE(cmp1, uint8_t)
VEK_NO_COMPARE(cmp2, uint16_t)
VEK_NO_COMPARE(cmp4, uint32_t)
VEK_NO_COMPARE(cmp8, uint64_t)
VEK_NO_COMPARE(const_cmp1, uint8_t)
VEK_NO_COMPARE(const_cmp2, uint16_t)
VEK_NO_COMPARE(const_cmp4, uint32_t)
VEK_NO_COMPARE(const_cmp8, uint64_t)
}
