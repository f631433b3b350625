#include "raw_msgpack_api/record_events.h"

namespace vek::engine {
namespace {

// True when the list at the start of `list` holds maps and nothing else.
bool holds_only_maps(Bytes list, const Token& head) {
  size_t offset = head.size();
  for (uint64_t i = 0; i < head.value; ++i) {
    Token item;
    size_t size = 0;
    if (read_token(list.subspan(offset), item) != TokenStatus::kOk) return false;
    if (item.kind != TokenKind::kMap) return false;
    if (skip_object(list.subspan(offset), size) != TokenStatus::kOk) return false;
    offset += size;
  }
  return head.value > 0;
}

}  // namespace

RecordEvents::RecordEvents(const RecordView& record) noexcept : rest_(record.body()) {
  if (record.shape != RecordShape::kTimedList) return;
  Token head;
  is_list_ = read_token(rest_, head) != TokenStatus::kOk || !holds_only_maps(rest_, head);
  if (is_list_) return;
  left_ = head.value;
  rest_ = rest_.subspan(head.size());
}

bool RecordEvents::next(Bytes& body) noexcept {
  if (left_ == 0) return false;
  // The last one is all that remains, which spares its walk: most records are one event.
  size_t size = rest_.size();
  if (left_ > 1 && skip_object(rest_, size) != TokenStatus::kOk) return false;
  --left_;
  body = rest_.first(size);
  rest_ = rest_.subspan(size);
  return true;
}

}  // namespace vek::engine
