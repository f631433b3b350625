// Field-set files, over types that nest and have names worth naming. Whatever a file says, a type's
// fields are those of the plain rules, and its records are sound.
#include <memory>
#include <string>

#include "field_set/field_set.h"
#include "field_set/field_set_observer.h"
#include "fuzz/generated.h"
#include "fuzz/records.h"
#include "fuzz/support.h"
#include "tests/field_set/plain_events.h"

namespace {

using vek::fuzz::require;

const vek_type_system_t* types() {
  static const vek::fuzz::TypeSystem made = [] {
    std::string seed;
    for (int i = 0; i < 400; ++i) seed += static_cast<char>(i * 37 + i / 7);
    vek::fuzz::Supply supply(reinterpret_cast<const uint8_t*>(seed.data()), seed.size());
    return vek::fuzz::type_system(supply);
  }();
  return made.get();
}

// Keeps the lines that it is told of.
class Lines : public vek::FieldSetObserver {
 public:
  void on_field_set_line(const vek::FieldSetLine& line) override {
    const vek::fuzz::OffTheBooks own;
    require(line.number > last_, "lines come in order");
    require(line.column >= 1 && !line.text.empty(), "a line has a place, and says something");
    last_ = line.number;
    all.emplace_back(line.text);
  }
  void on_type(const std::string&, bool, const std::string&, const vek::field_set_t&) override {}
  void on_field_token(const std::string&, const std::string&, const vek::field_t&,
                      vek::FieldTokenEffect) override {}
  std::vector<std::string> all;

 private:
  size_t last_ = 0;
};

// A file, and its lines handed over, are the same.
void require_same_by_lines(const vek::FieldSet& set, const std::vector<std::string>& lines) {
  vek::FieldSet by_lines;
  by_lines.initializeFromLines(types(), lines);
  require(by_lines.tokens_by_type() == set.tokens_by_type(), "lines make the file's tokens");
  require(by_lines.meta_fields_aliases_by_type() == set.meta_fields_aliases_by_type() &&
              by_lines.meta_fields_constants_by_type() == set.meta_fields_constants_by_type(),
          "and its meta fields");
  require(by_lines.types_of_interest() == set.types_of_interest(), "for the same types");
}

void check_type(vek::FieldSet& set, vek::test::PlainFieldSet& plain_set, uint16_t index) {
  const vek_schema_t& schema = *types()->schemas[0];
  const vek::test::PlainType plain = plain_set.bind(*schema.types[index]);
  const auto fields = set.getFields(&schema, static_cast<uint8_t>(index));
  require(fields.size() == plain.fields.size(), "the fields are those of the type");
  for (size_t i = 0; i < fields.size(); ++i) {
    require(fields[i].skip == plain.fields[i].skip, "what leaves is what the plain rules say");
  }
  vek_event_header_t header{};
  header.type_index = index;
  const std::unique_ptr<uint8_t[]> event(new uint8_t[plain.size]());
  vek::RecordBuffer record;
  set.MsgPackToSimpleBuffer(record.get(), event.get(), &header, "source", "flb_std");
  const std::string bytes = vek::fuzz::bytes_of(record);
  require(bytes.empty() == (plain.num_included == 0), "types with fields make records");
  vek::RecordBuffer expected;
  plain_set.pack(expected.get(), plain, event.get(), header.timestamp, "source", "flb_std");
  require(bytes == vek::fuzz::bytes_of(expected), "a record is what the plain rules make");
  // Aliases that are equal, or the name of another meta field, are counted once and written twice.
  if (!bytes.empty() && plain.aliased_meta_fields.empty()) vek::fuzz::require_sound_record(bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const vek_schema_t& schema = *types()->schemas[0];
  const vek::fuzz::InputFile file({reinterpret_cast<const char*>(data), size});
  vek::FieldSet set;
  Lines lines;
  set.setObserver(&lines);
  {
    const vek::fuzz::Budget budget(size, 40);  // each line goes to each type that its section names
    require(set.LoadFromFile(file.path()), "the file is read");
  }
  set.setObserver(nullptr);
  vek::test::PlainFieldSet plain({set.tokens_by_type(), set.meta_fields_aliases_by_type(),
                                  set.meta_fields_constants_by_type(), set.types_of_interest()});
  set.updateWithNewSchemas(types(), false);
  if (size % 4 == 0) require_same_by_lines(set, lines.all);
  if (size % 4 == 3) {
    vek::FieldSet none;
    require(!none.initializeFromFile(types(), "/proc/self/none.fset") &&
                !none.initializeFromFile(&schema, "/proc/self/none.fset") &&
                none.tokens_by_type().empty(),
            "a file that is not there makes nothing");
  }
  if (size % 4 == 2) {
    vek::FieldSet by_schema;
    by_schema.initializeFromLines(&schema, lines.all);
    vek::FieldSet at_once;
    require(at_once.initializeFromFile(&schema, file.path()), "the file is read for one schema");
    require(at_once.tokens_by_type() == by_schema.tokens_by_type(), "as its lines are");
  }
  if (size % 4 == 1) {
    vek::FieldSet at_once;
    require(at_once.initializeFromFile(types(), file.path()), "the file is read and bound at once");
    require(at_once.tokens_by_type() == set.tokens_by_type(), "which makes the same tokens");
  }
  vek_schema_block_t block{};
  block.length = VEK_BLOCK_HEADER_SIZE + VEK_SCHEMA_ID_SIZE;
  std::copy_n(schema.digest, VEK_SCHEMA_ID_SIZE, block.schema_ids[0]);
  set.SaveLastSchemaBlock(&block);
  for (uint16_t i = 0; i < schema.num_types; ++i) check_type(set, plain, i);
  return 0;
}
