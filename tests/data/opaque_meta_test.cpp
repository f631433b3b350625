#include "data/opaque_meta.h"

#include "tests/data/opaque_fixture.h"
#include "tests/support/guarded_bytes.h"

namespace {

using namespace vek::test;
using namespace std::string_literals;

// The pairs, or the error that they give.
struct Meta {
  bool accepted = false;
  Options options;
  std::vector<std::string> errors;
};

Meta read(const std::string& bytes) {
  const GuardedBytes guarded(bytes.data(), bytes.size());
  const LogCapture log;
  const vek::OwnedOptions options = vek::read_opaque_meta(guarded.bytes());
  Meta meta;
  meta.accepted = options != nullptr;
  if (options) vek_dict_enum(options.get(), Recorder::add_option, &meta.options);
  meta.errors = log.errors();
  return meta;
}

TEST(OpaqueMeta, ReadsPairsUntilTheBytesEnd) {
  const struct {
    std::string bytes;
    Options expected;
  } cases[] = {
      {"", {}},
      {"k=v\0"s, {{"k", "v"}}},
      {"a=1\0b=2\0c=3\0"s, {{"a", "1"}, {"b", "2"}, {"c", "3"}}},
      {"k=\0"s, {{"k", ""}}},                       // an empty value
      {"k=a=b=\0"s, {{"k", "a=b="}}},               // the first sign counts
      {"k=1\0k=2\0"s, {{"k", "2"}}},                // the last pair counts
      {" k = v \0"s, {{" k ", " v "}}},             // nothing is trimmed
      {"k=v"s, {{"k", "v"}}},                       // ended by its field
      {"a=1\0k="s, {{"a", "1"}, {"k", ""}}},        // likewise
      {"\xFF\xFE=\x80\0"s, {{"\xFF\xFE", "\x80"}}}  // any bytes
  };
  for (const auto& c : cases) {
    const Meta meta = read(c.bytes);
    EXPECT_TRUE(meta.accepted) << c.bytes;
    EXPECT_EQ(meta.options, c.expected);
    EXPECT_TRUE(meta.errors.empty());
  }
}

TEST(OpaqueMeta, RefusesTextsWithoutADelimiterOrAKey) {
  const std::string no_delimiter = "Invaid meta event data (no delimeter)";
  const struct {
    std::string bytes;
    std::string error;
  } cases[] = {
      {"k\0"s, no_delimiter},
      {"k"s, no_delimiter},
      {"\0"s, no_delimiter},       // an empty text is one too
      {"k=v\0\0"s, no_delimiter},  // padding is not
      {"k=v\0x\0y=z\0"s, no_delimiter},
      {"=v\0"s, "Invaid meta event data (no key): =v"},
      {"=\0"s, "Invaid meta event data (no key): ="},
      {"a=1\0=b=c"s, "Invaid meta event data (no key): =b=c"},
  };
  for (const auto& c : cases) {
    const Meta meta = read(c.bytes);
    EXPECT_FALSE(meta.accepted) << c.bytes;
    EXPECT_EQ(meta.errors, prefixed({c.error}));
  }
}

TEST(OpaqueMeta, ABadTextFailsThePage) {
  Extraction extraction;
  LogCapture log;
  EXPECT_FALSE(extraction.send({start(1, 1, "=v\0"s), chunk(1, 0, "a")}));
  EXPECT_EQ(
      log.errors(),
      prefixed({"Invaid meta event data (no key): =v", "Unable to allocate source info",
                "Unable to handle a relevant opaque event", "events block processing failed"}));
  EXPECT_TRUE(extraction.send({chunk(1, 0, "a")}));
  EXPECT_TRUE(extraction.recorder.deliveries.empty());
}

TEST(OpaqueMeta, MayFillTheEventWithoutANul) {
  Extraction extraction;
  const std::string value(73, 'v');
  ASSERT_TRUE(extraction.send({start(1, 1, "k=" + value), chunk(1, 0, "a")}));
  EXPECT_EQ(extraction.recorder.deliveries.at(0).options, (Options{{"k", value}}));
}

}  // namespace
