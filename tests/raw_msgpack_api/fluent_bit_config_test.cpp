#include "raw_msgpack_api/fluent_bit_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

using test::LogCapture;
using test::ParameterPairs;
using test::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

class FluentBitConfigTest : public testing::Test {
 protected:
  FluentBitConfigTest() : folder_(PrivateFolder::make(why_)) {}

  std::optional<FluentBitConfig> read(const ParameterPairs& pairs, const char* output = "http",
                                      const char* host = "", const char* port = "0") {
    const test::ParameterList list(pairs);
    const Parameters parameters(list.get());
    const auto settings = read_settings(parameters, {output, host, port, "cntr"});
    return settings ? read_fluent_bit_config(output, *settings, parameters, *folder_)
                    : std::nullopt;
  }
  // All but those that every output gets.
  Properties properties(const ParameterPairs& pairs, const char* host = "",
                        const char* port = "0") {
    auto config = read(pairs, "http", host, port);
    EXPECT_TRUE(config);
    if (!config) return {};
    Properties out = config->output_properties;
    std::erase_if(out, [](const auto& p) {
      return p.first == "retry_limit" || p.first == "storage.total_limit_size";
    });
    return out;
  }

  std::string why_;
  std::unique_ptr<PrivateFolder> folder_;
};

TEST_F(FluentBitConfigTest, HandsParametersOnInOrderEqualNamesIncluded) {
  EXPECT_THAT(
      properties({{"Header", "A 1"}, {"uri", "/x"}, {"Header", "B 2"}, {"tls.verify", "off"}}),
      ElementsAre(Pair("Header", "A 1"), Pair("uri", "/x"), Pair("Header", "B 2"),
                  Pair("tls.verify", "off")));
}

TEST_F(FluentBitConfigTest, KeepsWhatIsTheEnginesOwn) {
  EXPECT_THAT(properties({{"vek.grace", "1"},
                          {"VEK.engine_path", "/x"},
                          {"tag", "t"},
                          {"mem_buf_limit", "1M"},
                          {"Match", "none"},
                          {"match_regex", "none"},
                          {"empty", ""}}),
              IsEmpty());
}

TEST_F(FluentBitConfigTest, HasHostAndPortOfTheDestinationUnlessAParameterSaysOthers) {
  EXPECT_THAT(properties({}, "h", "81"), ElementsAre(Pair("host", "h"), Pair("port", "81")));
  EXPECT_THAT(properties({}, "h", "0"), ElementsAre(Pair("host", "h")));
  EXPECT_THAT(properties({{"HOST", "other"}, {"port", "82"}}, "h", "81"),
              ElementsAre(Pair("host", "other"), Pair("port", "82")));
}

TEST_F(FluentBitConfigTest, RetriesForEverAndBoundsItsChunksUnlessTold) {
  EXPECT_THAT(read({})->output_properties, ElementsAre(Pair("retry_limit", "no_limits"),
                                                       Pair("storage.total_limit_size", "1G")));
  EXPECT_THAT(read({{"Retry_Limit", "3"}, {"storage.total_limit_size", "5M"}})->output_properties,
              ElementsAre(Pair("Retry_Limit", "3"), Pair("storage.total_limit_size", "5M")));
}

TEST_F(FluentBitConfigTest, SaysWhatFluentBitNeedsToHear) {
  const auto config = read({{"uri", "/x"}, {"Tag", "my tag"}, {"vek.grace", "2.5"}});
  ASSERT_TRUE(config);
  const std::string text = classic_text(*config);
  const std::string root = folder_->path();
  for (const std::string& line :
       {std::string("[SERVICE]\n"), std::string("    grace 3\n"),
        "    storage.path " + root + "/chunks\n", std::string("    storage.checksum off\n"),
        std::string("    http_server off\n"), std::string("[INPUT]\n    name forward\n"),
        "    unix_path " + root + "/in\n", std::string("    unix_perm 0600\n"),
        std::string("    tag my tag\n"), std::string("    storage.type filesystem\n"),
        std::string("[OUTPUT]\n    name http\n    uri /x\n"), std::string("    match *\n")}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
}

TEST_F(FluentBitConfigTest, KeepsChunksBesideTheSpoolWhereThereIsOne) {
  const TempDir dir;
  const auto config = read({{"storage.path", dir.file("spool")}, {"Alias", "a/b"}});
  ASSERT_TRUE(config);
  EXPECT_THAT(config->storage_path,
              testing::MatchesRegex(dir.file("spool") + "/a_b-[0-9a-f]+~fluent-bit"));
  struct stat status {};
  ASSERT_EQ(stat(config->storage_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
  EXPECT_THAT(classic_text(*config), Not(HasSubstr("storage.path " + dir.file("spool") + "\n")));
}

TEST_F(FluentBitConfigTest, RefusesWhatWouldMeanSomethingElseInALine) {
  const std::string cannot = "cannot be handed to Fluent Bit: ";
  const struct {
    const char* name;
    const char* value;
    std::string message;
  } cases[] = {
      {"uri", "a\n[INPUT]",
       "the value of 'uri' " + cannot + "it has a line break or a control character"},
      {"uri", "a\rb",
       "the value of 'uri' " + cannot + "it has a line break or a control character"},
      {"uri", "${HOME}",
       "the value of 'uri' " + cannot +
           "it would replace ${...} from the environment; vek.expand_env = on allows that"},
      {"Tag", "${HOME}",
       "the value of 'Tag' " + cannot +
           "it would replace ${...} from the environment; vek.expand_env = on allows that"},
      {"a b", "x", "the value of 'a b' " + cannot + "its name is none of Fluent Bit's"},
      {"@include", "x", "the value of '@include' " + cannot + "its name is none of Fluent Bit's"},
      {"Port", "99999", "Port = '99999' cannot be used; it takes a number from 1 to 65535"},
      {"vek.start_timeout", "0",
       "vek.start_timeout = '0' cannot be used; it takes seconds from 0.001 to 3600"},
  };
  for (const auto& c : cases) {
    LogCapture log;
    EXPECT_FALSE(read({{c.name, c.value}})) << c.name;
    EXPECT_THAT(log.errors(), ElementsAre("[raw msgpack API] " + c.message));
  }
}

TEST_F(FluentBitConfigTest, ReplacesFromTheEnvironmentWhereAsked) {
  EXPECT_THAT(properties({{"uri", "${HOME}"}, {"vek.expand_env", "on"}}),
              ElementsAre(Pair("uri", "${HOME}")));
}

TEST_F(FluentBitConfigTest, NeedsTheFolderThatTheOutputFileWritesTo) {
  const TempDir dir;
  EXPECT_TRUE(read({{"path", dir.path()}}, "file"));
  EXPECT_TRUE(read({{"path", dir.file("new")}, {"mkdir", "on"}}, "file"));
  EXPECT_TRUE(read({{"path", "/whatever"}}, "http"));
  LogCapture log;
  EXPECT_FALSE(read({{"path", dir.file("new")}}, "file"));
  EXPECT_THAT(log.errors(), ElementsAre("[raw msgpack API] path = '" + dir.file("new") +
                                        "' cannot be used; it takes a folder that exists"));
}

TEST_F(FluentBitConfigTest, KnowsWhatEveryOutputTakes) {
  for (const char* name : {"Host", "port", "Match", "alias", "tls", "TLS.verify", "net.keepalive",
                           "storage.total_limit_size", "workers", "Retry_Limit", "log_level"}) {
    EXPECT_TRUE(is_property_of_every_output(name)) << name;
  }
  for (const char* name : {"uri", "tlsx", "network", ""}) {
    EXPECT_FALSE(is_property_of_every_output(name)) << name;
  }
}

}  // namespace
}  // namespace vek::engine
