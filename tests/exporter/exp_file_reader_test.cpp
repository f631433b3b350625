#include "exporter/exp_file_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "utils/owned.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using Config = Owned<fluentbit_exporter_config_t, destroy_config>;

// "line:column key|behind|value@column|parameter" of every line that is not empty.
class Watcher : public ExpFileObserver {
 public:
  void on_exp_line(const ExpLine& line) override {
    if (line.text.empty()) return;
    seen.push_back(std::to_string(line.number) + ":" + std::to_string(line.column) + " " +
                   std::string(line.key) + "|" + std::string(line.behind) + "|" +
                   std::string(line.value) + "@" + std::to_string(line.value_column) + "|" +
                   std::string(line.parameter));
  }
  std::vector<std::string> seen;
};

TEST(ExpFileReader, TellsWhatBecameOfEachLine) {
  const TempDir dir;
  const std::string path = dir.write("a.exp",
                                     "# comment\n  hostname=x # c\nport = 7\n\nnmae = y\n"
                                     "source_tag=a,b\nplugin_Tag = t\nplugin_x\nplugin_=x\n"
                                     "host\n");
  const Config config(vek_create_exporter_config());
  Watcher watcher;
  ASSERT_TRUE(read_exp_file(path, *config, &watcher));
  EXPECT_THAT(watcher.seen,
              ElementsAre("2:3 host|name=x|ame=x@8|", "3:1 port| = 7|7@8|", "5:1 ||@0|",
                          "6:1 source_tag|=a,b|a,b@12|", "7:1 plugin_|Tag = t|t@14|Tag",
                          "8:1 plugin_|x|@0|x", "9:1 plugin_|=x|@0|", "10:1 host||@0|"));
  EXPECT_STREQ(config->host, "ame=x");
  EXPECT_EQ(config->port, 7);
  EXPECT_EQ(config->params->count, 2);
}

TEST(ExpFileReader, TriesKeysInTheOrderThatItTells) {
  EXPECT_THAT(exp_keys(),
              ElementsAre("msgpack_data_layout", "plugin_name", "name", "counterset", "fieldset",
                          "host", "enable", "port", "batch_mode", "source_tag", "plugin_"));
}

TEST(ExpFileReader, RefusesWhatCannotBeOpened) {
  const TempDir dir;
  const Config config(vek_create_exporter_config());
  std::vector<std::string> names;
  EXPECT_FALSE(read_exp_file(dir.file("none"), *config));
  EXPECT_FALSE(list_exp_files(dir.file("none"), names));
}

TEST(ExpFileReader, CutsPathsAsTheyAreOpened) {
  EXPECT_EQ(exp_file_path("d", "a.exp"), "d/a.exp");
  EXPECT_EQ(exp_file_path(std::string(200, 'd'), "a.exp"), std::string(127, 'd'));
}

}  // namespace
}  // namespace vek::test
