// Random dictionaries, written as streams of many sources and read back as records.
#include <array>
#include <memory>

#include "dict_reader/dict_msgpack.h"
#include "tests/dict_reader/dict_fixture.h"
#include "tests/dict_reader/stream_pages.h"
#include "tests/support/dice.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

std::array<unsigned char, VEK_APP_ID_SIZE> g_any_app{};

struct Node {
  data_item_e type = DATA_ITEM_NONE;
  std::string key;
  std::string text;
  uint64_t bits = 0;
  std::vector<Node> children;
};

Node random_node(Dice& dice, uint32_t depth, const std::vector<std::string>& keys) {
  Node node;
  node.key = keys[dice.upto(static_cast<uint32_t>(keys.size()) - 1)];
  node.type = static_cast<data_item_e>(1 + dice.upto(depth > 0 ? 6 : 3));
  if (depth == 0 && node.type == DATA_ITEM_BOOL && dice.upto(1)) node.type = DATA_ITEM_NONE;
  node.bits = dice.word() >> dice.upto(63);
  if (node.type == DATA_ITEM_LONG && dice.upto(1)) node.bits = ~node.bits;
  if (node.type == DATA_ITEM_STRING) node.text = dice.bytes(dice.upto(9) ? 40 : 900);
  if (node.type == DATA_ITEM_DICT || node.type == DATA_ITEM_LIST) {
    for (uint32_t i = dice.upto(6); i > 0; --i) {
      node.children.push_back(random_node(dice, depth - 1, keys));
    }
  }
  return node;
}

// The same value, packed straight from the model.
class Packer {
 public:
  Packer() { msgpack_sbuffer_init(&buffer_); }
  ~Packer() { msgpack_sbuffer_destroy(&buffer_); }
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  std::vector<uint8_t> record(uint64_t timestamp, const Node& root) {
    msgpack_sbuffer_clear(&buffer_);
    msgpack_packer_init(&packer_, &buffer_, msgpack_sbuffer_write);
    msgpack_pack_array(&packer_, 2);
    msgpack_pack_double(&packer_, static_cast<double>(timestamp) / 1000000.0);
    value(root);
    const auto* const data = reinterpret_cast<const uint8_t*>(buffer_.data);
    return {data, data + buffer_.size};
  }

 private:
  void text(const std::string& text) {
    msgpack_pack_str_with_body(&packer_, text.data(), text.size());
  }
  void value(const Node& node) {
    switch (node.type) {
      case DATA_ITEM_STRING:
        return text(node.text);
      case DATA_ITEM_DOUBLE:
        msgpack_pack_double(&packer_, std::bit_cast<double>(node.bits));
        return;
      case DATA_ITEM_LONG:
        msgpack_pack_int64(&packer_, static_cast<int64_t>(node.bits));
        return;
      case DATA_ITEM_BOOL:
        node.bits % 2 ? msgpack_pack_true(&packer_) : msgpack_pack_false(&packer_);
        return;
      case DATA_ITEM_NONE:
        msgpack_pack_nil(&packer_);
        return;
      default:
        break;
    }
    const bool dict = node.type == DATA_ITEM_DICT;
    dict ? msgpack_pack_map(&packer_, node.children.size())
         : msgpack_pack_array(&packer_, node.children.size());
    for (const Node& child : node.children) {
      if (dict) text(child.key);
      value(child);
    }
  }

  msgpack_sbuffer buffer_;
  msgpack_packer packer_;
};

// The outermost dictionaries: what is sent where root lists are not.
void outermost(const Node& node, std::vector<const Node*>& found) {
  if (node.type == DATA_ITEM_DICT) return found.push_back(&node);
  for (const Node& child : node.children) outermost(child, found);
}

// One source and tag: what it sends, and the records that have to come of it.
class Sender {
 public:
  Sender(Dice& dice, std::string source, std::string tag, uint32_t event_size)
      : key_of_("/" + source + "/" + tag),
        dice_(dice),
        pages_({.source_id = std::move(source),
                .tag = std::move(tag),
                .event_size = event_size,
                .page_size = 2000 + dice.upto(8000)}) {
    for (uint32_t i = 0; i < 12; ++i) {
      keys_.push_back(std::to_string(i) + dice.bytes(dice.upto(9) ? 20 : 300));
      // No name may be the beginning of another one of its id, and none holds a NUL.
      std::replace(keys_.back().begin(), keys_.back().end(), '\0', 'N');
    }
  }

  // A collection whose root is a dictionary or a list.
  void send_collection(bool send_root_only) {
    Node root = random_node(dice_, 5, keys_);
    root.type = dice_.upto(2) ? DATA_ITEM_DICT : DATA_ITEM_LIST;
    if (root.children.empty()) root.children.push_back(random_node(dice_, 0, keys_));
    const uint64_t timestamp = dice_.word() >> 12;
    pages_.collection(timestamp);
    send(root, true);
    std::vector<const Node*> sent = {&root};
    if (!send_root_only) {
      sent.clear();
      outermost(root, sent);
    }
    Packer packer;
    for (const Node* node : sent) records_.push_back(packer.record(timestamp, *node));
  }

  std::vector<Image> take_pages() { return pages_.writer.take_pages(); }
  vek_exporter_schema_manager_t lookup() const { return lookup_of(pages_.writer.schema()); }
  const std::string& source_and_tag() const { return key_of_; }
  const std::vector<std::vector<uint8_t>>& records() const { return records_; }

 private:
  // Ids are few, so names come and go while a tree is open.
  uint32_t id_of(const std::string& key) {
    const uint32_t id = 1 + dice_.upto(4);
    event(PYTHON_ID, id, key);
    return id;
  }

  void event(python_event_type_t type, uint32_t key_id, std::string_view data) {
    const uint32_t capacity = pages_.writer.capacity();
    if (dice_.upto(4) != 0) return pages_.event(type, key_id, data);
    pages_.chunked(type, key_id, data,
                   {dice_.upto(capacity), dice_.upto(8), 1 + dice_.upto(capacity - 1)});
    if (dice_.upto(9) == 0) pages_.writer.next_page();
  }

  void send(const Node& node, bool root = false) {
    const bool container = node.type == DATA_ITEM_DICT || node.type == DATA_ITEM_LIST;
    const uint32_t id = root ? kNoKeyId : id_of(node.key);
    switch (node.type) {
      case DATA_ITEM_STRING:
        return event(PYTHON_STRING, id, node.text);
      case DATA_ITEM_DOUBLE:
      case DATA_ITEM_LONG:
        return event(node.type == DATA_ITEM_LONG ? PYTHON_LONG : PYTHON_DOUBLE, id,
                     bytes_of(node.bits));
      case DATA_ITEM_BOOL:
        return event(node.bits % 2 ? PYTHON_BOOL_TRUE : PYTHON_BOOL_FALSE, id, {});
      case DATA_ITEM_NONE:
        return event(PYTHON_NONE, id, {});
      default:
        break;
    }
    ASSERT_TRUE(container);
    const bool dict = node.type == DATA_ITEM_DICT;
    event(dict ? PYTHON_DICT_START : PYTHON_LIST_START, id, {});
    for (const Node& child : node.children) send(child);
    event(dict ? PYTHON_DICT_END : PYTHON_LIST_END, kNoKeyId, {});
  }

  std::string key_of_;
  Dice& dice_;
  StreamPages pages_;
  std::vector<std::string> keys_;
  std::vector<std::vector<uint8_t>> records_;
};

// Packs what it is given, by source and tag.
struct Records {
  std::map<std::string, std::vector<std::vector<uint8_t>>> by_source;
  std::vector<OwnedMessage> kept;
  bool keep = false;

  static bool receive(dict_reader_user_ctx* context, const data_dict_message_t* message) {
    auto& self = *reinterpret_cast<Records*>(context);
    if (self.keep) {
      self.kept.emplace_back(message);
    } else {
      self.pack(*message);
    }
    return true;
  }
  void pack(const data_dict_message_t& message) {
    msgpack_sbuffer buffer;
    EXPECT_EQ(data_dict_pack_and_delete(&message, &buffer), 1u);
    const auto* const data = reinterpret_cast<const uint8_t*>(buffer.data);
    by_source["/" + std::string(message.source_id) + "/" + message.tag].emplace_back(
        data, data + buffer.size);
    msgpack_sbuffer_destroy(&buffer);
  }
};

// Pages of one sender stay in order; those of different senders mix at random.
void read_interleaved(Dice& dice, std::vector<std::unique_ptr<Sender>>& senders,
                      DataDictionaryReader& reader) {
  std::vector<std::vector<Image>> pages;
  std::vector<size_t> turns;
  for (size_t i = 0; i < senders.size(); ++i) {
    pages.push_back(senders[i]->take_pages());
    turns.insert(turns.end(), pages.back().size(), i);
  }
  dice.shuffle(turns);
  std::vector<size_t> next(senders.size());
  for (const size_t i : turns) {
    const GuardedBytes page(pages[i][next[i]++]);
    const auto lookup = senders[i]->lookup();
    ASSERT_TRUE(reader.ReadPage(page.as<vek_data_page_t>(), &lookup));
  }
}

void expect_all_arrive(unsigned seed, bool send_root_only, bool keep) {
  SCOPED_TRACE(seed);
  const LogCapture log(4);
  Dice dice(seed);
  Records records;
  records.keep = keep;
  data_dict_reader_user_t user = {
      Records::receive, reinterpret_cast<dict_reader_user_ctx*>(&records), send_root_only, !keep};
  DataDictionaryReader reader(&user, g_any_app.data(), DataDictionaryReader::kTreeDecoder);
  std::vector<std::unique_ptr<Sender>> senders;
  for (const char* source : {"s1", "s2", ""}) {
    for (const char* tag : {"dict_1", "dict_"}) {
      senders.push_back(std::make_unique<Sender>(dice, source, tag, 70 + dice.upto(200)));
      for (int i = 0; i < 8; ++i) senders.back()->send_collection(send_root_only);
    }
  }
  read_interleaved(dice, senders, reader);
  for (const auto& message : records.kept) records.pack(*message);
  EXPECT_THAT(log.lines(), ::testing::IsEmpty());
  for (const auto& sender : senders) {
    const auto& arrived = records.by_source[sender->source_and_tag()];
    ASSERT_EQ(arrived.size(), sender->records().size());
    for (size_t i = 0; i < arrived.size(); ++i) {
      EXPECT_EQ(msgpack_to_text(arrived[i]), msgpack_to_text(sender->records()[i]));
      EXPECT_EQ(arrived[i], sender->records()[i]);
    }
  }
}

TEST(DictRandom, DictionariesAreWhatWasPutIn) {
  for (unsigned seed = 1; seed <= 20; ++seed) expect_all_arrive(seed, false, false);
}

TEST(DictRandom, RootsAreWhatWasPutIn) {
  for (unsigned seed = 1; seed <= 20; ++seed) expect_all_arrive(seed, true, false);
}

TEST(DictRandom, KeptMessagesAreWhatWasPutIn) {
  for (unsigned seed = 1; seed <= 10; ++seed) expect_all_arrive(seed, seed % 2 == 0, true);
}

// Any order of events: nothing is read that is not there, and nothing is lost or released twice.
TEST(DictRandom, SenselessStreamsDoNoHarm) {
  const LogCapture log(0);
  for (unsigned seed = 1; seed <= 60; ++seed) {
    Dice dice(seed);
    Records records;
    records.keep = seed % 3 == 0;
    const data_dict_reader_user_t user = {Records::receive,
                                          reinterpret_cast<dict_reader_user_ctx*>(&records),
                                          seed % 2 == 0, !records.keep};
    data_dict_reader_user_t copy = user;
    DataDictionaryReader reader(&copy, g_any_app.data(), DataDictionaryReader::kTreeDecoder);
    for (int i = 0; i < 2000; ++i) {
      const std::string text = dice.bytes(12);
      const GuardedBytes data(text.data(), text.size());
      const uint32_t type = dice.upto(9) ? dice.upto(11) : dice.upto(UINT32_MAX);
      const uint32_t key_id = dice.upto(3) ? dice.upto(3) : kNoKeyId;
      // Mostly whole collections begin, or little would happen.
      const uint32_t size =
          type == PYTHON_NEW_COLLECTION && text.size() > 8 ? 8 : static_cast<uint32_t>(text.size());
      reader.ProcessEvent("s", "dict_", nullptr, nullptr, 0,
                          static_cast<uint64_t>(type) << 32 | key_id, data.data(), size);
    }
    for (const auto& message : records.kept) records.pack(*message);
  }
}

}  // namespace
}  // namespace vek::test
