#include "schema_manager/fillings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "schema_manager/schema_manager.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using SchemaBlock = std::vector<uint8_t>;

// A schemas block that claims `length` bytes and holds these identifiers.
SchemaBlock schemaBlock(uint16_t length, const std::vector<const uint8_t*>& ids) {
  SchemaBlock block(16);
  std::memcpy(block.data(), "VEKS", 4);
  std::memcpy(block.data() + 4, &length, sizeof length);
  for (const uint8_t* id : ids) block.insert(block.end(), id, id + VEK_SCHEMA_ID_SIZE);
  return block;
}

SchemaBlock schemaBlock(const std::vector<const uint8_t*>& ids) {
  return schemaBlock(static_cast<uint16_t>(16 + 16 * ids.size()), ids);
}

vek_event_header_t header(uint8_t schema_index, uint16_t type_index) {
  vek_event_header_t header{};
  header.schema_index = schema_index;
  header.type_index = type_index;
  return header;
}

// Both fillings find types in the same way.
class Fillings : public ::testing::TestWithParam<bool> {
 protected:
  Fillings() {
    OwnedTypeSystem made = typeSystem({"rx"});
    addEvents(*made, "a", "uint64_t");
    addEvents(*made, "b", "uint32_t");
    type_system_ = std::shared_ptr<const vek_type_system_t>(std::move(made));
    manager_.appendTypeSystem(type_system_);
    if (GetParam()) {
      vek_exporter_schema_manager_from_manager(&manager_, &record_);
    } else {
      vek_exporter_schema_manager_from_type_system(type_system_.get(), &record_);
    }
  }

  const uint8_t* id(size_t schema) const { return type_system_->schemas[schema]->digest; }

  // The block's bytes end where unreadable memory begins.
  const vek_type_definition_t* find(const SchemaBlock& block, const vek_event_header_t& events) {
    const GuardedBytes guarded(block);
    return record_.find_event_type(record_.context, guarded.as<vek_schema_block_t>(), &events);
  }

  LogCapture log_;
  std::shared_ptr<const vek_type_system_t> type_system_;
  SchemaManager manager_;
  vek_exporter_schema_manager_t record_{};
};

INSTANTIATE_TEST_SUITE_P(, Fillings, ::testing::Bool(), [](const auto& type) {
  return type.param ? "SchemaManager" : "TypeSystem";
});

TEST_P(Fillings, SayWhatTheyHold) {
  EXPECT_EQ(record_.has_schema_manager, GetParam() ? 1 : 0);
  EXPECT_EQ(record_.schema_manager, GetParam() ? &manager_ : nullptr);
  EXPECT_EQ(record_.type_system, GetParam() ? nullptr : type_system_.get());
}

TEST_P(Fillings, FindATypeThroughTheSchemasBlock) {
  const SchemaBlock block = schemaBlock({id(1), id(0)});
  const vek_type_definition_t* type = find(block, header(0, 0));
  ASSERT_NE(type, nullptr);
  EXPECT_STREQ(type->name, "b");
  type = find(block, header(1, 0));
  ASSERT_NE(type, nullptr);
  EXPECT_STREQ(type->name, "a");
}

TEST_P(Fillings, ReachTheLastAddressableEntry) {
  EXPECT_NE(find(schemaBlock(std::vector<const uint8_t*>(14, id(0))), header(13, 0)), nullptr);
  EXPECT_EQ(find(schemaBlock(std::vector<const uint8_t*>(15, id(0))), header(14, 0)), nullptr);
}

TEST_P(Fillings, KnowNoTypeOfAMissingPiece) {
  const uint8_t unknown[VEK_SCHEMA_ID_SIZE] = {1, 2, 3};
  const uint8_t unset[VEK_SCHEMA_ID_SIZE] = {};
  const vek_event_header_t events = header(0, 0);
  EXPECT_EQ(find(schemaBlock({id(0)}), header(1, 0)), nullptr) << "entry behind the block's end";
  EXPECT_EQ(find(schemaBlock(31, {id(0)}), events), nullptr) << "entry cut by the block's end";
  EXPECT_EQ(find(schemaBlock(0, {}), events), nullptr);
  EXPECT_EQ(find(schemaBlock({id(0)}), header(0, 1)), nullptr) << "type the schema lacks";
  EXPECT_EQ(find(schemaBlock({id(0)}), header(0, 65535)), nullptr);
  EXPECT_EQ(find(schemaBlock({unknown}), events), nullptr);
  EXPECT_EQ(find(schemaBlock({unset}), events), nullptr);
  EXPECT_EQ(record_.find_event_type(record_.context, nullptr, &events), nullptr);
  const SchemaBlock block = schemaBlock({id(0)});
  const auto* bytes = reinterpret_cast<const vek_schema_block_t*>(block.data());
  EXPECT_EQ(record_.find_event_type(record_.context, bytes, nullptr), nullptr);
  EXPECT_EQ(record_.find_event_type(nullptr, bytes, &events), nullptr);
}

TEST_P(Fillings, NeverTakeAnUnsetIdentifierForASchemaWithoutDigest) {
  OwnedTypeSystem made(vek_create_type_system());
  vek_schema_t* schema = addEvents(*made, "c", "uint64_t");
  vek_reset_schema_id(schema->digest);
  vek_schema_id_to_schema_string(schema->digest, schema->id_string);  // as an added schema starts
  vek_exporter_schema_manager_t record{};
  vek_exporter_schema_manager_from_type_system(made.get(), &record);
  const uint8_t unset[VEK_SCHEMA_ID_SIZE] = {};
  const SchemaBlock block = schemaBlock({unset});
  const vek_event_header_t events = header(0, 0);
  EXPECT_EQ(record.find_event_type(
                record.context, reinterpret_cast<const vek_schema_block_t*>(block.data()), &events),
            nullptr);
}

TEST_P(Fillings, ReadBlocksAtAnyAddress) {
  const SchemaBlock block = schemaBlock({id(0)});
  std::vector<uint8_t> shifted(1);
  shifted.insert(shifted.end(), block.begin(), block.end());
  const vek_event_header_t events = header(0, 0);
  EXPECT_NE(record_.find_event_type(record_.context,
                                    reinterpret_cast<const vek_schema_block_t*>(shifted.data() + 1),
                                    &events),
            nullptr);
}

TEST(FillingsForNobody, DoNothing) {
  vek_exporter_schema_manager_from_type_system(nullptr, nullptr);
  vek_exporter_schema_manager_from_manager(nullptr, nullptr);
  vek_exporter_schema_manager_t record{};
  record.has_schema_manager = 7;
  vek_exporter_schema_manager_from_type_system(nullptr, &record);
  EXPECT_EQ(record.has_schema_manager, 0);
  EXPECT_EQ(record.type_system, nullptr);
}

TEST(ManagerForC, LoadsFromItsDirectory) {
  const LogCapture log;
  const TempDir dir;
  dir.write("schema_" + countersIdOf({"rx"}) + ".json", countersDocument({"rx"}));
  vek_schema_manager_t* manager = vek_schema_manager_create(dir.path().c_str());
  ASSERT_NE(manager, nullptr);
  uint8_t id[VEK_SCHEMA_ID_SIZE];
  vek_schema_from_id_string(countersIdOf({"rx"}).c_str(), id);
  EXPECT_NE(manager->getCountersSchema(data::SchemaId(id)), nullptr);
  vek_schema_manager_destroy(manager);
}

TEST(ManagerForC, AppendsATypeSystemOrSaysNo) {
  const LogCapture log;
  vek_schema_manager_t* manager = vek_schema_manager_create(nullptr);
  ASSERT_NE(manager, nullptr);
  EXPECT_TRUE(
      vek_schema_manager_append_type_system(manager, typeSystemDocument({"rx"}, "link").c_str()));
  EXPECT_FALSE(vek_schema_manager_append_type_system(manager, "{"));
  EXPECT_TRUE(log.has(7, "[schema manager] failed parsing schema string"));
  EXPECT_FALSE(vek_schema_manager_append_type_system(manager, nullptr));
  EXPECT_FALSE(vek_schema_manager_append_type_system(nullptr, "{}"));
  vek_schema_manager_destroy(manager);
  vek_schema_manager_destroy(nullptr);
}

}  // namespace
}  // namespace vek::test
