#include "dict_reader/data_dict.h"

#include "tests/dict_reader/dict_fixture.h"
#include "tests/support/fail_allocation.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;

TEST(DataDictReaderUser, BeginsWithoutCallbackAndReleasesMessages) {
  const Owned<data_dict_reader_user_t, data_dict_reader_user_destroy> user(
      data_dict_reader_user_init());
  ASSERT_TRUE(user);
  EXPECT_EQ(user->callback, nullptr);
  EXPECT_EQ(user->context, nullptr);
  EXPECT_FALSE(user->send_root_only);
  EXPECT_TRUE(user->release_messages);
}

TEST(DataDictMessage, BorrowsItsTextsAndBeginsEmpty) {
  const char source[] = "leaf01";
  const char tag[] = "dict_t";
  const OwnedMessage message(data_dict_message_init(source, tag));
  ASSERT_TRUE(message);
  EXPECT_EQ(message->source_id, source);
  EXPECT_EQ(message->tag, tag);
  EXPECT_EQ(message->root, nullptr);
  EXPECT_EQ(message->timestamp, 0u);
}

// Tells when it is deleted.
class Told final : public DataObject {
 public:
  explicit Told(int& deleted) : DataObject(nullptr, DATA_ITEM_NONE, false), deleted_(deleted) {}
  ~Told() override { ++deleted_; }

 private:
  int& deleted_;
};

TEST(DataDictMessage, ReleasesTheWholeTree) {
  int deleted = 0;
  data_dict_message_t* const message = data_dict_message_init("s", "t");
  auto* const root = new ContainerDataObject(nullptr, DATA_ITEM_LIST, false);
  auto* const inner = new ContainerDataObject(nullptr, DATA_ITEM_LIST, false);
  root->AddDataObject(new Told(deleted));
  root->AddDataObject(inner);
  inner->AddDataObject(new Told(deleted));
  message->root = root;
  data_dict_message_destroy(message);
  EXPECT_EQ(deleted, 2);
  data_dict_message_destroy(nullptr);
}

TEST(DataDict, SaysSoWhenThereIsNoMemory) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const LogCapture log;
  {
    FailAllocation failing(1);
    EXPECT_EQ(data_dict_reader_user_init(), nullptr);
    EXPECT_TRUE(failing.disarm());
  }
  {
    FailAllocation failing(1);
    EXPECT_EQ(data_dict_message_init("s", "t"), nullptr);
    EXPECT_TRUE(failing.disarm());
  }
  EXPECT_THAT(log.errors(), ElementsAre("Cannot allocate data_dict_reader_user_t",
                                        "Cannot allocate data_dict_message_t"));
}

}  // namespace
}  // namespace vek::test
