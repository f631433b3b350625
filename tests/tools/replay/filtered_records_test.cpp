#include "tools/replay/filtered_records.h"

#include <gmock/gmock.h>

#include "exporter/exp_file_reader.h"
#include "tests/support/temp_dir.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

using Config = Owned<fluentbit_exporter_config_t, destroy_config>;
using Filtered = std::vector<std::pair<std::string, uint64_t>>;

// 10 records of hall_a, 20 of hall_b, 5 without a tag.
OfferedRecords offered() { return {{{"hall_a", 10}, {"hall_b", 20}, {"", 5}}, false}; }

struct Case {
  const char* lines;
  uint64_t accepted;
  Filtered filtered;
};

std::optional<Filtered> filtered(const char* lines, uint64_t accepted,
                                 const OfferedRecords& records = offered()) {
  const test::TempDir dir;
  const Config config(vek_create_exporter_config());
  EXPECT_TRUE(read_exp_file(dir.write("a.exp", lines), *config));
  DestinationAccount account;
  account.accepted = accepted;
  add_filtered(*config, records, account);
  return account.filtered;
}

TEST(FilteredRecords, AreThoseThatDidNotComeIn) {
  const Case kCases[] = {
      {"name = x\n", 35, {}},
      {"name = x\n", 30, {{"not_exported", 5}}},
      {"source_tag = hall_b\n", 20, {{"source_tag", 15}}},
      {"source_tag = hall_b\n", 3, {{"source_tag", 15}, {"not_exported", 17}}},
      {"source_tag = hall_a,counters\n", 15, {{"source_tag", 20}}},
      {"source_tag = none\n", 0, {{"source_tag", 35}}},
  };
  for (const Case& one : kCases) {
    EXPECT_EQ(filtered(one.lines, one.accepted), one.filtered) << one.lines << one.accepted;
  }
}

TEST(FilteredRecords, AreNotGuessed) {
  OfferedRecords uncounted = offered();
  uncounted.has_uncounted = true;
  EXPECT_EQ(filtered("name = x\n", 35, uncounted), std::nullopt) << "chunks of records";
  EXPECT_EQ(filtered("plugin_Storage.Path = /s\n", 35), std::nullopt) << "records of another run";
  EXPECT_EQ(filtered("name = x\n", 36), std::nullopt) << "more came in than were offered";
}

}  // namespace
}  // namespace vek::tools
