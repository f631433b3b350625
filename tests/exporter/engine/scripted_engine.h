// ScriptedEngine: an engine library that writes down what it is asked, and answers as it is told.
//
// The test opens the library itself and keeps it open, so that what was written down outlives the
// exporters that opened it too.
#ifndef VEK_TESTS_EXPORTER_ENGINE_SCRIPTED_ENGINE_H
#define VEK_TESTS_EXPORTER_ENGINE_SCRIPTED_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vek::test {

struct EngineInit {
  std::string plugin;
  std::string host;
  std::string port;
  std::vector<std::pair<std::string, std::string>> params;
  std::string kind;
  std::string second_tag;
};

struct ScriptedEngine {
  std::vector<std::string> calls;  // "init forward", "add_data 1", "finalize 1": context numbers
  std::vector<EngineInit> inits;
  std::vector<std::vector<uint8_t>> records;
  int contexts = 0;

  bool refuse_init = false;
  std::string refuse_plugin;  // refuse_init for this plug-in alone
  size_t refuse_nth = 0;      // refuse_init for this call of "init" alone; the first is 1
  int finalize_result = 0;    // for a context; null always answers 1
  bool throws = false;
  std::string throws_from;  // throws for this entry point alone
};

}  // namespace vek::test

// The one engine of the library.
extern "C" vek::test::ScriptedEngine* scripted_engine();

#endif  // VEK_TESTS_EXPORTER_ENGINE_SCRIPTED_ENGINE_H
