#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/exporter/exporter_fixture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using Config = fluentbit_exporter_config_t;

// A configuration as text, so that one line of a failure shows all of it.
std::string describe(const Config& config) {
  const auto text = [](const char* value) { return value ? std::string(value) : "(null)"; };
  std::string out = "name=" + text(config.name) + " enable=" + std::to_string(config.enable) +
                    " plugin=" + text(config.plugin_name) + " host=" + text(config.host) +
                    " port=" + std::to_string(config.port) +
                    " batch=" + std::to_string(config.batch_mode) +
                    " layout=" + text(config.msgpack_data_layout) +
                    " cset=" + text(config.counterset) + " fset=" + text(config.fieldset);
  for (uint64_t i = 0; i < config.source_tag_list->count; ++i) {
    out += " tag[" + std::string(config.source_tag_list->strings[i]) + "]";
  }
  for (int32_t i = 0; i < config.params->count; ++i) {
    out += " param[" + std::string(config.params->params[i].name) + "][" +
           config.params->params[i].value + "]";
  }
  return out;
}

// "(defaults)" with the pieces that differ.
std::string withDefaults(const std::function<std::string(std::string)>& change) {
  return change(
      "name=default_name enable=1 plugin=forward host=127.0.0.1 port=0 batch=0 layout=flb_std "
      "cset=(null) fset=(null)");
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

class ExpFiles : public NoEngineTest {
 protected:
  std::vector<std::string> parse(const std::string& contents) {
    dir_.write("one.exp", contents);
    const FluentBitExportersArray array(dir_.path(), 0);
    std::vector<std::string> configs;
    for (const auto& config : array.configs()) configs.push_back(describe(*config));
    return configs;
  }
};

struct LineCase {
  const char* what;
  std::string contents;
  std::string from;  // piece of the defaults that the line replaces; empty: `to` is appended
  std::string to;
};

std::ostream& operator<<(std::ostream& out, const LineCase& c) { return out << c.what; }

class ExpFileLines : public ExpFiles, public ::testing::WithParamInterface<LineCase> {};

TEST_P(ExpFileLines, SetWhatTheyName) {
  const LineCase& c = GetParam();
  const std::string expected = withDefaults([&](std::string text) {
    return c.from.empty() ? text + c.to : replaced(std::move(text), c.from, c.to);
  });
  EXPECT_THAT(parse(c.contents), ElementsAre(expected)) << c.contents.substr(0, 200);
}

INSTANTIATE_TEST_SUITE_P(
    StringKeys, ExpFileLines,
    ::testing::Values(
        LineCase{"name", "name = x", "default_name", "x"},
        LineCase{"name and comment", "name = x # note", "default_name", "x"},
        LineCase{"blanks inside stay", "name = a b", "default_name", "a b"},
        LineCase{"plugin_name before name and parameters", "plugin_name = es", "plugin=forward",
                 "plugin=es"},
        LineCase{"layout", "msgpack_data_layout = custom", "layout=flb_std", "layout=custom"},
        LineCase{"counterset", "counterset = /a/b.cset", "cset=(null)", "cset=/a/b.cset"},
        LineCase{"fieldset", "fieldset=/a/b.fset", "fset=(null)", "fset=/a/b.fset"},
        LineCase{"host with blanks", "host = 10.0.0.1", "127.0.0.1", "10.0.0.1"},
        LineCase{"host without blanks", "host=10.0.0.1", "127.0.0.1", "10.0.0.1"},
        LineCase{"any character stands for =", "host:10.0.0.1", "127.0.0.1", "10.0.0.1"},
        LineCase{"a blank alone does not", "host 10.0.0.1", "127.0.0.1", "0.0.0.1"},
        LineCase{"empty value keeps the default", "host =", "", ""},
        LineCase{"key alone keeps the default", "host", "", ""},
        LineCase{"prefix takes longer words", "hostname=x", "127.0.0.1", "ame=x"},
        LineCase{"prefix of plugin_name", "plugin_namespace = x", "plugin=forward",
                 "plugin=pace = x"},
        LineCase{"a second = belongs to the value", "name = a=b", "default_name", "a=b"},
        LineCase{"last line wins", "name = a\nname = b\n", "default_name", "b"},
        LineCase{"an empty value keeps an earlier one", "name = a\nname =\n", "default_name", "a"},
        LineCase{"white space of all kinds", "\t \v name\t=\f x \r\n", "default_name", "x"}));

INSTANTIATE_TEST_SUITE_P(
    IntegerKeys, ExpFileLines,
    ::testing::Values(LineCase{"enable 0", "enable = 0", "enable=1", "enable=0"},
                      LineCase{"enable no", "enable = no", "enable=1", "enable=0"},
                      LineCase{"enable 2", "enable = 2", "enable=1", "enable=2"},
                      LineCase{"enable empty", "enable =", "enable=1", "enable=0"},
                      LineCase{"port is kept whole", "port = 70000", "port=0", "port=70000"},
                      LineCase{"port with text behind", "port = 12x", "port=0", "port=12"},
                      LineCase{"port is decimal", "port = 010", "port=0", "port=10"},
                      LineCase{"negative port", "port = -1", "port=0", "port=-1"},
                      LineCase{"batch_mode", "batch_mode = 1", "batch=0", "batch=1"}));

INSTANTIATE_TEST_SUITE_P(
    Parameters, ExpFileLines,
    ::testing::Values(LineCase{"pair", "plugin_Retry_Limit = 5", "", " param[Retry_Limit][5]"},
                      LineCase{"a further = ends the value", "plugin_Match = a=b", "",
                               " param[Match][a]"},
                      LineCase{"no value", "plugin_flag", "", " param[flag][]"},
                      LineCase{"empty value", "plugin_flag=", "", " param[flag][]"},
                      LineCase{"empty name is refused", "plugin_=x", "", ""},
                      LineCase{"order and repetition stay", "plugin_b=1\nplugin_a=2\nplugin_b=3",
                               "", " param[b][1] param[a][2] param[b][3]"}));

INSTANTIATE_TEST_SUITE_P(
    SourceTags, ExpFileLines,
    ::testing::Values(LineCase{"pieces stay untrimmed", "source_tag = a,b, c", "",
                               " tag[a] tag[b] tag[ c]"},
                      LineCase{"one", "source_tag=counters", "", " tag[counters]"},
                      LineCase{"empty", "source_tag = ", "", ""},
                      LineCase{"a second line appends", "source_tag = a\nsource_tag = b,c", "",
                               " tag[a] tag[b] tag[c]"}));

INSTANTIATE_TEST_SUITE_P(
    Lines, ExpFileLines,
    ::testing::Values(LineCase{"empty file", "", "", ""},
                      LineCase{"nothing recognised", "colour = blue\n[section]\n", "", ""},
                      LineCase{"blanks and a comment", "   # host = x\n\n \t \n", "", ""},
                      LineCase{"no line break at the end", "\n\nname = x", "default_name", "x"},
                      LineCase{"a line of a megabyte", "name = " + std::string(1 << 20, 'n'),
                               "default_name", std::string(1 << 20, 'n')},
                      LineCase{"a long line does not reach into the next",
                               "#" + std::string(5000, ' ') + "\nname = x\nhost = y",
                               "default_name enable=1 plugin=forward host=127.0.0.1",
                               "x enable=1 plugin=forward host=y"},
                      LineCase{"a NUL ends its line", std::string("name = x\0y\nport = 1", 19),
                               "default_name enable=1 plugin=forward host=127.0.0.1 port=0",
                               "x enable=1 plugin=forward host=127.0.0.1 port=1"}));

TEST_F(ExpFiles, RefusesAParameterWithoutANameWithItsLine) {
  parse("enable = 0\n  plugin_=x  # note\n");
  EXPECT_THAT(log_.errors(), ElementsAre("empty param name in line plugin_=x"));
}

TEST_F(ExpFiles, ReadsFilesByTheirExactSuffix) {
  for (const char* name : {"x.exp", ".exp", "a.exp.bak", "A.EXP", "exp", "bexp", "b.Exp"}) {
    dir_.write(name, std::string("enable = 0\nname = ") + name);
  }
  std::filesystem::create_directory(dir_.file("folder.exp"));
  std::filesystem::create_directory_symlink(dir_.file("folder.exp"), dir_.file("link.exp"));
  const FluentBitExportersArray array(dir_.path(), 0);
  std::vector<std::string> names;
  for (const auto& config : array.configs()) names.emplace_back(config->name);
  EXPECT_THAT(names, UnorderedElementsAre("x.exp", ".exp"));
}

TEST_F(ExpFiles, ReportsADirectoryThatCannotBeOpened) {
  const FluentBitExportersArray array("/nonexistent/conf", 0);
  EXPECT_THAT(log_.errors(),
              ElementsAre("[FluentBitExporter] [getExpFilesNames] Cannot open dir_path "
                          "\"/nonexistent/conf\""));
  EXPECT_THAT(array.configs(), IsEmpty());
  EXPECT_FALSE(array.failedToInit());
}

TEST_F(ExpFiles, ReportsAFileThatCannotBeOpenedAndReadsTheOthers) {
  dir_.write("a.exp", "enable = 0");
  std::filesystem::create_symlink("/nonexistent/target", dir_.file("b.exp"));
  const FluentBitExportersArray array(dir_.path(), 0);
  EXPECT_THAT(log_.errors(),
              ElementsAre("[FluentBitExportersArray] [parseExpFileToConfig] Cannot open config "
                          "file '" +
                          dir_.file("b.exp") + "'"));
  EXPECT_EQ(array.configs().size(), 1u);
}

TEST_F(ExpFiles, CutsAPathAt127Characters) {
  const std::string name(128 - dir_.path().size(), 'n');  // the whole path is 133 long
  dir_.write(name + ".exp", "enable = 0");
  const std::string cut = dir_.file(name + ".exp").substr(0, 127);
  FluentBitExportersArray array(dir_.path(), 0);
  EXPECT_THAT(log_.errors(), ElementsAre("[FluentBitExportersArray] [parseExpFileToConfig] Cannot "
                                         "open config file '" +
                                         cut + "'"));
  // A file at the cut path is the one that is read.
  dir_.write(cut.substr(dir_.path().size() + 1), "name = short");
  std::string file_name = name + ".exp";
  EXPECT_TRUE(array.parseExpFileToConfig(file_name));
  ASSERT_EQ(array.configs().size(), 1u);
  EXPECT_STREQ(array.configs()[0]->name, "short");
}

TEST_F(ExpFiles, ReadsAPathOf127CharactersWhole) {
  const std::string name(127 - dir_.path().size() - 1 - 4, 'n');
  dir_.write(name + ".exp", "enable = 0");
  const FluentBitExportersArray array(dir_.path(), 0);
  EXPECT_EQ(array.configs().size(), 1u);
}

TEST_F(ExpFiles, ListsNamesAfreshAtEachCall) {
  FluentBitExportersArray array(dir_.path(), 0);
  dir_.write("late.exp", "enable = 0");
  EXPECT_TRUE(array.getExpFilesNames());
  EXPECT_TRUE(array.getExpFilesNames());
  EXPECT_TRUE(array.parseExpFilesToConfigs());
  EXPECT_EQ(array.configs().size(), 1u);
}

TEST_F(ExpFiles, AnswersTrueForAMatchingKeyWhateverTheValue) {
  FluentBitExportersArray array(dir_.path(), 0);
  char* text = strdup("old");
  int number = 7;
  char empty[] = "host =";
  EXPECT_TRUE(array.parseExportFileLine(empty, "host", &text));
  EXPECT_STREQ(text, "old");
  char filled[] = "host = new \t";
  EXPECT_TRUE(array.parseExportFileLine(filled, "host", &text));
  EXPECT_STREQ(text, "new");
  char other[] = " host = x";
  EXPECT_FALSE(array.parseExportFileLine(other, "host", &text));
  EXPECT_FALSE(array.parseExportFileLineToInt(other, "port", &number));
  EXPECT_EQ(number, 7);
  char port[] = "port=9";
  EXPECT_TRUE(array.parseExportFileLineToInt(port, "port", &number));
  EXPECT_EQ(number, 9);
  free(text);
}

TEST_F(ExpFiles, DestroysNoConfiguration) { destroy_config(nullptr); }

TEST_F(ExpFiles, DestroysAHalfMadeConfiguration) {
  destroy_config(static_cast<Config*>(calloc(1, sizeof(Config))));
}

}  // namespace
}  // namespace vek::test
