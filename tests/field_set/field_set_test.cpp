#include "field_set/field_set.h"

#include <gmock/gmock.h>

#include "json/json.h"
#include "schema_manager/schema_manager.h"
#include "tests/field_set/events_fixture.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FieldSetLookUps : public EventsTest {
 protected:
  FieldSetLookUps() { type("t", {{"a", "uint32_t"}, {"b", "uint8_t"}}); }

  std::string id() const {
    char text[VEK_SCHEMA_ID_TEXT_SIZE];
    vek_schema_id_to_schema_string(schema_->digest, text);
    return text;
  }
};

TEST_F(FieldSetLookUps, KnowNothingBeforeBinding) {
  EXPECT_EQ(set_.GetSchemaId(schema_), -1);
  EXPECT_EQ(set_.GetSchemaId(static_cast<const vek_schema_t*>(nullptr)), -1);
  const vek_event_header_t header = header_of(0);
  const LogCapture log;
  EXPECT_EQ(set_.GetSchemaId(&header), -1);
  EXPECT_EQ(set_.GetTypeSize(&header), 0u);
  EXPECT_EQ(set_.findPlan(&header), nullptr);
}

TEST_F(FieldSetLookUps, FindASchemaByTextAndByBlock) {
  bind();
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(schema_->digest, text);
  EXPECT_EQ(set_.GetSchemaId(text), 0);
  text[0] = text[0] == 'f' ? '0' : 'f';
  EXPECT_EQ(set_.GetSchemaId(text), -1);

  const vek_event_header_t header = header_of(0);
  SchemasBlock block(ts_.get());
  const LogCapture log;
  EXPECT_EQ(set_.GetSchemaId(&header, block.get()), 0);
  EXPECT_EQ(set_.GetSchemaId(&header), 0);
  EXPECT_EQ(log.count(7, "[GetSchemaId] schema_id ='" + id() + "', cache id = 0"), 2u);
  EXPECT_EQ(set_.GetTypeSize(&header, block.get()), 5u);
  EXPECT_EQ(set_.GetTypeSize(&header), 5u);
  EXPECT_THAT(all_names(set_.getFields(&header, block.get())), ElementsAre("a", "b"));
}

TEST_F(FieldSetLookUps, RefuseACorruptedIndex) {
  bind();
  const LogCapture log(6);
  for (const uint8_t index : {uint8_t{14}, uint8_t{255}}) {
    const vek_event_header_t header = header_of(0, 0, index);
    EXPECT_EQ(set_.GetSchemaId(&header), -1);
    EXPECT_EQ(set_.GetTypeSize(&header), 0u);
  }
  EXPECT_EQ(log.count(3,
                      "[GetSchemaId] data block schema_index is corrupted = 14, should be less "
                      "that 14"),
            2u);
  EXPECT_EQ(log.count(3,
                      "[GetSchemaId] data block schema_index is corrupted = 255, should be less "
                      "that 14"),
            2u);
}

TEST_F(FieldSetLookUps, ReportAnUnknownSchema) {
  bind();
  SchemasBlock block(ts_.get());
  block.bytes()[16] ^= 0xff;
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(block.bytes().data() + 16, text);
  const vek_event_header_t header = header_of(0);
  const LogCapture log;
  EXPECT_EQ(set_.GetSchemaId(&header, block.get()), -1);
  EXPECT_THAT(log.errors(),
              ElementsAre(std::string("[GetSchemaId] cannot find schema idx! schema_id = ") + text +
                          ", event_block_header->schema_index = 0"));
}

TEST_F(FieldSetLookUps, NeverReadBehindTheSchemasBlock) {
  bind();
  const LogCapture log(3);
  for (uint8_t index = 0; index <= 13; ++index) {
    for (uint16_t length = 16; length <= 16 + 14 * 16; ++length) {
      std::vector<uint8_t> bytes(length);
      std::memcpy(bytes.data() + 4, &length, sizeof(length));
      const size_t offset = 16 + size_t{index} * 16;
      const bool inside = offset + 16 <= length;
      if (inside) std::memcpy(bytes.data() + offset, schema_->digest, 16);
      const GuardedBytes guarded(bytes);
      set_.SaveLastSchemaBlock(guarded.as<vek_schema_block_t>());
      const vek_event_header_t header = header_of(0, 0, index);
      ASSERT_EQ(set_.GetSchemaId(&header), inside ? 0 : -1) << int{index} << " " << length;
      ASSERT_EQ(set_.GetTypeSize(&header), inside ? 5u : 0u);
    }
  }
  set_.SaveLastSchemaBlock(nullptr);
}

TEST_F(FieldSetLookUps, ForgetABlockThatIsTakenBack) {
  bind();
  set_.SaveLastSchemaBlock(nullptr);
  const vek_event_header_t header = header_of(0);
  const LogCapture log(3);
  EXPECT_EQ(set_.GetSchemaId(&header), -1);
  EXPECT_EQ(set_.GetTypeSize(&header), 0u);
}

TEST_F(FieldSetLookUps, KnowNoTypeBeyondTheSchemasLast) {
  bind();
  for (const uint16_t index : std::initializer_list<uint16_t>{1, 253, 254, 65535}) {
    const vek_event_header_t header = header_of(index);
    EXPECT_EQ(set_.GetTypeSize(&header), 0u);
    EXPECT_EQ(set_.findPlan(&header), nullptr);
    msgpack_sbuffer buffer;
    const uint8_t event[8] = {};
    set_.MsgPackToSimpleBuffer(&buffer, event, &header, "s", "flb_std");
    EXPECT_EQ(buffer.size, 0u);
    EXPECT_EQ(buffer.data, nullptr);
  }
}

// The same place of the small table serves many types: each is told apart by identifier and index.
TEST_F(FieldSetLookUps, TellManyTypesApart) {
  std::vector<vek_schema_t*> schemas{schema_};
  for (int s = 1; s < 4; ++s) {
    schemas.push_back(vek_type_system_add_schema(ts_.get(), "s", 1, nullptr));
    for (uint32_t t = 0; t < 130; ++t) {
      add_type(schemas.back(), "t" + std::to_string(t),
               {{"f" + std::to_string(s), "uint8_t", t + 1 + 200 * static_cast<uint32_t>(s)}});
    }
  }
  bind();
  for (int round = 0; round < 2; ++round) {
    for (uint8_t s = 1; s < 4; ++s) {
      for (uint16_t t = 0; t < 130; ++t) {
        const vek_event_header_t header = header_of(t, 0, s);
        ASSERT_EQ(set_.GetTypeSize(&header), t + 1u + 200u * s);
      }
    }
  }
}

TEST_F(FieldSetLookUps, CopyFieldsByTypeIndex) {
  bind();
  const LogCapture log;
  EXPECT_THAT(all_names(set_.getFields(schema_, 0)), ElementsAre("a", "b"));
  EXPECT_THAT(set_.getFields(schema_, 1), IsEmpty());
  EXPECT_TRUE(log.has(7, "FieldSet::getFields: schema_id = 0 type_id=0"));
  EXPECT_THAT(set_.getFields(nullptr, nullptr), IsEmpty());
}

TEST_F(FieldSetLookUps, PrepareAccessCopiesTheFields) {
  bind();
  EXPECT_THAT(set_.prepared_fields(), IsEmpty());
  set_.PrepareAccess(0, 0);
  EXPECT_THAT(all_names(set_.prepared_fields()), ElementsAre("a", "b"));
  set_.PrepareAccess(0, 1);
  EXPECT_THAT(set_.prepared_fields(), IsEmpty());
  set_.PrepareAccess(255, 0);
  EXPECT_THAT(set_.prepared_fields(), IsEmpty());
}

// A schema that came as part of a document has its identifier as bytes only.
TEST_F(FieldSetLookUps, WorkForSchemasOfADocument) {
  vek_type_system_update_md5_hashes(ts_.get());
  char* text = vek_type_system_serialize(ts_.get(), false);
  const TypeSystem read(vek_type_system_deserialize(text));
  json_free_serialized_string(text);
  ASSERT_TRUE(read);
  set_.updateWithNewSchemas(read.get(), false);
  EXPECT_EQ(set_.GetSchemaId(read->schemas[0]), 0);
  SchemasBlock block(read.get());
  const vek_event_header_t header = header_of(0);
  EXPECT_EQ(set_.GetSchemaId(&header, block.get()), 0);
}

class FieldSetKix : public EventsTest {
 protected:
  std::shared_ptr<vek_type_system_t> shared() {
    vek_type_system_update_md5_hashes(ts_.get());
    return {ts_.release(), vek_destroy_type_system};
  }
  SchemaManager manager_;
};

TEST_F(FieldSetKix, BindsWhatTheManagerHolds) {
  type("kelvra_smi_event", {{"a", "bool"}});
  type("u", {{"b", "bool"}});
  vek_schema_t* second = vek_type_system_add_schema(ts_.get(), "second", 1, nullptr);
  add_type(second, "v", {{"c", "bool"}});
  manager_.appendTypeSystem(shared());
  const LogCapture log;
  set_.updateWithNewSchemas_kix(&manager_);
  EXPECT_THAT(all_names(set_.getFields(schema_, 1)), ElementsAre("b"));
  EXPECT_THAT(all_names(set_.getFields(second, 0)), ElementsAre("c"));
  EXPECT_TRUE(log.has(7, "[kelvra_smi_event] Fields with empty strings will be skipped"));
  EXPECT_TRUE(log.has(7, "[updateWithNewSchemas_kix] updating fset with 2 new schemas"));
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(second->digest, text);
  const std::string need =
      std::string("[updateWithNewSchemas_kix] need to add schema '") + text + "'";
  EXPECT_EQ(log.count(7, need), 1u);
  set_.updateWithNewSchemas_kix(&manager_);
  EXPECT_EQ(log.count(7, need), 1u);
}

TEST_F(FieldSetKix, SeesWhatTheManagerGainedSince) {
  type("t", {{"a", "bool"}});
  set_.updateWithNewSchemas_kix(&manager_);
  manager_.appendTypeSystem(shared());
  set_.updateWithNewSchemas_kix(&manager_);
  EXPECT_EQ(set_.GetSchemaId(schema_), 0);
}

TEST_F(FieldSetKix, ReportsAMissingTypeWithItsSchema) {
  type("t", {{"a", "bool"}});
  manager_.appendTypeSystem(shared());
  vek_type_definition_t* const hidden = schema_->types[0];
  schema_->types[0] = nullptr;
  const LogCapture log;
  set_.updateWithNewSchemas_kix(&manager_);
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(schema_->digest, text);
  EXPECT_THAT(log.errors(),
              ElementsAre(std::string("Type definition 0 not found for schema ") + text));
  schema_->types[0] = hidden;
}

TEST_F(FieldSetKix, HasTheManagerLoadWhatThePageNames) {
  type("t", {{"a", "bool"}});
  vek_type_system_update_md5_hashes(ts_.get());
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(schema_->digest, text);
  const TempDir dir;
  JSON_Value* json = vek_schema_jsonify(schema_);
  char* document = json_serialize_to_string_pretty(json);
  dir.write(std::string("schema_") + text + ".json", document);
  json_free_serialized_string(document);
  json_value_free(json);
  manager_.setSchemaDir(dir.path());

  set_.updateWithNewSchemas_kix(&manager_);
  EXPECT_EQ(set_.GetSchemaId(schema_), -1);
  SchemasBlock block({schema_});
  set_.SaveLastSchemaBlock(block.get());
  set_.updateWithNewSchemas_kix(&manager_);
  EXPECT_EQ(set_.GetSchemaId(schema_), 0);
  const vek_event_header_t header = header_of(0);
  EXPECT_EQ(set_.GetTypeSize(&header), 1u);
}

// Identifiers that name no schema are not looked for.
TEST_F(FieldSetKix, DoesNotAskForUnsetAndBlobIdentifiers) {
  SchemasBlock block({schema_, schema_});
  std::memset(block.bytes().data() + 16, 0, 16);
  vek_schema_id_set_blob(block.bytes().data() + 32);
  set_.SaveLastSchemaBlock(block.get());
  const LogCapture log(4);
  set_.updateWithNewSchemas_kix(&manager_);
  EXPECT_THAT(log.lines(), IsEmpty());
}

class PrintedFieldSet : public EventsTest {};

TEST_F(PrintedFieldSet, ShowsEveryField) {
  type("t", {{"a", "uint32_t"}, {"s", "char", 4}});
  bind({"s"});
  ::testing::internal::CaptureStdout();
  set_.PrintFieldSet();
  std::fflush(stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "\n\n[PRINT FIELD SET]:num_included = 1\n"
            "field:"
            "      name         = a\n"
            "      skip         = 1\n"
            "      name_len     = 1\n"
            "      data_str_len = 0\n"
            "      offset       = 0\n"
            "      field_type   = uint32_t\n"
            "field:"
            "      name         = s\n"
            "      skip         = 0\n"
            "      name_len     = 1\n"
            "      data_str_len = 0\n"
            "      offset       = 4\n"
            "      field_type   = char\n"
            "\n");
}

TEST_F(PrintedFieldSet, SaysThatThereIsNone) {
  ::testing::internal::CaptureStdout();
  set_.PrintFieldSet();
  FieldSet::PrintFieldSet(nullptr);
  std::fflush(stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "\n\n[PRINT FIELD SET]:\n\nNULL\n\n[PRINT FIELD SET]:\n\nNULL");
}

}  // namespace
}  // namespace vek::test
