// Scenarios: short pieces of work of the plug-in and of the engine, each of which tells in a text
// what came of it. What makes allocations or system calls fail runs all of them.
#ifndef VEK_TESTS_HARDENING_SCENARIO_H
#define VEK_TESTS_HARDENING_SCENARIO_H

#include <ostream>
#include <string>
#include <vector>

namespace vek::test {

struct Scenario {
  const char* name;
  // What came of the work: the same text every time. Empty where the call told its caller that it
  // failed (null, false, an error code, std::bad_alloc). It may say something else only after it
  // said why in the log.
  std::string (*run)();
};

inline std::ostream& operator<<(std::ostream& out, const Scenario& scenario) {
  return out << scenario.name;
}

std::vector<Scenario> framework_scenarios();  // utils, json, data, counters
std::vector<Scenario> exporter_scenarios();   // schema manager to API record
std::vector<Scenario> engine_scenarios();

// std::bad_alloc tells as well.
std::string run(const Scenario& scenario);

// Files and folders of the test program, made on the first call and removed at its end.
const std::string& scratch();
// A file in it, written on the first call of that name.
std::string scratch_file(const std::string& name, const std::string& contents);

}  // namespace vek::test

#endif  // VEK_TESTS_HARDENING_SCENARIO_H
