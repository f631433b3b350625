#include "tests/hardening/secure_mode.h"

#include <cstdlib>

namespace vek::test {
namespace {

bool g_secure = false;

}  // namespace

SecureMode::SecureMode() { g_secure = true; }
SecureMode::~SecureMode() { g_secure = false; }

}  // namespace vek::test

// Stands in for the C library's.
extern "C" char* secure_getenv(const char* name) noexcept {
  return vek::test::g_secure ? nullptr : std::getenv(name);
}
