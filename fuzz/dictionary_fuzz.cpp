// Dictionary streams that are begun well and then lied about.
//
// The input is a program: it builds a tree, which the writer sends a few times, with other values,
// in events of some size over pages of some size, and then tells lies about the bytes of those
// pages. Unharmed pages must give exactly the records that the trees stand for. Of harmed ones only
// this is asked: that nothing is read beyond a page, that every record made is one whole msgpack
// value, that the cache context and the tree decoder survive the same bytes, and that packing them
// as they arrive makes the very same records, lines and answers as packing trees.
#include <msgpack.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dict_reader/cache_context.h"
#include "dict_reader/dict_msgpack.h"
#include "dict_reader/dict_reader.h"
#include "dict_reader/dictionary_stream_writer.h"
#include "fuzz/records.h"
#include "fuzz/support.h"
#include "raw_msgpack_api/msgpack_token.h"
#include "utils/logger.h"

namespace {

using vek::fuzz::bytes_of;
using vek::fuzz::require;
using vek::fuzz::Supply;
using Image = std::vector<uint8_t>;

constexpr uint64_t kTimestamp = 1'000'000;
constexpr size_t kMostSteps = 2000;
constexpr size_t kMostDepth = 64;

uint32_t number(Supply& supply) {
  uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | supply.byte();
  return value;
}

// A tree as the steps that write it: the model, which knows nothing of streams.
struct Node {
  char kind = 'n';  // s, d, l, t, f, n; { and [ for containers
  std::string name;
  std::string text;
  int64_t number = 0;
  std::vector<Node> children;
};

// What is said about a tree while it is built.
struct Plan {
  size_t longest_text;
  size_t steps = 0;
};

// Mostly short, and never of more than a few events: those take time and little of the reader.
size_t length(Supply& supply, const Plan& plan) {
  const uint8_t byte = supply.byte();
  return std::min<size_t>(byte < 240 ? byte % 40 : byte, plan.longest_text);
}

void build(Supply& supply, size_t depth, Plan& plan, Node& container) {
  while (plan.steps < kMostSteps && !supply.empty()) {
    ++plan.steps;
    const uint8_t step = supply.byte();
    if (step % 9 == 8) return;  // the container ends
    Node child;
    child.kind = "sdltfn{["[step % 9];
    child.name = "k" + std::to_string(step / 16);
    if (child.kind == 's') {
      const size_t size = length(supply, plan);
      child.text.assign(size, static_cast<char>(supply.byte()));
    }
    if (child.kind == 'd' || child.kind == 'l') child.number = static_cast<int32_t>(number(supply));
    if (child.kind == '{' || child.kind == '[') {
      if (depth == kMostDepth) continue;
      build(supply, depth + 1, plan, child);
    }
    container.children.push_back(std::move(child));
  }
}

// 0: none.
void change_values(Node& node, int64_t by) {
  node.number += by;
  if (by != 0 && node.kind == 's') node.text += 'x';
  if (by > 1 && node.kind == 't') node.kind = 'f';
  for (Node& child : node.children) change_values(child, by);
}

void pack(msgpack_packer& packer, const Node& node) {
  switch (node.kind) {
    case 's':
      msgpack_pack_str_with_body(&packer, node.text.data(), node.text.size());
      return;
    case 'd':
      msgpack_pack_double(&packer, static_cast<double>(node.number) / 8);
      return;
    case 'l':
      msgpack_pack_int64(&packer, node.number);
      return;
    case 't':
      msgpack_pack_true(&packer);
      return;
    case 'f':
      msgpack_pack_false(&packer);
      return;
    case 'n':
      msgpack_pack_nil(&packer);
      return;
    default:
      break;
  }
  const bool dict = node.kind == '{';
  if (dict) msgpack_pack_map(&packer, node.children.size());
  if (!dict) msgpack_pack_array(&packer, node.children.size());
  for (const Node& child : node.children) {
    if (dict) msgpack_pack_str_with_body(&packer, child.name.data(), child.name.size());
    pack(packer, child);
  }
}

std::string record_of(const Node& root) {
  vek::RecordBuffer record;
  msgpack_packer packer;
  msgpack_packer_init(&packer, record.get(), msgpack_sbuffer_write);
  msgpack_pack_array(&packer, 2);
  msgpack_pack_double(&packer, static_cast<double>(kTimestamp) / 1e6);
  pack(packer, root);
  return bytes_of(record);
}

bool write(vek::DictionaryStreamWriter& writer, const Node& node, bool root) {
  const std::string name = root ? "" : node.name;
  switch (node.kind) {
    case 's':
      return writer.add_string(name, node.text);
    case 'd':
      return writer.add_double(name, static_cast<double>(node.number) / 8);
    case 'l':
      return writer.add_long(name, node.number);
    case 't':
    case 'f':
      return writer.add_bool(name, node.kind == 't');
    case 'n':
      return writer.add_none(name);
    default:
      break;
  }
  const bool dict = node.kind == '{';
  if (!(dict ? writer.dict_start(name) : writer.list_start(name))) return false;
  for (const Node& child : node.children) {
    if (!write(writer, child, false)) return false;
  }
  return dict ? writer.dict_end() : writer.list_end();
}

const vek_type_definition_t* find_type(void* type, const vek_schema_block_t*,
                                       const vek_event_header_t*) {
  return static_cast<const vek_type_definition_t*>(type);
}

// What can be seen of a reader: its records, what it answered to each page, and what it said.
struct Outcome {
  std::vector<std::string> records;
  std::vector<bool> answers;
  std::string lines;
  bool operator==(const Outcome&) const = default;
};

bool on_record(dict_reader_user_ctx* context, const void* record, size_t size) {
  require(record != nullptr, "a record has bytes");
  reinterpret_cast<Outcome*>(context)->records.emplace_back(static_cast<const char*>(record), size);
  return true;
}

bool on_dictionary(dict_reader_user_ctx* context, const data_dict_message_t* message) {
  vek::RecordBuffer record;
  require(data_dict_pack_and_delete(message, record.get()) != 0, "a message is packed");
  return on_record(context, record.get()->data, record.get()->size);
}

std::string* g_lines = nullptr;
uint32_t g_log_level = VEK_LOG_INFO;

__attribute__((format(printf, 2, 3))) void note(int priority, const char* format, ...) {
  char line[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  *g_lines += std::to_string(priority) + line + '\n';
}

// Copies of pages, each of exactly its own size, so that a sanitizer sees a byte too many.
using Pages = std::vector<std::unique_ptr<uint8_t[]>>;

Pages exact(const std::vector<Image>& images) {
  Pages pages;
  pages.reserve(images.size());
  for (const Image& image : images) {
    pages.emplace_back(new uint8_t[image.size()]);
    std::memcpy(pages.back().get(), image.data(), image.size());
  }
  return pages;
}

template <typename Read>
void each_page(const Pages& pages, Read read) {
  for (const auto& page : pages) read(reinterpret_cast<const vek_data_page_t*>(page.get()));
}

Outcome outcome_of(const Pages& pages, const vek_exporter_schema_manager_t& lookup,
                   bool send_root_only, bool packs) {
  Outcome outcome;
  g_lines = &outcome.lines;
  vek_set_log_func(note, g_log_level);
  data_dict_reader_user_t user = {on_dictionary, reinterpret_cast<dict_reader_user_ctx*>(&outcome),
                                  send_root_only, true};
  unsigned char any_application[VEK_APP_ID_SIZE] = {};
  DataDictionaryReader reader(&user, any_application, DataDictionaryReader::kTreeDecoder);
  if (packs) reader.PackRecords(on_record);
  each_page(pages, [&](const vek_data_page_t* page) {
    outcome.answers.push_back(reader.ReadPage(page, &lookup));
  });
  vek_set_log_level(0);
  return outcome;
}

// By both ways of the reader, which agree.
std::vector<std::string> records_of(const Pages& pages, const vek_exporter_schema_manager_t& lookup,
                                    bool send_root_only = true) {
  const Outcome trees = outcome_of(pages, lookup, send_root_only, false);
  require(outcome_of(pages, lookup, send_root_only, true) == trees,
          "packed as they arrive, dictionaries are what they are as trees");
  return trees.records;
}

bool take_record(dict_reader_user_ctx*, const void*, size_t) { return true; }

bool take_dictionary(dict_reader_user_ctx*, const data_dict_message_t* message) {
  vek::RecordBuffer record;
  data_dict_pack_and_delete(message, record.get());
  return true;
}

void read_without_memory(const Pages& pages, const vek_exporter_schema_manager_t& lookup,
                         bool packs) try {
  data_dict_reader_user_t user = {take_dictionary, nullptr, true, true};
  unsigned char any_application[VEK_APP_ID_SIZE] = {};
  DataDictionaryReader reader(&user, any_application, DataDictionaryReader::kTreeDecoder);
  if (!reader.IsReady()) return;
  if (packs) reader.PackRecords(take_record);
  each_page(pages, [&](const vek_data_page_t* page) { reader.ReadPage(page, &lookup); });
} catch (const std::bad_alloc&) {
  return;  // of what is made before the pages are read
}

// How many collections the cache context sends. Every other one is kept till the end.
size_t cached(const Pages& pages, const vek_exporter_schema_manager_t& lookup) {
  using Event = CacheContext::CachedEvent;
  const std::set<std::string> keys{"k0", "k3"};
  std::vector<std::unique_ptr<Event, Event::Deleter>> kept;
  size_t sent = 0;
  std::function<bool(Event*)> send = [&](Event* event) {
    require(!event->items.empty() && event->items[0]->type == PYTHON_NEW_COLLECTION,
            "a collection begins with its first event");
    for (const auto* item : event->items) {
      require(item->data_size <= item->capacity, "an item holds its data");
    }
    if (sent++ % 2 == 0) return false;
    kept.emplace_back(event);
    return true;
  };
  std::function<void()> start;
  unsigned char any_application[VEK_APP_ID_SIZE] = {};
  CacheContext context(keys, send, start);
  DataDictionaryReader reader(any_application, &context);
  each_page(pages, [&](const vek_data_page_t* page) { reader.ReadPage(page, &lookup); });
  kept.clear();
  return sent;
}

void require_whole(const std::string& record) {
  const vek::engine::Bytes bytes(reinterpret_cast<const uint8_t*>(record.data()), record.size());
  size_t size = 0;
  require(vek::engine::skip_object(bytes, size) == vek::engine::TokenStatus::kOk,
          "a record is a msgpack value");
  require(size == record.size(), "nothing is behind it");
}

// Bytes behind the header change; so do the lengths that the header tells, to smaller ones.
bool tell_lies(Supply& supply, std::vector<Image>& pages) {
  bool lied = false;
  while (!supply.empty()) {
    Image& image = pages[supply.byte() % pages.size()];
    const uint32_t where = number(supply);
    const uint8_t what = supply.byte();
    lied = true;
    if (what == 0xFF) {
      const uint64_t length = VEK_PAGE_HEADER_SIZE + where % (image.size() - 719);
      image.resize(length);
      std::memcpy(image.data() + offsetof(vek_data_page_t, total), &length, sizeof(length));
    } else if (image.size() > VEK_PAGE_HEADER_SIZE) {
      image[VEK_PAGE_HEADER_SIZE + where % (image.size() - VEK_PAGE_HEADER_SIZE)] = what;
    }
  }
  return lied;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek_set_log_level(0);
  if (size < 4) return 0;
  g_log_level = size % 8 == 7 ? VEK_LOG_DEBUG : VEK_LOG_INFO;
  auto [supply, lies] = vek::fuzz::split(data, size);

  const uint8_t shape = supply.byte();
  const uint32_t capacity = 1 + (supply.byte() ^ 0x40u);
  vek::DictionaryStreamWriter writer({.source_id = "fuzz",
                                      .tag = "dict_fuzz",
                                      .app_id = {},
                                      .event_size = VEK_OPAQUE_EVENT_HEADER_SIZE + capacity,
                                      .page_size = 800u + 16u * supply.byte(),
                                      .timestamp_us = kTimestamp});
  Node root;
  root.kind = shape % 2 == 0 ? '{' : '[';
  Plan plan{.longest_text = size_t{8} * capacity};
  build(supply, 0, plan, root);
  // Several times, as streams repeat themselves, with other values in between.
  std::vector<std::string> expected;
  for (const int64_t change : {0, 0, 1, 200, 0}) {
    Node like = root;
    change_values(like, change);
    require(writer.new_collection(kTimestamp) && write(writer, like, true), "a tree is written");
    expected.push_back(record_of(like));
  }
  std::vector<Image> images = writer.take_pages();
  const Pages pages = exact(images);

  vek_exporter_schema_manager_t lookup{};
  lookup.find_event_type = find_type;
  lookup.context = const_cast<vek_type_definition_t*>(writer.schema().type());
  const Outcome packed = outcome_of(pages, lookup, true, true);
  require(packed.records == expected, "dictionaries leave as they were sent");
  // Every other input goes to the cache context as well, the others by trees as well, and every
  // other pair of them sends what is below the root: no input does everything, so that there can be
  // more of them.
  const bool caches = size % 2 == 0;
  if (caches) {
    require(cached(pages, lookup) == expected.size(), "every collection is cached");
  } else {
    require(outcome_of(pages, lookup, true, false) == packed, "and so they do as trees");
  }

  for (const bool packs : {true, false}) {
    vek::fuzz::survives_without_memory(size, [&] { read_without_memory(pages, lookup, packs); });
  }

  if (!tell_lies(lies, images)) return 0;
  const Pages harmed = exact(images);
  for (const std::string& record : records_of(harmed, lookup, size % 4 < 2)) require_whole(record);
  if (caches) cached(harmed, lookup);
  return 0;
}
