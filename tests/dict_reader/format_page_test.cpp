// The worked example of docs/formats/dictionary_streams.md.
#include <array>

#include "dict_reader/dict_msgpack.h"
#include "tests/dict_reader/dict_fixture.h"
#include "tests/dict_reader/stream_pages.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

bool pack(dict_reader_user_ctx* context, const data_dict_message_t* message) {
  msgpack_sbuffer buffer;
  const bool packed = data_dict_pack_and_delete(message, &buffer) != 0;
  *reinterpret_cast<std::string*>(context) += to_hex(buffer.data, buffer.size) + "\n";
  msgpack_sbuffer_destroy(&buffer);
  return packed;
}

TEST(DictionaryStreamsPage, ShowsAStreamAndItsRecords) {
  const std::pair<uint64_t, std::string> events[] = {
      {0x0000000A'FFFFFFFF, bytes_of<uint64_t>(1'767'225'600'500'000)},
      {0x00000000'00000001, "watts"},
      {0x00000000'00000002, "fans"},
      {0x00000004'FFFFFFFF, ""},
      {0x00000002'00000001, bytes_of(412.5)},
      {0x00000006'00000002, ""},
      {0x00000003'00000002, bytes_of<int64_t>(4200)},
      {0x0000000B'00000002, ""},
      {0x00000007'FFFFFFFF, ""},
      {0x00000005'FFFFFFFF, ""}};
  OpaqueEventsWriter writer({.source_id = "leaf01", .tag = "dict_power", .event_size = 64});
  for (const auto& [second_word, data] : events) {
    ASSERT_TRUE(writer.whole({0, second_word}, as_bytes(data)));
  }
  std::string records;
  std::array<unsigned char, VEK_APP_ID_SIZE> any_application{};
  data_dict_reader_user_t user = {pack, reinterpret_cast<dict_reader_user_ctx*>(&records), false,
                                  true};
  DataDictionaryReader reader(&user, any_application.data(), DataDictionaryReader::kTreeDecoder);
  const auto lookup = lookup_of(writer.schema());
  for (const Image& page : writer.take_pages()) {
    ASSERT_TRUE(reader.ReadPage(reinterpret_cast<const vek_data_page_t*>(page.data()), &lookup));
  }
  EXPECT_EQ(records, "92cb41da556e4020000082a57761747473cb4079c80000000000a466616e7392cd1068c0\n");
}

}  // namespace
}  // namespace vek::test
