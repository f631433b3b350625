#include "raw_msgpack_api/parameter_check.h"

#include <gtest/gtest.h>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using test::Engine;
using test::LogCapture;
using test::ParameterList;
using test::ParameterPairs;

struct Case {
  const char* output;
  ParameterPairs parameters;
};

// Whatever init refuses by its parameters alone the check refuses, in the same words; and what init
// takes it takes.
TEST(ParameterCheck, SaysWhatInitSays) {
  const test::TempDir dir;
  const Case kCases[] = {
      {"forward", {}},
      {"forward", {{"Host", "h"}, {"tls", "off"}, {"Retry_Limit", "3"}, {"vek.depth", "9"}}},
      {"FORWARD", {{"Compress", "gzip"}, {"unix_path", "/s"}}},
      {"forward", {{"tls.verfy", "on"}}},
      {"forward", {{"tls.crt_file", "/c"}, {"tls", "on"}}},
      {"forward", {{"Port", "99999"}}},
      {"forward", {{"vek.frame_size", "1"}}},
      {"forward", {{"Password", "p"}}},
      {"forward", {{"vek.fsync", "0"}}},
      {"stdout", {{"Mem_Buf_Limit", "0"}}},
      {"null", {{"vek.grace", "-1"}}},
      {"null", {{"tls.any", "x"}, {"Match", "*"}}},
      {"null", {{"path", "x"}}},
      {"file", {}},
      {"file", {{"path", dir.path()}, {"format", "MSGPACK"}}},
      {"file", {{"path", dir.path()}, {"format", "xml"}}},
      {"file", {{"path", dir.path()}, {"name", "x"}}},
      {"http", {{"vek.engine", "builtin"}}},
      {"http", {{"vek.engine", "none"}}},
      {"http", {{"vek.engine", "process"}, {"vek.grce", "1"}}},
      {"http", {{"vek.engine", "process"}, {"storage.total_limit_size", "much"}}},
  };
  for (const Case& one : kCases) {
    const ParameterList list(one.parameters);
    LogCapture log;
    const bool was_taken = Engine(one.output, one.parameters).context() != nullptr;
    const std::vector<std::string> said = log.errors();
    log.clear();
    EXPECT_EQ(init_would_take(one.output, "127.0.0.1", "0", list.get()), was_taken)
        << one.output << ' ' << testing::PrintToString(one.parameters);
    EXPECT_EQ(log.errors(), said);
  }
}

}  // namespace
}  // namespace vek::engine
