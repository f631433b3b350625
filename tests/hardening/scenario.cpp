#include "tests/hardening/scenario.h"

#include <filesystem>
#include <new>

#include "tests/support/fail_allocation.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

const TempDir& folder() {
  static const TempDir dir;
  return dir;
}

}  // namespace

std::string run(const Scenario& scenario) {
  try {
    return scenario.run();
  } catch (const std::bad_alloc&) {
    return {};
  }
}

const std::string& scratch() { return folder().path(); }

std::string scratch_file(const std::string& name, const std::string& contents) {
  const AllocationsWork own;
  const std::string path = folder().file(name);
  return std::filesystem::exists(path) ? path : folder().write(name, contents);
}

}  // namespace vek::test
