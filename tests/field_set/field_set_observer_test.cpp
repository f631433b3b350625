#include "field_set/field_set_observer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "data/type_system.h"
#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::ElementsAre;

class Watcher : public FieldSetObserver {
 public:
  void on_field_set_line(const FieldSetLine& line) override {
    static const char* const kKinds[] = {"header", "meta", "bad meta", "token"};
    std::string text = std::to_string(line.number) + ":" + std::to_string(line.column) + " " +
                       kKinds[static_cast<int>(line.kind)];
    for (const std::string& type : line.types) text += " " + type;
    seen.push_back(text);
  }
  void on_type(const std::string& type, bool of_interest, const std::string& entry,
               const field_set_t& field_set) override {
    seen.push_back(type + (of_interest ? " by '" : " not by '") + entry + "' with " +
                   std::to_string(field_set.fields.size()));
  }
  void on_field_token(const std::string& type, const std::string& token, const field_t& field,
                      FieldTokenEffect effect) override {
    static const char* const kEffects[] = {"bad filter", "shown", "already", "excluded"};
    seen.push_back(type + "." + field.name + " '" + token + "' " +
                   kEffects[static_cast<int>(effect)]);
  }
  std::vector<std::string> seen;
};

TEST(FieldSetObserver, SeesLinesTypesAndWhatTokensDo) {
  LogCapture log;
  const TempDir dir;
  const OwnedTypeSystem type_system = typeSystem({"c"});
  addEvents(*type_system, "alarm", "int");
  addEvents(*type_system, "other", "int");
  const std::string field = "value";
  FieldSet field_set;
  Watcher watcher;
  field_set.setObserver(&watcher);
  ASSERT_TRUE(field_set.LoadFromFile(dir.write(
      "f", "# c\n [al*]\n" + field + "\n  meta_field_add:a=b\nmeta_field_add:=\nx=" + field +
               "\n+\n-" + field + "\n")));
  field_set.updateWithNewSchemas(type_system.get(), false);
  EXPECT_THAT(watcher.seen,
              ElementsAre("2:2 header al*", "3:1 token al*", "4:3 meta al*", "5:1 bad meta al*",
                          "6:1 token al*", "7:1 token al*", "8:1 token al*",
                          "alarm." + field + " '" + field + "' shown",
                          "alarm." + field + " '" + field + "' already",
                          "alarm." + field + " '+' bad filter",
                          "alarm." + field + " '-" + field + "' excluded", "alarm by 'al*' with 1",
                          "other not by '' with 1"));
}

}  // namespace
}  // namespace vek::test
