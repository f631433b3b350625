#include "bench/plain_dictionaries.h"

#include <utility>

namespace vek::bench {
namespace {

template <typename T>
T read(const uint8_t* data) {
  T value;
  std::memcpy(&value, data, sizeof value);
  return value;
}

}  // namespace

PlainDecoder::Node* PlainDecoder::add(const StreamEvent& event) {
  auto node = std::make_unique<Node>();
  const auto name = names_.find(event.key_id);
  if (name != names_.end()) node->name = &name->second;
  node->parent = current_;
  Node* const added = node.get();
  if (current_) {
    current_->children.push_back(std::move(node));
  } else {
    root_ = std::move(node);
  }
  return added;
}

bool PlainDecoder::end(msgpack_sbuffer& out) {
  current_ = current_->parent;
  if (current_) return false;
  msgpack_packer packer;
  msgpack_packer_init(&packer, &out, msgpack_sbuffer_write);
  msgpack_pack_array(&packer, 2);
  msgpack_pack_double(&packer, static_cast<double>(timestamp_) / 1e6);
  pack(packer, *root_);
  root_.reset();
  return true;
}

bool PlainDecoder::take(const StreamEvent& event, msgpack_sbuffer& out) {
  switch (event.type) {
    case PYTHON_ID:
      names_[event.key_id].assign(reinterpret_cast<const char*>(event.data), event.size);
      break;
    case PYTHON_NEW_COLLECTION:
      timestamp_ = read<uint64_t>(event.data);
      break;
    case PYTHON_STRING:
      add(event)->value = std::string(reinterpret_cast<const char*>(event.data), event.size);
      break;
    case PYTHON_DOUBLE:
      add(event)->value = read<double>(event.data);
      break;
    case PYTHON_LONG:
      add(event)->value = read<int64_t>(event.data);
      break;
    case PYTHON_BOOL_FALSE:
    case PYTHON_BOOL_TRUE:
      add(event)->value = event.type == PYTHON_BOOL_TRUE;
      break;
    case PYTHON_NONE:
      add(event);
      break;
    case PYTHON_DICT_START:
    case PYTHON_LIST_START:
      current_ = add(event);
      current_->kind = event.type == PYTHON_DICT_START ? '{' : '[';
      break;
    case PYTHON_DICT_END:
    case PYTHON_LIST_END:
      return end(out);
  }
  return false;
}

void PlainDecoder::pack(msgpack_packer& packer, const Node& node) {
  if (node.kind == '{') {
    msgpack_pack_map(&packer, node.children.size());
    for (const auto& child : node.children) {
      msgpack_pack_str_with_body(&packer, child->name->data(), child->name->size());
      pack(packer, *child);
    }
  } else if (node.kind == '[') {
    msgpack_pack_array(&packer, node.children.size());
    for (const auto& child : node.children) pack(packer, *child);
  } else if (const auto* text = std::get_if<std::string>(&node.value)) {
    msgpack_pack_str_with_body(&packer, text->data(), text->size());
  } else if (const auto* real = std::get_if<double>(&node.value)) {
    msgpack_pack_double(&packer, *real);
  } else if (const auto* integer = std::get_if<int64_t>(&node.value)) {
    msgpack_pack_int64(&packer, *integer);
  } else if (const auto* flag = std::get_if<bool>(&node.value)) {
    *flag ? msgpack_pack_true(&packer) : msgpack_pack_false(&packer);
  } else {
    msgpack_pack_nil(&packer);
  }
}

uint64_t sum_of_stream(const std::vector<uint8_t>& image, size_t event_size) {
  uint64_t sum = 0;
  walk_stream(image, event_size, [&sum](const StreamEvent& event) {
    sum += event.type + event.key_id + event.size + read<uint64_t>(event.data);
  });
  return sum;
}

}  // namespace vek::bench
