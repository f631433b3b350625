#include "field_set/event_msgpack.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "field_set/event_plan.h"
#include "tests/field_set/events_fixture.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

using ::testing::IsEmpty;

class Events : public EventsTest {};

TEST_F(Events, LeaveAsTimeAndMap) {
  const uint8_t index = type("link", {{"state", "uint8_t"}});
  bind();
  const std::string hex = to_hex(pack(index, {7}));
  // [1.5, {timestamp: 1500000, type, type_name, source, state}]
  EXPECT_EQ(hex,
            "92cb3ff8000000000000"
            "85"
            "a974696d657374616d70ce0016e360"
            "a474797065a66576656e7473"
            "a9747970655f6e616d65a46c696e6b"
            "a6736f75726365a3737263"
            "a5737461746507");
}

TEST_F(Events, LeaveInTheCustomLayoutAsOneMap) {
  const uint8_t index = type("link", {{"state", "uint8_t"}, {"name", "char", 4}});
  bind();
  const Record record = event({{7}, text("ab", 4)});
  const std::string expected =
      R"({"timestamp":1500000,"type":"events","type_name":"link","source":"src",)"
      R"("values":{"state":7,"name":"ab"}})";
  EXPECT_EQ(packed_custom(index, record), expected);
  EXPECT_EQ(msgpack_to_text(pack(index, record, "src", "anything")), expected);
  EXPECT_EQ(msgpack_to_text(pack(index, record, "src", "")), expected);
  EXPECT_EQ(msgpack_to_text(pack(index, record, "src", nullptr)), expected);
  EXPECT_EQ(msgpack_to_text(pack(index, record, "src", "flb_std2")), expected);
}

TEST_F(Events, TimeIsWholeSecondsPlusRemainder) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind();
  for (const uint64_t us : {uint64_t{0}, uint64_t{1}, uint64_t{999999}, uint64_t{1000000},
                            uint64_t{1699999999123457}, UINT64_MAX}) {
    timestamp_us_ = us;
    const Record bytes = pack(index, {1});
    const double seconds =
        static_cast<double>(us / 1000000) + static_cast<double>(us % 1000000) / 1e6;
    msgpack_sbuffer expected;
    msgpack_sbuffer_init(&expected);
    msgpack_packer packer;
    msgpack_packer_init(&packer, &expected, msgpack_sbuffer_write);
    msgpack_pack_array(&packer, 2);
    msgpack_pack_double(&packer, seconds);
    EXPECT_EQ(to_hex(bytes.data(), 10), to_hex(expected.data, expected.size)) << us;
    msgpack_sbuffer_destroy(&expected);
  }
}

struct ValueCase {
  const char* type;
  Record bytes;
  const char* hex;
};

class Values : public EventsTest, public ::testing::WithParamInterface<ValueCase> {};

// In a record and by a packer of the caller's: the same bytes.
TEST_P(Values, ArePacked) {
  const auto& [type_name, bytes, hex] = GetParam();
  const uint8_t index = type("t", {{"v", type_name}});
  bind();
  const std::string record = to_hex(pack(index, bytes));
  const std::string key = "a176";
  ASSERT_GT(record.size(), key.size() + std::strlen(hex));
  EXPECT_EQ(record.substr(record.size() - key.size() - std::strlen(hex)), key + hex);

  msgpack_sbuffer buffer;
  msgpack_sbuffer_init(&buffer);
  msgpack_packer packer;
  msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
  const GuardedBytes guarded(bytes);
  fset_pack_builtin_type(&packer, static_cast<int>(vek_builtin_type_from_name(type_name)),
                         guarded.data(), 1, "v");
  if (std::string(type_name) != "unsigned char") {
    EXPECT_EQ(to_hex(buffer.data, buffer.size), hex);
  }
  msgpack_sbuffer_destroy(&buffer);
}

std::vector<ValueCase> value_cases() {
  std::vector<ValueCase> cases{
      {"bool", {0}, "c2"},
      {"bool", {1}, "c3"},
      {"bool", {0x80}, "c3"},
      {"char", {'x'}, "a178"},
      {"char", {0}, "a0"},
      // Lengths are only looked up for "char": other texts leave empty.
      {"unsigned char", {'x'}, "a0"},
      {"int8_t", le<int8_t>(0), "00"},
      {"int8_t", le<int8_t>(127), "7f"},
      {"int8_t", le<int8_t>(-1), "ff"},
      {"int8_t", le<int8_t>(-32), "e0"},
      {"int8_t", le<int8_t>(-33), "d0df"},
      {"int8_t", le<int8_t>(-128), "d080"},
      {"uint8_t", {0}, "00"},
      {"uint8_t", {127}, "7f"},
      {"uint8_t", {128}, "cc80"},
      {"uint8_t", {255}, "ccff"},
      {"float", le(1.5f), "ca3fc00000"},
      {"float", le(-0.0f), "ca80000000"},
      {"float", le<uint32_t>(0x7fc00001), "ca7fc00001"},  // NaN, bit for bit
      {"float", le<uint32_t>(0x7f800000), "ca7f800000"},
      {"float", le<uint32_t>(0xff800000), "caff800000"},
      {"double", le(1.5), "cb3ff8000000000000"},
      {"double", le<uint64_t>(0x7ff8000000000001), "cb7ff8000000000001"},
      {"double", le<uint64_t>(0x7ff0000000000000), "cb7ff0000000000000"},
      {"double", le<uint64_t>(0xfff0000000000000), "cbfff0000000000000"},
  };
  for (const char* type : {"short", "int16_t"}) {
    const std::vector<ValueCase> more{
        {type, le<int16_t>(128), "cc80"},      {type, le<int16_t>(256), "cd0100"},
        {type, le<int16_t>(32767), "cd7fff"},  {type, le<int16_t>(-1), "ff"},
        {type, le<int16_t>(-128), "d080"},     {type, le<int16_t>(-129), "d1ff7f"},
        {type, le<int16_t>(-32768), "d18000"},
    };
    cases.insert(cases.end(), more.begin(), more.end());
  }
  for (const char* type : {"unsigned short", "uint16_t"}) {
    const std::vector<ValueCase> more{{type, le<uint16_t>(127), "7f"},
                                      {type, le<uint16_t>(255), "ccff"},
                                      {type, le<uint16_t>(256), "cd0100"},
                                      {type, le<uint16_t>(65535), "cdffff"}};
    cases.insert(cases.end(), more.begin(), more.end());
  }
  for (const char* type : {"int", "int32_t"}) {
    const std::vector<ValueCase> more{
        {type, le<int32_t>(65535), "cdffff"},         {type, le<int32_t>(65536), "ce00010000"},
        {type, le<int32_t>(INT32_MAX), "ce7fffffff"}, {type, le<int32_t>(-32768), "d18000"},
        {type, le<int32_t>(-32769), "d2ffff7fff"},    {type, le<int32_t>(INT32_MIN), "d280000000"}};
    cases.insert(cases.end(), more.begin(), more.end());
  }
  for (const char* type : {"unsigned int", "uint32_t"}) {
    const std::vector<ValueCase> more{{type, le<uint32_t>(0), "00"},
                                      {type, le<uint32_t>(65536), "ce00010000"},
                                      {type, le<uint32_t>(UINT32_MAX), "ceffffffff"}};
    cases.insert(cases.end(), more.begin(), more.end());
  }
  for (const char* type : {"long", "long long", "int64_t"}) {
    const std::vector<ValueCase> more{
        {type, le<int64_t>(INT64_C(4294967296)), "cf0000000100000000"},
        {type, le<int64_t>(INT64_MAX), "cf7fffffffffffffff"},
        {type, le<int64_t>(-1), "ff"},
        {type, le<int64_t>(INT32_MIN), "d280000000"},
        {type, le<int64_t>(INT64_C(-2147483649)), "d3ffffffff7fffffff"},
        {type, le<int64_t>(INT64_MIN), "d38000000000000000"}};
    cases.insert(cases.end(), more.begin(), more.end());
  }
  for (const char* type : {"unsigned long", "unsigned long long", "uint64_t", "timestamp"}) {
    const std::vector<ValueCase> more{
        {type, le<uint64_t>(127), "7f"},
        {type, le<uint64_t>(UINT32_MAX), "ceffffffff"},
        {type, le<uint64_t>(UINT64_C(4294967296)), "cf0000000100000000"},
        {type, le<uint64_t>(UINT64_MAX), "cfffffffffffffffff"}};
    cases.insert(cases.end(), more.begin(), more.end());
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(OfEveryBuiltInType, Values, ::testing::ValuesIn(value_cases()));

TEST_F(Events, ShowGuidsAsHexadecimalTextByName) {
  const uint8_t index = type("t", {{"node_guid", "uint64_t"},
                                   {"GUID", "uint64_t"},
                                   {"guid", "uint64_t"},
                                   {"port_guid", "unsigned long"}});
  bind({"meta_field_alias:x=y"});
  const Record record =
      event({le<uint64_t>(255), le<uint64_t>(UINT64_MAX), le<uint64_t>(5), le<uint64_t>(6)});
  // Only uint64_t, only the three names; "unsigned long" stays a number.
  EXPECT_EQ(packed(index, record),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"0x0000000000ff",)"
            R"("node_guid":"0xff","GUID":"0xffffffffffffffff","guid":5,"port_guid":6})");
}

TEST_F(Events, TakeTheSourceFromTheFirstGuidField) {
  struct Case {
    uint64_t value;
    const char* source;
  };
  const uint8_t index = type("t", {{"a", "uint8_t"}, {"My_GuId_x", "uint64_t"}, {"guid", "int"}});
  bind({"^a$"});  // the guid field need not be exported
  const Case cases[] = {{6699, "0x000000001a2b"},
                        {0, "0x000000000000"},
                        {UINT64_C(0xfffffffffff), "0x0fffffffffff"},
                        {UINT64_C(0xffffffffffff), "0xffffffffffff"},
                        {UINT64_C(0x1000000000000), "0x1000000000000"},
                        {UINT64_MAX, "0xffffffffffffffff"}};
  for (const Case& c : cases) {
    const Record record = event({{1}, le(c.value), le<int32_t>(0)});
    EXPECT_EQ(packed(index, record),
              std::string(R"({"timestamp":1500000,"type":"events","type_name":"t","source":")") +
                  c.source + R"(","a":1})");
    EXPECT_EQ(packed(index, record, nullptr), packed(index, record));
  }
}

// A "guid" too near to the end of the record to be read as 64 bits is passed over.
TEST_F(Events, NeverReadAGuidBeyondTheRecord) {
  const uint8_t narrow = type("narrow", {{"a", "uint32_t"}, {"guid", "uint32_t"}});
  const uint8_t both = type("both", {{"guid_b", "uint64_t"}, {"x", "bool"}, {"guid_c", "bool"}});
  const uint8_t first = type("first", {{"guid_s", "uint16_t"}, {"guid_l", "uint64_t"}});
  bind();
  EXPECT_EQ(packed(narrow, Record(8, 0)),
            R"({"timestamp":1500000,"type":"events","type_name":"narrow","source":"src",)"
            R"("a":0,"guid":0})");
  EXPECT_NE(packed(both, Record(10, 1)).find(R"("source":"0x101010101010101")"), std::string::npos);
  // Read as 64 bits where the record has them, whatever the field's own width.
  EXPECT_NE(packed(first, Record(10, 1)).find(R"("source":"0x101010101010101")"),
            std::string::npos);
}

TEST_F(Events, CountASourceThatIsNotThere) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind();
  EXPECT_EQ(packed(index, {1}, nullptr),
            R"({"timestamp":1500000,"type":"events","type_name":"t","a":true,...1 missing})");
  EXPECT_EQ(packed(index, {1}, ""),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"","a":true})");
  EXPECT_EQ(packed_custom(index, {1}, nullptr),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"",)"
            R"("values":{"a":true}})");
}

TEST_F(Events, ShadowMetaFieldsByTheirOwn) {
  const uint8_t index = type("t", {{"type", "uint8_t"}, {"source", "uint8_t"}});
  bind();
  EXPECT_EQ(packed(index, {1, 2}), R"({"timestamp":1500000,"type_name":"t","type":1,"source":2})");
}

TEST_F(Events, DoNotShadowByASkippedField) {
  const uint8_t index = type("t", {{"type", "uint8_t"}, {"a", "uint8_t"}});
  bind({"^a$"});
  EXPECT_EQ(packed(index, {1, 2}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src","a":2})");
}

TEST_F(Events, PackAnAliasedMetaFieldTwice) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind({"meta_field_alias:source=host", "meta_field_alias:timestamp=time", "[t]",
        "meta_field_alias:source=node", "meta_field_alias:type=kind"});
  // Aliases under "default" stay there: a type has its own.
  EXPECT_EQ(packed(index, {1}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("kind":"events","node":"src","a":true})");
}

TEST_F(Events, DoNotPackAnAliasThatAFieldShadows) {
  const uint8_t index = type("t", {{"node", "bool"}});
  bind({"[t]", "meta_field_alias:source=node", "node"});
  EXPECT_EQ(packed(index, {1}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src","node":true})");
}

// Two aliases of one name are one key of the count, yet both are written.
TEST_F(Events, CountEqualAliasesOnce) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind({"[t]", "meta_field_alias:source=x", "meta_field_alias:type=x", "a"});
  EXPECT_EQ(packed(index, {1}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("x":"events","x":"src"} "a" true)");
}

TEST_F(Events, ReportAnEmptyAliasEveryTime) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind({"[t]", "=timestamp", "a"});
  const LogCapture log(3);
  for (size_t n = 1; n <= 2; ++n) {
    EXPECT_EQ(packed(index, {1}),
              R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src","a":true,)"
              R"(...1 missing})");
    EXPECT_EQ(log.count(3, "[field_set] [msgpackMetaField] alias name is empty!"), n);
  }
}

TEST_F(Events, PackAliasedFieldsBesideTheirOriginals) {
  const uint8_t index = type("t", {{"a", "uint8_t"}, {"b", "uint8_t"}, {"s", "char", 4}});
  bind({"[t]", "x=^a$", "meta_field_alias:b=y", "meta_field_alias:s=z"});
  // b and s are skipped: their aliases are packed all the same, the text empty for want of a
  // length.
  EXPECT_EQ(packed(index, event({{1}, {2}, text("ab", 4)})),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("x":1,"y":2,"z":"","a":1})");
  EXPECT_EQ(packed_custom(index, event({{1}, {2}, text("ab", 4)})),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("values":{"a":1}})");
}

TEST_F(Events, PackAnAliasedTextThatIsExported) {
  const uint8_t index = type("t", {{"s", "char", 4}});
  bind({"[t]", "z=s"});
  EXPECT_EQ(packed(index, text("abcd", 4)),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("z":"abcd","s":"abcd"})");
}

TEST_F(Events, DecideOnHexadecimalTextByTheKeyThatIsPacked) {
  const uint8_t index = type("t", {{"GUID", "uint64_t"}, {"v", "uint64_t"}});
  bind({"[t]", "plain=^GUID$", "port_guid=^v$"});
  EXPECT_EQ(packed(index, event({le<uint64_t>(10), le<uint64_t>(11)})),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"0x00000000000a",)"
            R"("plain":10,"port_guid":"0xb","GUID":"0xa","v":11})");
}

TEST_F(Events, PackConstantsOfTheirType) {
  const uint8_t index = type("t", {{"a", "bool"}});
  const uint8_t other = type("u", {{"a", "bool"}});
  bind({"meta_field_add:lost=1", "[t]", "meta_field_add:site=lab1", "meta_field_add:a=x"});
  EXPECT_EQ(packed(index, {1}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("a":"x","site":"lab1","a":true})");
  EXPECT_EQ(packed(other, {1}),
            R"({"timestamp":1500000,"type":"events","type_name":"u","source":"src","a":true})");
}

TEST_F(Events, WithoutExportedFieldsMakeNoRecord) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind({"[t]", "meta_field_add:k=v", "nothing"});
  EXPECT_THAT(pack(index, {1}), IsEmpty());
  EXPECT_THAT(pack(index, {1}, "src", "custom"), IsEmpty());
}

TEST_F(Events, TextEndsAtItsNulOrItsField) {
  const uint8_t index = type("t", {{"s", "char", 8}, {"n", "char", 4}, {"last", "char", 3}});
  bind();
  EXPECT_EQ(packed(index, event({text("ab", 8), text("wxyz", 4), text("end", 3)})),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("s":"ab","n":"wxyz","last":"end"})");
}

TEST_F(Events, TextLengthsTakeTheSmallestHeader) {
  struct Case {
    size_t length;
    const char* header;
  };
  const uint8_t index = type("t", {{"s", "char", 70000}});
  bind();
  const Case cases[] = {{0, "a0"},     {31, "bf"},      {32, "d920"},
                        {255, "d9ff"}, {256, "da0100"}, {65535, "daffff"}};
  for (const Case& c : cases) {
    const Record record = text(std::string(c.length, 'x'), 70000);
    const std::string hex = to_hex(pack(index, record));
    std::string tail = std::string("a173") + c.header;
    for (size_t i = 0; i < c.length; ++i) tail += "78";
    ASSERT_GE(hex.size(), tail.size());
    EXPECT_TRUE(hex.ends_with(tail)) << c.length;
  }
}

// Lengths are counted with 16 bits: that is where longer texts are cut.
TEST_F(Events, TextsAreCutAt65535Bytes) {
  const uint8_t index = type("t", {{"s", "char", 65536}});
  bind();
  const std::string hex = to_hex(pack(index, text(std::string(65536, 'x'), 65536)));
  std::string tail = "a173daffff";
  for (size_t i = 0; i < 65535; ++i) tail += "78";
  EXPECT_TRUE(hex.ends_with(tail));
  const std::string custom =
      to_hex(pack(index, text(std::string(65536, 'x'), 65536), "src", "custom"));
  EXPECT_TRUE(custom.ends_with(tail));
}

class EmptyTexts : public EventsTest {};

TEST_F(EmptyTexts, AreLeftOutOfTypesThatAskForIt) {
  const uint8_t index = type("kelvra_smi_event", {{"s", "char", 4},
                                                  {"u", "unsigned char", 2},
                                                  {"t", "char", 4},
                                                  {"n", "uint8_t"},
                                                  {"none", "char", 0}});
  bind();
  const Record empty = event({text("", 4), {0, 0}, text("x", 4), {0}});
  // "u" is no "char": it stays, empty as it always is.
  EXPECT_EQ(packed(index, empty),
            R"({"timestamp":1500000,"type":"events","type_name":"kelvra_smi_event","source":"src",)"
            R"("u":"","t":"x","n":0})");
  const Record full = event({text("a", 4), {0, 0}, text("x", 4), {0}});
  EXPECT_EQ(packed(index, full),
            R"({"timestamp":1500000,"type":"events","type_name":"kelvra_smi_event","source":"src",)"
            R"("s":"a","u":"","t":"x","n":0})");
}

TEST_F(EmptyTexts, StayInOtherTypes) {
  const uint8_t index = type("other", {{"s", "char", 4}});
  bind();
  EXPECT_EQ(packed(index, text("", 4)),
            R"({"timestamp":1500000,"type":"events","type_name":"other","source":"src","s":""})");
}

TEST_F(EmptyTexts, StayInTheCustomLayout) {
  const uint8_t index = type("kelvra_smi_event", {{"s", "char", 4}, {"t", "char", 4}});
  bind();
  EXPECT_EQ(packed_custom(index, event({text("", 4), text("x", 4)})),
            R"({"timestamp":1500000,"type":"events","type_name":"kelvra_smi_event","source":"src",)"
            R"("values":{"s":"","t":"x"}})");
}

// Left out under its own name; its alias is packed, empty.
TEST_F(EmptyTexts, StayUnderTheirAlias) {
  const uint8_t index = type("kelvra_smi_event", {{"s", "char", 4}, {"n", "uint8_t"}});
  bind({"[kelvra_smi_event]", "x=^s$", "n"});
  EXPECT_EQ(packed(index, event({text("", 4), {3}})),
            R"({"timestamp":1500000,"type":"events","type_name":"kelvra_smi_event","source":"src",)"
            R"("x":"","n":3})");
}

// An empty field still shadows: it is included, only not written.
TEST_F(EmptyTexts, StillShadowMetaFields) {
  const uint8_t index = type("kelvra_smi_event", {{"type", "char", 4}, {"n", "uint8_t"}});
  bind();
  EXPECT_EQ(packed(index, event({text("", 4), {3}})),
            R"({"timestamp":1500000,"type_name":"kelvra_smi_event","source":"src","n":3})");
}

TEST_F(EmptyTexts, OfAllFieldsStillMakeARecord) {
  const uint8_t index = type("kelvra_smi_event", {{"s", "char", 4}});
  bind();
  EXPECT_EQ(
      packed(index, text("", 4)),
      R"({"timestamp":1500000,"type":"events","type_name":"kelvra_smi_event","source":"src"})");
}

class OwnTimestamp : public EventsTest {};

TEST_F(OwnTimestamp, DatesCustomRecords) {
  const uint8_t index = type("t", {{"timestamp", "timestamp"}, {"a", "uint8_t"}});
  bind({"^a$"});  // skipped or not
  EXPECT_EQ(packed_custom(index, event({le<uint64_t>(77), {1}})),
            R"({"timestamp":77,"type":"events","type_name":"t","source":"src","values":{"a":1}})");
  EXPECT_EQ(
      packed_custom(index, event({le<uint64_t>(0), {1}})),
      R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src","values":{"a":1}})");
  EXPECT_EQ(packed(index, event({le<uint64_t>(77), {1}})),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src","a":1})");
}

TEST_F(OwnTimestamp, LastFieldOfThatNameCounts) {
  const uint8_t index = type("t", {{"timestamp", "uint64_t"}, {"timestamp", "uint64_t"}});
  bind();
  EXPECT_EQ(packed_custom(index, event({le<uint64_t>(7), le<uint64_t>(8)})),
            R"({"timestamp":8,"type":"events","type_name":"t","source":"src",)"
            R"("values":{"timestamp":7,"timestamp":8}})");
}

TEST_F(OwnTimestamp, IsNeverReadBeyondTheRecord) {
  const uint8_t index = type("t", {{"timestamp", "uint64_t"}, {"timestamp", "uint32_t"}});
  bind();
  EXPECT_EQ(packed_custom(index, event({le<uint64_t>(7), le<uint32_t>(8)})),
            R"({"timestamp":7,"type":"events","type_name":"t","source":"src",)"
            R"("values":{"timestamp":7,"timestamp":8}})");
}

// A host that brings types of its own gets their place kept.
TEST_F(Events, ShowValuesOfUnknownTypesAsZero) {
  const uint8_t index = type("t", {{"v", "uint8_t"}});
  vek_type_definition_t unknown = *schema_->types[index]->fields[0]->type;
  unknown.id = 23;
  schema_->types[index]->fields[0]->type = &unknown;
  bind();
  EXPECT_EQ(packed(index, {9}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src","v":"0"})");
}

TEST_F(Events, OfAManyFieldedTypeTakeALargerMapHeader) {
  const uint8_t small = type("s", {{"a", "uint8_t", 11}});
  const uint8_t index = type("t", {{"a", "uint8_t", 12}});
  const uint8_t huge = type("u", {{"a", "uint8_t", 65532}});
  bind();
  EXPECT_EQ(pack(small, Record(11))[10], 0x8f);
  EXPECT_EQ(to_hex(pack(index, Record(12)).data() + 10, 3), "de0010");
  EXPECT_EQ(to_hex(pack(huge, Record(65532)).data() + 10, 5), "df00010000");
}

TEST_F(Events, FollowTablesThatChangeAfterBinding) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind({"[t]", "x=a", "meta_field_add:k=1"});
  EXPECT_EQ(packed(index, {1}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("x":true,"k":"1","a":true})");
  set_.loadFromLines({"[t]", "y=a", "meta_field_add:k=2"});
  EXPECT_EQ(packed(index, {1}),
            R"({"timestamp":1500000,"type":"events","type_name":"t","source":"src",)"
            R"("y":true,"k":"2","a":true})");
}

TEST_F(Events, OfUnknownSchemasMakeNoRecord) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind();
  vek_event_header_t header = header_of(index, 0, 1);
  const LogCapture log(3);
  msgpack_sbuffer buffer{3, reinterpret_cast<char*>(&header), 5};
  const uint8_t event_bytes[1] = {};
  set_.MsgPackToSimpleBuffer(&buffer, event_bytes, &header, "s", "flb_std");
  EXPECT_EQ(buffer.size, 0u);
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.alloc, 0u);
  EXPECT_EQ(log.errors().size(), 1u);
}

TEST_F(Events, AreRefusedWithoutEventOrHeader) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind();
  const vek_event_header_t header = header_of(index);
  msgpack_sbuffer buffer;
  set_.MsgPackToSimpleBuffer(&buffer, nullptr, &header, "s", "flb_std");
  EXPECT_EQ(buffer.data, nullptr);
  const uint8_t event_bytes[1] = {};
  set_.MsgPackToSimpleBuffer(&buffer, event_bytes, nullptr, "s", "flb_std");
  EXPECT_EQ(buffer.data, nullptr);
  set_.MsgPackToSimpleBuffer(nullptr, event_bytes, &header, "s", "flb_std");
}

TEST_F(Events, LogTheLookUpForEachAtDebugLevel) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind();
  pack(index, {1});
  const LogCapture log;
  pack(index, {1});
  // The size and the record: two look-ups.
  size_t lookups = 0;
  for (const std::string& line : log.at(7)) lookups += line.starts_with("[GetSchemaId] schema_id");
  EXPECT_EQ(lookups, 2u);
}

}  // namespace
}  // namespace vek::test
