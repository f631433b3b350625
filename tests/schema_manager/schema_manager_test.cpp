#include "schema_manager/schema_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"
#include "tests/support/temp_dir.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using data::SchemaId;

constexpr const char* kId = "00112233445566778899aabbccddeeff";

SchemaId idOf(const std::string& text) {
  uint8_t bytes[VEK_SCHEMA_ID_SIZE] = {};
  EXPECT_EQ(vek_schema_from_id_string(text.c_str(), bytes), 1);
  return SchemaId(bytes);
}

std::string thrownBy(const std::function<void()>& body) {
  try {
    body();
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "nothing";
}

class Manager : public ::testing::Test {
 protected:
  std::string schemaFile(const std::string& id, const std::string& document) {
    return dir_.write("schema_" + id + ".json", document);
  }
  // Each limit of a message is the process's, so what looks at one runs in a process of its own.
  void alone(const std::function<void()>& body) {
    const ChildResult result = run_in_child(body);
    EXPECT_EQ(result.exit_code, 0) << result.standard_output << result.standard_error;
  }
  // The manager's own lines of a level.
  std::vector<std::string> talk(int level) const {
    std::vector<std::string> lines;
    for (const std::string& line : log_.at(level)) {
      if (line.starts_with("[schema manager]")) lines.push_back(line);
    }
    return lines;
  }

  TempDir dir_;
  LogCapture log_;
  SchemaManager manager_;
};

TEST_F(Manager, HasABuiltinSchemaOfAllBuiltinTypes) {
  const vek_schema_t* builtin = manager_.getBuiltinSchema();
  ASSERT_NE(builtin, nullptr);
  EXPECT_STREQ(builtin->provider_name, "<built-in>");
  EXPECT_EQ(builtin->provider_version, 1281u);
  EXPECT_EQ(builtin->num_types, 22);
  EXPECT_NE(vek_schema_find_type_definition(builtin, "timestamp"), nullptr);
}

TEST_F(Manager, SaysOnceInTenSecondsThatItHasNoDirectory) {
  alone([&] {
    EXPECT_EQ(manager_.getCountersSchema(idOf(kId)), nullptr);
    EXPECT_EQ(manager_.getCountersSchema(idOf(kId)), nullptr);
    const std::string line =
        "[schema manager] schema path is unset, cannot find counters schema " + std::string(kId);
    EXPECT_THAT(talk(3), ElementsAre(line));
    // Events have a limit of their own and say "counters" all the same.
    EXPECT_EQ(manager_.getEventsSchema(idOf(kId)), nullptr);
    EXPECT_EQ(manager_.getEventsSchema(idOf(kId)), nullptr);
    EXPECT_THAT(talk(3), ElementsAre(line, line));
  });
}

TEST_F(Manager, SaysOnceInTenSecondsWhatItCouldNotLoad) {
  alone([&] {
    manager_.setSchemaDir(dir_.path());
    const std::string path = dir_.file("schema_" + std::string(kId) + ".json");
    for (int i = 0; i < 2; ++i) EXPECT_EQ(manager_.getCountersSchema(idOf(kId)), nullptr);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(manager_.getEventsSchema(idOf(kId)), nullptr);
    EXPECT_THAT(talk(4), ElementsAre("[schema manager] no counters schema loaded from " + path,
                                     "[schema manager] no events schema loaded from " + path));
  });
}

TEST_F(Manager, CountsOnlyLinesThatAreWrittenTowardsTheLimit) {
  alone([&] {
    vek_set_log_level(0);
    manager_.getCountersSchema(idOf(kId));
    vek_set_log_level(7);
    manager_.getCountersSchema(idOf(kId));
    EXPECT_THAT(talk(3), ::testing::SizeIs(1));
  });
}

TEST_F(Manager, PutsASlashBehindItsDirectoryWhateverItEndsWith) {
  alone([&] {
    manager_.setSchemaDir("/nonexistent/");
    manager_.getCountersSchema(idOf(kId));
    EXPECT_THAT(talk(4), ElementsAre("[schema manager] no counters schema loaded from "
                                     "/nonexistent//schema_" +
                                     std::string(kId) + ".json"));
  });
  schemaFile(kId, countersDocument({"rx"}));
  manager_.setSchemaDir(dir_.path() + "/");
  EXPECT_NE(manager_.getCountersSchema(idOf(kId)), nullptr);
}

TEST_F(Manager, LoadsACountersSchemaOnce) {
  const std::string file = schemaFile(kId, countersDocument({"rx", "tx"}));
  manager_.setSchemaDir(dir_.path());
  const auto first = manager_.getCountersSchema(idOf(kId));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(vek_counters_schema_number_of_counters(first.get()), 2u);
  std::filesystem::remove(file);
  EXPECT_EQ(manager_.getCountersSchema(idOf(kId)), first);
}

TEST_F(Manager, LoadsASchemaThatArrivesAfterAFailure) {
  manager_.setSchemaDir(dir_.path());
  EXPECT_EQ(manager_.getCountersSchema(idOf(kId)), nullptr);
  EXPECT_EQ(manager_.getEventsSchema(idOf(kId)), nullptr);
  schemaFile(kId, countersDocument({"rx"}));
  EXPECT_NE(manager_.getCountersSchema(idOf(kId)), nullptr);
  schemaFile(kId, eventsDocument("port", "uint64_t"));
  EXPECT_NE(manager_.getEventsSchema(idOf(kId)), nullptr);
}

TEST_F(Manager, LooksIntoANewDirectoryForLaterLoadsOnly) {
  schemaFile(kId, countersDocument({"rx"}));
  manager_.setSchemaDir(dir_.path());
  const auto first = manager_.getCountersSchema(idOf(kId));
  manager_.setSchemaDir("/nonexistent");
  EXPECT_EQ(manager_.getCountersSchema(idOf(kId)), first);
  EXPECT_EQ(manager_.getEventsSchema(idOf(kId)), nullptr);
}

TEST_F(Manager, RefusesWhatIsNoSchema) {
  manager_.setSchemaDir(dir_.path());
  for (const std::string document : {"", "{", "[]", "{}", "not json"}) {
    schemaFile(kId, document);
    EXPECT_EQ(manager_.getCountersSchema(idOf(kId)), nullptr) << document;
    EXPECT_EQ(manager_.getEventsSchema(idOf(kId)), nullptr) << document;
  }
}

TEST_F(Manager, ResolvesBuiltinTypesOfALoadedEventsSchema) {
  schemaFile(kId, eventsDocument("port", "uint64_t"));
  manager_.setSchemaDir(dir_.path());
  const auto schema = manager_.getEventsSchema(idOf(kId));
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(schema->parent, manager_.getBuiltinSchema());
  EXPECT_NE(vek_schema_find_type_definition(schema.get(), "uint64_t"), nullptr);
}

TEST_F(Manager, LeavesBehindSchemasThatStayUsable) {
  schemaFile(kId, eventsDocument("port", "uint64_t"));
  auto manager = std::make_unique<SchemaManager>();
  manager->setSchemaDir(dir_.path());
  const auto events = manager->getEventsSchema(idOf(kId));
  manager->appendTypeSystem(typeSystemDocument({"rx"}, "link"));
  const std::string counters_id = countersIdOf({"rx"});
  const auto counters = manager->getCountersSchema(idOf(counters_id));
  manager.reset();
  EXPECT_NE(vek_schema_find_type_definition(events.get(), "uint64_t"), nullptr);
  EXPECT_EQ(vek_counters_schema_number_of_counters(counters.get()), 1u);
}

TEST_F(Manager, FindsTheSchemasOfATypeSystem) {
  manager_.appendTypeSystem(typeSystemDocument({"rx"}, "link"));
  const auto counters = manager_.getCountersSchema(idOf(countersIdOf({"rx"})));
  ASSERT_NE(counters, nullptr);
  EXPECT_NE(vek_counters_schema_get_counter_by_name(counters.get(), "rx"), nullptr);
  EXPECT_THAT(talk(3), IsEmpty());
}

TEST_F(Manager, SharesATypeSystemWithWhomItLendsItsSchemas) {
  OwnedTypeSystem made = typeSystem({"rx"});
  const std::shared_ptr<const vek_type_system_t> type_system(std::move(made));
  manager_.appendTypeSystem(type_system);
  const auto schema = manager_.getCountersSchema(idOf(countersIdOf({"rx"})));
  EXPECT_EQ(schema.get(), type_system->counters_schema);
  EXPECT_FALSE(schema.owner_before(type_system));
  EXPECT_FALSE(type_system.owner_before(schema));
}

TEST_F(Manager, TakesTheDigestThatATypeSystemKeeps) {
  OwnedTypeSystem made = typeSystem({"rx"});
  vek_schema_from_id_string(kId, made->counters_schema_digest);
  const std::shared_ptr<const vek_type_system_t> type_system(std::move(made));
  manager_.appendTypeSystem(type_system);
  EXPECT_NE(manager_.getCountersSchema(idOf(kId)), nullptr);
  EXPECT_EQ(manager_.getCountersSchema(idOf(countersIdOf({"rx"}))), nullptr);
}

TEST_F(Manager, FindsEventsByTheirDigestAndWorksItOutWhereItIsMissing) {
  OwnedTypeSystem made(vek_create_type_system());
  vek_schema_t* known = addEvents(*made, "a", "uint64_t");
  vek_schema_t* fresh = addEvents(*made, "b", "uint64_t");
  ASSERT_NE(fresh, nullptr);
  vek_schema_from_id_string(kId, known->digest);
  vek_reset_schema_id(fresh->digest);
  uint8_t digest[VEK_SCHEMA_ID_SIZE];
  ASSERT_TRUE(vek_schema_extract_id(fresh, digest));
  manager_.appendTypeSystem(std::shared_ptr<const vek_type_system_t>(std::move(made)));
  EXPECT_EQ(manager_.getEventsSchema(idOf(kId)).get(), known);
  EXPECT_EQ(manager_.getEventsSchema(SchemaId(digest)).get(), fresh);
}

TEST_F(Manager, KeepsTheFirstSchemaOfAnIdentifier) {
  manager_.appendTypeSystem(typeSystemDocument({"rx"}, "link"));
  const auto first = manager_.getCountersSchema(idOf(countersIdOf({"rx"})));
  manager_.appendTypeSystem(typeSystemDocument({"rx"}, "link"));
  EXPECT_EQ(manager_.getCountersSchema(idOf(countersIdOf({"rx"}))), first);
}

TEST_F(Manager, IgnoresNoTypeSystem) {
  log_.clear();
  manager_.appendTypeSystem(std::shared_ptr<const vek_type_system_t>());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Manager, ThrowsWhatIsWrongWithATypeSystem) {
  EXPECT_EQ(thrownBy([&] { manager_.appendTypeSystem("{"); }),
            "[schema manager] failed parsing schema string");
  EXPECT_EQ(thrownBy([&] { manager_.appendTypeSystem("[]"); }),
            "[schema manager] failed decoding type system json");
  // A schema without types has no identifier.
  OwnedTypeSystem bare(vek_create_type_system());
  vek_schema_t* schema = vek_type_system_add_schema(bare.get(), "bare", 1, nullptr);
  vek_reset_schema_id(schema->digest);
  const std::shared_ptr<const vek_type_system_t> shared(std::move(bare));
  EXPECT_EQ(thrownBy([&] { manager_.appendTypeSystem(shared); }),
            "[schema manager] failed to extract schema identifier");
}

// Only lack of memory keeps counters from having an identifier.
TEST_F(Manager, ThrowsForCountersWithoutAnIdentifier) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  vek_set_log_level(0);
  bool thrown = false;
  for (unsigned n = 1; !thrown; ++n) {
    SchemaManager manager;
    const std::shared_ptr<const vek_type_system_t> shared(typeSystem({"rx"}));
    FailAllocation failing(n);
    std::string failure;
    try {
      manager.appendTypeSystem(shared);
    } catch (const std::bad_alloc&) {
      failure = "no memory";
    } catch (const std::runtime_error& error) {
      failing.disarm();
      failure = error.what();
    }
    if (!failing.disarm() && failure.empty()) break;
    thrown = failure == "[schema manager] failed to extract counters schema identifier";
  }
  EXPECT_TRUE(thrown);
}

TEST_F(Manager, ServesThreadsAtOnce) {
  vek_set_log_level(0);
  schemaFile(kId, countersDocument({"rx"}));
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([this, t] {
      const std::string name = "c" + std::to_string(t);
      for (int i = 0; i < 50; ++i) {
        manager_.setSchemaDir(dir_.path());
        manager_.appendTypeSystem(typeSystemDocument({name}, "link"));
        EXPECT_NE(manager_.getCountersSchema(idOf(kId)), nullptr);
        EXPECT_EQ(manager_.getEventsSchema(idOf("ff" + std::string(30, '0'))), nullptr);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < 8; ++t) {
    const std::string id = countersIdOf({"c" + std::to_string(t)});
    EXPECT_NE(manager_.getCountersSchema(idOf(id)), nullptr);
  }
}

}  // namespace
}  // namespace vek::test
