// The examples of the field-set reference are files that do what is written beside them.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/field_set/events_fixture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

struct Block {
  std::string kind;  // "example" or "record"
  std::string name;  // of the example; of a record, also its type behind a blank
  std::string text;  // without indentation
};

// "<!-- kind: name -->", then lines that are indented or empty.
std::vector<Block> blocks_of_readme() {
  std::istringstream readme(read_file(VEK_SOURCE_DIR "/README.md"));
  std::vector<Block> blocks;
  bool inside = false;
  for (std::string line; std::getline(readme, line);) {
    const size_t colon = line.find(": ");
    if (line.starts_with("<!-- ") && line.ends_with(" -->") && colon != std::string::npos) {
      blocks.push_back(
          {line.substr(5, colon - 5), line.substr(colon + 2, line.size() - 4 - colon - 2), ""});
      inside = true;
    } else if (inside && line.starts_with("    ")) {
      blocks.back().text += line.substr(4) + "\n";
    } else if (!line.empty()) {
      inside = false;
    }
  }
  return blocks;
}

std::string in_one_line(const std::string& text) {
  std::string line;
  for (const char c : text) {
    if (c != '\n') line += c;
  }
  return line;
}

class ReadmeExamples : public EventsTest {
 protected:
  ReadmeExamples() {
    type("port", {{"guid", "uint64_t"}, {"number", "uint16_t"}});
    add("link_state_change", {{"port", "port"}, {"up", "bool"}, {"reason", "char", 32}},
        event(
            {le<uint64_t>(0x0200'5eff'fe00'0041), le<uint16_t>(1), {0}, text("cable pulled", 32)}));
    add("alarm", {{"code", "uint32_t"}, {"ports", "uint32_t", 4}, {"message", "char", 48}},
        event({le<uint32_t>(1201), le<uint32_t>(3), le<uint32_t>(7), le<uint32_t>(0),
               le<uint32_t>(0), text("switching chip is warm", 48)}));
    add("kelvra_smi_event_health",
        {{"device", "uint32_t"},
         {"temperature", "int16_t"},
         {"driver", "char", 24},
         {"last_error", "char", 32}},
        event({le<uint32_t>(3), le<int16_t>(41), text("", 24), text("page retired", 32)}));
    add("process_start", {{"pid", "int32_t"}, {"command", "char", 48}},
        event({le<int32_t>(4711), text("/usr/sbin/linkd --watch", 48)}));
  }

  void add(const std::string& name, const std::vector<FieldSpec>& specs, const Record& record) {
    types_.push_back({name, type(name, specs), record});
  }

  // The record of a type's event; "(no record)" when nothing leaves.
  std::string record_of(const std::string& name) {
    for (const Type& candidate : types_) {
      if (candidate.name != name) continue;
      const std::string record = packed(candidate.index, candidate.record, "leaf01");
      return record.empty() ? "(no record)" : record;
    }
    ADD_FAILURE() << "no type " << name;
    return {};
  }

  void use(const std::string& field_set) {
    ASSERT_TRUE(set_.LoadFromFile(dir_.write("readme.fset", field_set)));
    bind();
  }

  // Every record that the text shows for the example.
  void check(const std::string& example) {
    int shown = 0;
    for (const Block& block : blocks_of_readme()) {
      if (block.kind == "example" && block.name == example) use(block.text);
      if (block.kind != "record" || !block.name.starts_with(example + " ")) continue;
      const std::string name = block.name.substr(example.size() + 1);
      EXPECT_EQ(record_of(name), in_one_line(block.text)) << name;
      ++shown;
    }
    EXPECT_GT(shown, 0) << "README.md has no record of the example '" << example << "'";
  }

 private:
  struct Type {
    std::string name;
    uint8_t index;
    Record record;
  };
  std::vector<Type> types_;
  TempDir dir_;
};

TEST_F(ReadmeExamples, LinkChangesAreChosenAndRenamed) { check("link"); }
TEST_F(ReadmeExamples, ExclusionsAloneSelectNothing) { check("exclusions"); }
TEST_F(ReadmeExamples, AWildcardTypeLeavesOutEmptyTexts) { check("wildcard"); }
TEST_F(ReadmeExamples, DefaultAsTheFirstNameLetsEveryTypeLeave) { check("default first"); }
TEST_F(ReadmeExamples, DefaultBehindAnotherNameLetsOnlyListedTypesLeave) { check("default later"); }

TEST_F(ReadmeExamples, AreAllChecked) {
  int examples = 0;
  for (const Block& block : blocks_of_readme()) examples += block.kind == "example";
  EXPECT_EQ(examples, 5);
}

}  // namespace
}  // namespace vek::test
