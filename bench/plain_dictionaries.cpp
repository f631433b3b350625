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

struct Text final : PlainValue {
  explicit Text(const StreamEvent& event)
      : value(
            std::make_unique<std::string>(reinterpret_cast<const char*>(event.data), event.size)) {}
  void pack(msgpack_packer& packer) const override {
    msgpack_pack_str_with_body(&packer, value->data(), value->size());
  }
  std::unique_ptr<std::string> value;
};

// Any other value, by what packs it.
template <typename T, int (*Pack)(msgpack_packer*, T)>
struct Number final : PlainValue {
  explicit Number(T number) : value(number) {}
  void pack(msgpack_packer& packer) const override { Pack(&packer, value); }
  T value;
};

int pack_flag(msgpack_packer* packer, bool flag) {
  return flag ? msgpack_pack_true(packer) : msgpack_pack_false(packer);
}

using Real = Number<double, msgpack_pack_double>;
using Long = Number<int64_t, msgpack_pack_int64>;
using Flag = Number<bool, pack_flag>;

struct None final : PlainValue {
  void pack(msgpack_packer& packer) const override { msgpack_pack_nil(&packer); }
};

}  // namespace

void PlainContainer::pack(msgpack_packer& packer) const {
  is_dict ? msgpack_pack_map(&packer, children.size())
          : msgpack_pack_array(&packer, children.size());
  for (const auto& child : children) {
    if (is_dict) msgpack_pack_str_with_body(&packer, child->name->data(), child->name->size());
    child->pack(packer);
  }
}

void PlainDecoder::add(const StreamEvent& event, std::unique_ptr<PlainValue> value) {
  const auto name = names_.find(event.key_id);
  if (name != names_.end()) value->name = &name->second;
  value->parent = current_;
  if (current_) {
    current_->children.push_back(std::move(value));
  } else {
    root_ = std::move(value);
  }
}

void PlainDecoder::open(const StreamEvent& event, bool is_dict) {
  auto container = std::make_unique<PlainContainer>();
  PlainContainer* const opened = container.get();
  opened->is_dict = is_dict;
  add(event, std::move(container));
  current_ = opened;
}

bool PlainDecoder::end(msgpack_sbuffer& out) {
  current_ = current_->parent;
  if (current_) return false;
  msgpack_packer packer;
  msgpack_packer_init(&packer, &out, msgpack_sbuffer_write);
  msgpack_pack_array(&packer, 2);
  msgpack_pack_double(&packer, static_cast<double>(timestamp_) / 1e6);
  root_->pack(packer);
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
      add(event, std::make_unique<Text>(event));
      break;
    case PYTHON_DOUBLE:
      add(event, std::make_unique<Real>(read<double>(event.data)));
      break;
    case PYTHON_LONG:
      add(event, std::make_unique<Long>(read<int64_t>(event.data)));
      break;
    case PYTHON_BOOL_FALSE:
    case PYTHON_BOOL_TRUE:
      add(event, std::make_unique<Flag>(event.type == PYTHON_BOOL_TRUE));
      break;
    case PYTHON_NONE:
      add(event, std::make_unique<None>());
      break;
    case PYTHON_DICT_START:
    case PYTHON_LIST_START:
      open(event, event.type == PYTHON_DICT_START);
      break;
    case PYTHON_DICT_END:
    case PYTHON_LIST_END:
      return end(out);
  }
  return false;
}

uint64_t sum_of_stream(const std::vector<uint8_t>& image, size_t event_size) {
  uint64_t sum = 0;
  walk_stream(image, event_size, [&sum](const StreamEvent& event) {
    sum += event.type + event.key_id + event.size + read<uint64_t>(event.data);
  });
  return sum;
}

}  // namespace vek::bench
