#include <cstring>
#include <string>
#include <vector>

#include "data/type_system.h"
#include "tests/exporter/page_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Ids = std::vector<std::vector<uint8_t>>;

// Two schemas of one type each: "alarm" {uint32_t code, char[4] text} and "link" {uint8_t port}.
OwnedTypeSystem eventTypes() {
  OwnedTypeSystem types = typeSystem({"rx", "tx"});
  const vek_type_field_info_t alarm[] = {{"code", "", "uint32_t", 0, 1},
                                         {"text", "", "char", 0, 4}};
  const vek_type_field_info_t link[] = {{"port", "", "uint8_t", 0, 1}};
  vek_schema_t* first = vek_type_system_add_schema(types.get(), "first", 1, nullptr);
  EXPECT_EQ(vek_schema_add_type(first, "alarm", alarm, 2, nullptr), 0);
  vek_schema_t* second = vek_type_system_add_schema(types.get(), "second", 1, nullptr);
  EXPECT_EQ(vek_schema_add_type(second, "link", link, 1, nullptr), 0);
  vek_type_system_update_md5_hashes(types.get());
  return types;
}

std::vector<uint8_t> alarm(uint32_t code, const char (&text)[5]) {
  std::vector<uint8_t> event(8);
  std::memcpy(event.data(), &code, sizeof code);
  std::memcpy(event.data() + 4, text, 4);
  return event;
}

std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::string alarmRecord(const std::string& code, const std::string& text) {
  return "[1.5,{\"timestamp\":1500000,\"type\":\"events\",\"type_name\":\"alarm\",\"source\":"
         "\"lab-switch\",\"code\":" +
         code + ",\"text\":\"" + text + "\"}]";
}

const char* const kLinkRecord =
    "[1.5,{\"timestamp\":1500000,\"type\":\"events\",\"type_name\":\"link\",\"source\":"
    "\"lab-switch\",\"port\":9}]";

// An exporter that has a field set, on both block paths.
class EventsPath : public PageTest, public ::testing::WithParamInterface<bool> {
 protected:
  EventsPath() {
    vek_exporter_schema_manager_from_type_system(types_.get(), &by_type_system_);
    manager_.appendTypeSystem(std::shared_ptr<const vek_type_system_t>(eventTypes()));
    exporter_.createFieldSet(nullptr, nullptr);
    log_.clear();
  }

  const vek_exporter_schema_manager_t& record() const {
    return GetParam() ? by_manager_ : by_type_system_;
  }
  std::vector<uint8_t> id(int schema) const {
    const uint8_t* digest = types_->schemas[schema]->digest;
    return {digest, digest + VEK_SCHEMA_ID_SIZE};
  }

  OwnedTypeSystem types_ = eventTypes();
};

INSTANTIATE_TEST_SUITE_P(, EventsPath, ::testing::Bool(), [](const auto& type) {
  return type.param ? "SchemaManager" : "TypeSystem";
});

TEST_P(EventsPath, SendsARecordForEachEventOfEachBlock) {
  PageWriter page = writer();
  page.schemas_block(Ids{id(0), id(1)});
  page.events_block(1'500'000, 0, 0, 2, alarm(7, "high") + alarm(300, "ok\0\0"));
  page.events_block(1'500'000, 1, 0, 1, std::vector<uint8_t>{9});
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(),
              ElementsAre(alarmRecord("7", "high"), alarmRecord("300", "ok"), kLinkRecord));
  EXPECT_THAT(log_.errors(), IsEmpty());
}

TEST_P(EventsPath, AppliesTheLastSchemasBlock) {
  PageWriter page = writer();
  page.schemas_block(Ids{id(0)});
  page.events_block(1'500'000, 0, 0, 1, alarm(7, "high"));
  page.schemas_block(Ids{id(1)});
  page.events_block(1'500'000, 0, 0, 1, std::vector<uint8_t>{9});
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(), ElementsAre(alarmRecord("7", "high"), kLinkRecord));
}

TEST_P(EventsPath, ForgetsTheSchemasBlockOfThePageBefore) {
  PageWriter first = writer();
  first.schemas_block(Ids{id(0)});
  EXPECT_TRUE(exportPage(first.finish(), record()));
  PageWriter second = writer();
  second.events_block(1'500'000, 0, 0, 1, alarm(7, "high"));
  EXPECT_TRUE(exportPage(second.finish(), record()));
  EXPECT_THAT(records(), IsEmpty());
}

TEST_P(EventsPath, DropsABlockOfAnUnknownSchemaAlone) {
  PageWriter page = writer("", 96);
  page.schemas_block(Ids{id(0), std::vector<uint8_t>(16, 0xee)});
  page.events_block(1'500'000, 1, 0, 1, std::vector<uint8_t>(8));
  page.next_block();
  page.events_block(1'500'000, 0, 5, 1, alarm(1, "none"));  // the schema has no sixth type
  page.next_block();
  page.events_block(1'500'000, 14, 0, 1, alarm(1, "none"));  // no such entry can be addressed
  page.next_block();
  page.events_block(1'500'000, 0, 0, 1, alarm(7, "high"));
  page.next_block();
  page.counters_block(1'500'000, values({7, 300}));
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(), ElementsAre(alarmRecord("7", "high"), kRecord));
}

TEST_P(EventsPath, SendsTheEventsThatFitAndDropsTheRestOfTheirBlock) {
  const auto result = run_in_child([&] {
    PageWriter page = writer("", 80);
    page.schemas_block(Ids{id(0)});
    page.next_block();
    page.events_block(1'500'000, 0, 0, 255, alarm(7, "high") + alarm(8, "high"));
    page.next_block();
    page.events_block(1'500'000, 0, 0, 1, alarm(9, "low\0"));
    const std::vector<uint8_t> image = page.finish();
    EXPECT_TRUE(exportPage(image, record()));
    // 80 bytes hold a header and eight events; six of them are padding.
    EXPECT_THAT(records(), SizeIs(9));
    EXPECT_EQ(records().back(), alarmRecord("9", "low"));
    EXPECT_TRUE(exportPage(image, record()));
    EXPECT_THAT(log_.errors(), SizeIs(1)) << "once in ten seconds";
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output << result.standard_error;
}

TEST_P(EventsPath, ReadsNothingBehindAPageCutAnywhere) {
  PageWriter page = writer();
  page.schemas_block(Ids{id(0), id(1)});
  page.events_block(1'500'000, 0, 0, 2, alarm(7, "high") + alarm(300, "full"));
  page.events_block(1'500'000, 1, 0, 1, std::vector<uint8_t>{9});
  const Image whole = page.finish();
  size_t most = 0;
  for (size_t size = VEK_PAGE_HEADER_SIZE; size <= whole.size(); ++size) {
    engine().records.clear();
    Image cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    headerOf(cut).total = size;
    const GuardedBytes guarded(cut);
    exporter_.exportDataPage(guarded.as<vek_data_page_t>(), &record());
    EXPECT_GE(records().size(), most) << size;
    most = records().size();
  }
  EXPECT_EQ(most, 3u);
}

TEST_P(EventsPath, SendsInTheLayoutThatWasSet) {
  exporter_.setMsgpackDataLayout("custom");
  PageWriter page = writer();
  page.schemas_block(Ids{id(1)});
  page.events_block(1'500'000, 0, 0, 1, std::vector<uint8_t>{9});
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(),
              ElementsAre("{\"timestamp\":1500000,\"type\":\"events\",\"type_name\":"
                          "\"link\",\"source\":\"lab-switch\",\"values\":{\"port\":9}}"));
}

class FieldSetFile : public PageTest {};

TEST_F(FieldSetFile, ChoosesAndRenamesFields) {
  const OwnedTypeSystem types = eventTypes();
  vek_exporter_schema_manager_from_type_system(types.get(), &by_type_system_);
  exporter_.createFieldSet(nullptr, dir_.write("a.fset", "[alarm]\nnumber=^code$\n").c_str());
  const uint8_t* digest = types->schemas[0]->digest;
  PageWriter page = writer();
  page.schemas_block(Ids{{digest, digest + VEK_SCHEMA_ID_SIZE}});
  page.events_block(1'500'000, 0, 0, 1, alarm(7, "high"));
  EXPECT_TRUE(exportPage(page.finish(), by_type_system_));
  EXPECT_THAT(records(),
              ElementsAre("[1.5,{\"timestamp\":1500000,\"type\":\"events\",\"type_name\":\"alarm\","
                          "\"source\":\"lab-switch\",\"number\":7,\"code\":7}]"));
}

// The message's limit is the process's, so the test has a process of its own.
TEST_F(FieldSetFile, ThatCannotBeOpenedKeepsEventsBackAndLetsCountersFlow) {
  const auto result = run_in_child([&] {
    exporter_.createFieldSet(nullptr, "/nonexistent/a.fset");
    EXPECT_TRUE(exportPage(countersPage(), by_type_system_));
    PageWriter page = writer();
    page.events_block(1, 0, 0, 1, std::vector<uint8_t>(8));
    EXPECT_FALSE(exportPage(page.finish(), by_type_system_));
    EXPECT_THAT(records(), ElementsAre(kRecord));
    EXPECT_TRUE(log_.has(4, "Cannot open field set file /nonexistent/a.fset"));
    EXPECT_THAT(log_.errors(), SizeIs(1));
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output << result.standard_error;
}

TEST_F(FieldSetFile, IsReadOnceAndBoundAgainForATypeSystemThatHoldsEvents) {
  const OwnedTypeSystem types = eventTypes();
  exporter_.setFieldsetFile(nullptr);
  exporter_.updateSetsWithTypeSystem(types.get());
  const uint8_t* digest = types->schemas[1]->digest;
  PageWriter page = writer();
  page.schemas_block(Ids{{digest, digest + VEK_SCHEMA_ID_SIZE}});
  page.events_block(1'500'000, 0, 0, 1, std::vector<uint8_t>{9});
  vek_exporter_schema_manager_from_type_system(nullptr, &by_type_system_);
  EXPECT_TRUE(exportPage(page.finish(), by_type_system_));
  EXPECT_THAT(records(), ElementsAre(kLinkRecord)) << "bound before any page came";
}

}  // namespace
}  // namespace vek::test
