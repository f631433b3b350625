// What the exporter tests share: an engine that writes down what reaches it, captured log lines,
// and a folder for configurations.
#ifndef VEK_TESTS_EXPORTER_EXPORTER_FIXTURE_H
#define VEK_TESTS_EXPORTER_EXPORTER_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "exporter/exporters_array.h"
#include "tests/exporter/engine/scripted_engine.h"
#include "tests/support/env_guard.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {

// The engine of VEK_SCRIPTED_ENGINE_PATH, opened once and never closed.
ScriptedEngine& engine();

// The scripted engine is found; nothing of the machine's own environment leaks in.
class ExporterTest : public ::testing::Test {
 protected:
  ExporterTest() { engine() = {}; }

  EnvGuard engine_path_{"FLUENT_BIT_EXPORT_API_SO", VEK_SCRIPTED_ENGINE_PATH};
  EnvGuard loader_path_{"LD_LIBRARY_PATH", nullptr};
  EnvGuard root_{"VEK_ROOT", nullptr};
  EnvGuard dump_{"FLUENTBIT_EXPORT_DUMP_FILE", nullptr};
  TempDir dir_;
  LogCapture log_;
};

// No engine can be found anywhere.
class NoEngineTest : public ExporterTest {
 protected:
  EnvGuard no_engine_{"FLUENT_BIT_EXPORT_API_SO", nullptr};
  EnvGuard no_root_{"VEK_ROOT", "/nonexistent"};
};

}  // namespace vek::test

#endif  // VEK_TESTS_EXPORTER_EXPORTER_FIXTURE_H
