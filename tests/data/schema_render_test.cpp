#include <gtest/gtest.h>

#include <cstring>

#include "tests/data/cpu_time.h"
#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"

namespace {

using vek::JsonValue;
using vek::OwnedSchema;
using vek::test::add_type;
using vek::test::compact_of;
using vek::test::FailAllocation;
using vek::test::field;
using vek::test::field_text;
using vek::test::GuardedBytes;
using vek::test::LogCapture;
using vek::test::schema_document;
using vek::test::SchemaWithBuiltins;
using vek::test::type_text;

using Lines = std::vector<std::string>;

class RecordRendering : public testing::Test {
 protected:
  void define(const char* name, const vek::test::Infos& infos) {
    ASSERT_EQ(add_type(schema_.get(), name, infos), 0);
  }

  std::string render(const char* type, const std::vector<uint8_t>& bytes) {
    const GuardedBytes guarded(bytes);
    return compact_of(vek_type_definition_jsonify_data(schema_.type(type), guarded.data()));
  }

  SchemaWithBuiltins schema_;
};

TEST_F(RecordRendering, HasOneMemberPerFieldInOrder) {
  define("t", {field("z", "uint8_t"), field("a", "short"), field("m", "unsigned int")});
  EXPECT_EQ(render("t", {7, 0xFE, 0xFF, 1, 2, 0, 0}), R"({"z":7,"a":-2,"m":513})");
}

TEST_F(RecordRendering, ARecordWithoutFieldsIsAnEmptyObject) {
  define("t", {});
  EXPECT_EQ(render("t", {}), "{}");
}

TEST_F(RecordRendering, TextsEndAtTheFirstByteThatIsNotPrintable) {
  define("t", {field("s", "char", 8)});
  EXPECT_EQ(render("t", {'a', 'b', 0, 'c', 'd', 'e', 'f', 'g'}), R"({"s":"ab"})");
  EXPECT_EQ(render("t", {'a', '\n', 'b', 0, 0, 0, 0, 0}), R"({"s":"a"})");
  EXPECT_EQ(render("t", {'a', 0x80, 'b', 0, 0, 0, 0, 0}), R"({"s":"a"})");
  EXPECT_EQ(render("t", {0, 'b', 0, 0, 0, 0, 0, 0}), R"({"s":""})");
}

TEST_F(RecordRendering, TextsWithoutNulEndWithTheirField) {
  define("t", {field("n", "uint8_t"), field("s", "unsigned char", 4)});
  EXPECT_EQ(render("t", {1, 'a', 'b', 'c', 'd'}), R"({"n":1,"s":"abcd"})");
}

TEST_F(RecordRendering, ASingleCharIsANumber) {
  define("t", {field("c", "char"), field("u", "unsigned char")});
  EXPECT_EQ(render("t", {'A', 0xFF}), R"({"c":65,"u":255})");
}

TEST_F(RecordRendering, OtherByteArraysAreNumbers) {
  define("t", {field("a", "uint8_t", 3), field("b", "int8_t", 2), field("f", "bool", 2)});
  EXPECT_EQ(render("t", {'a', 'b', 0, 0xFF, 1, 1, 0}), R"({"a":[97,98,0],"b":[-1,1],"f":[1,0]})");
}

TEST_F(RecordRendering, AnArrayOfNoElementsIsEmpty) {
  define("t", {field("a", "int", 0), field("s", "char", 0)});
  EXPECT_EQ(render("t", {}), R"({"a":[],"s":""})");
}

TEST_F(RecordRendering, NestedTypesAreObjects) {
  define("point", {field("x", "int8_t"), field("y", "int8_t")});
  define("line", {field("from", "point"), field("via", "point", 2)});
  EXPECT_EQ(render("line", {1, 2, 3, 4, 5, 6}),
            R"({"from":{"x":1,"y":2},"via":[{"x":3,"y":4},{"x":5,"y":6}]})");
}

TEST_F(RecordRendering, AMemberThatHasNoJsonTakesTheRecordWithIt) {
  define("inner", {field("d", "double")});
  define("t", {field("n", "uint8_t"), field("all", "inner", 1)});
  std::vector<uint8_t> bytes(9, 0xFF);  // a NaN
  EXPECT_EQ(render("t", bytes), "(no text)");
}

TEST_F(RecordRendering, FieldsAreRenderedOneByOneToo) {
  define("t", {field("a", "uint8_t", 2), field("s", "uint16_t")});
  const vek_type_definition_t* type = schema_.type("t");
  const uint8_t bytes[] = {1, 2};
  EXPECT_EQ(compact_of(vek_type_field_definition_jsonify_data(type->fields[0], bytes)), "[1,2]");
  EXPECT_EQ(compact_of(vek_type_field_definition_jsonify_array(type->fields[0], bytes)), "[1,2]");
  EXPECT_EQ(compact_of(vek_type_field_definition_jsonify_scalar(type->fields[0], bytes)), "1");
  EXPECT_EQ(compact_of(vek_type_field_definition_jsonify_data(type->fields[1], bytes)), "513");
}

TEST_F(RecordRendering, NothingIsMadeOfNothing) {
  EXPECT_EQ(vek_type_definition_jsonify_data(nullptr, nullptr), nullptr);
  EXPECT_EQ(vek_type_definition_jsonify_data(schema_.type("int"), nullptr), nullptr);
  const OwnedSchema unresolved(vek_create_schema("s", 1));
  const vek::OwnedField lone(vek_create_type_field_definition());
  lone->array_length = 1;
  EXPECT_EQ(vek_type_field_definition_jsonify_data(lone.get(), nullptr), nullptr);
}

TEST_F(RecordRendering, ATextThatCannotBeMadeIsReported) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  define("t", {field("name", "char", 4)});
  const uint8_t bytes[] = {'a', 'b', 'c', 'd'};
  LogCapture log;
  FailAllocation failing(1);
  EXPECT_EQ(vek_type_field_definition_jsonify_data(schema_.type("t")->fields[0], bytes), nullptr);
  EXPECT_TRUE(failing.disarm());
  EXPECT_EQ(log.errors(), Lines{"Failed to serialize field name of type char[4] as string"});
}

// Documents are read as they stand, so types may lie about themselves.
class LyingDocument : public testing::Test {
 protected:
  void load(const std::string& types) {
    const JsonValue json(json_parse_string(schema_document(types).c_str()));
    schema_.reset(vek_schema_from_json(json.get()));
    ASSERT_NE(schema_, nullptr);
    schema_->parent = builtins_.builtin();
    for (int i = 0; i < schema_->num_types; ++i) {
      ASSERT_TRUE(vek_schema_adjust_field_type_references(schema_.get(), schema_->types[i]));
    }
  }

  // Renders the last type from exactly as many bytes as it says it has.
  std::string render_last() {
    const vek_type_definition_t* type = schema_->types[schema_->num_types - 1];
    const std::vector<uint8_t> bytes(type->size, 'x');
    const GuardedBytes guarded(bytes);
    return compact_of(vek_type_definition_jsonify_data(type, guarded.data()));
  }

  SchemaWithBuiltins builtins_;
  OwnedSchema schema_;
};

std::string placed(const char* type, const char* offset, const char* type_size,
                   const char* array_length) {
  return std::string(R"({"field_name":"f","description":"","counting_mode":"ABSOLUTE",)") +
         R"("type_name":")" + type + R"(","offset":)" + offset + R"(,"type_size":)" + type_size +
         R"(,"array_length":)" + array_length + "}";
}

TEST_F(LyingDocument, NothingOutsideTheRecordIsRead) {
  const struct {
    const char* type;
    const char* offset;
    const char* type_size;
    const char* array_length;
    bool fits;
  } cases[] = {
      {"uint8_t", "7", "1", "1", true},     {"uint8_t", "8", "1", "1", false},
      {"uint64_t", "0", "8", "1", true},    {"uint64_t", "1", "8", "1", false},
      {"uint64_t", "1", "1", "1", false},   {"uint8_t", "1e19", "1", "1", false},
      {"uint8_t", "0", "1", "8", true},     {"uint8_t", "0", "1", "9", false},
      {"uint8_t", "0", "1e19", "3", false}, {"uint16_t", "0", "0", "9", true},
      {"uint16_t", "0", "2", "5", false},   {"char", "0", "1", "8", true},
      {"char", "1", "1", "8", false},       {"char", "0", "0", "9", false},
      {"char", "0", "1e19", "9", false},    {"unsigned char", "8", "0", "2", false},
  };
  for (const auto& c : cases) {
    load(type_text("t", placed(c.type, c.offset, c.type_size, c.array_length), "8"));
    LogCapture log;
    EXPECT_EQ(render_last() != "(no text)", c.fits)
        << c.type << " at " << c.offset << ", " << c.array_length << " of " << c.type_size;
    if (!c.fits) {
      EXPECT_EQ(log.errors(),
                Lines{"Failed to serialize field f of type t: it lies outside the record"});
    }
  }
}

TEST_F(LyingDocument, ATypeThatContainsItselfIsNotFollowedForEver) {
  load(type_text("t", field_text("self", "t"), "8"));
  LogCapture log;
  EXPECT_EQ(render_last(), "(no text)");
  EXPECT_EQ(log.errors(), Lines{"Failed to serialize a record of type t: it contains itself"});
}

TEST_F(LyingDocument, TwoTypesThatContainEachOtherAreNotFollowedForEver) {
  load(type_text("a", field_text("b", "b", R"(,"array_length":2)"), "8") + "," +
       type_text("b", field_text("a", "a", R"(,"array_length":2)"), "8"));
  LogCapture log;
  EXPECT_EQ(render_last(), "(no text)");
  EXPECT_EQ(log.errors().size(), 1u);
}

TEST_F(LyingDocument, TypesThatUnfoldWithoutEndAreGivenUp) {
  std::string types = type_text("t0", field_text("f", "bool"));
  for (int i = 1; i < 60; ++i) {
    const std::string below = "t" + std::to_string(i - 1);
    types += "," + type_text("t" + std::to_string(i),
                             field_text("a", below) + "," + field_text("b", below));
  }
  load(types);
  const vek::test::CpuTime time;
  LogCapture log;
  EXPECT_EQ(render_last(), "(no text)");
  EXPECT_EQ(log.errors(),
            Lines{"Failed to serialize field b: the record has more values than bytes"});
  EXPECT_LT(time.seconds(), vek::test::kLinearSeconds);
}

TEST_F(LyingDocument, AsDeepAsTypesCanBeIsStillRendered) {
  std::string types = type_text("t0", field_text("f", "bool"));
  for (int i = 1; i < 254; ++i) {
    types += "," + type_text("t" + std::to_string(i), field_text("f", "t" + std::to_string(i - 1)));
  }
  load(types);
  const std::string text = render_last();
  EXPECT_EQ(std::count(text.begin(), text.end(), '{'), 254);
}

}  // namespace
