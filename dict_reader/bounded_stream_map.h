// BoundedStreamMap: a StreamMap that gives up the pair that was asked for longest ago when there
// are too many.
#ifndef VEK_DICT_READER_BOUNDED_STREAM_MAP_H
#define VEK_DICT_READER_BOUNDED_STREAM_MAP_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "dict_reader/stream_map.h"

template <typename Context>
class BoundedStreamMap {
 public:
  // `most` is at least 1.
  explicit BoundedStreamMap(size_t most) : most_(most) {}

  // As StreamMap::get(); good until another pair is asked for.
  template <typename Make>
  Context* get(const char* source_id, const char* tag, Make make) {
    Node* const node = nodes_.get(source_id, tag, [&](const char* source, const char* tag_text) {
      return std::make_unique<Node>(Node{source, tag_text, make(source, tag_text), {}, false});
    });
    if (node == newest_) return node->context.get();
    if (node->has_age) {
      by_age_.splice(by_age_.end(), by_age_, node->age);
    } else {
      node->age = by_age_.insert(by_age_.end(), node);
      node->has_age = true;
    }
    newest_ = node;
    if (by_age_.size() > most_) give_up_oldest();
    return node->context.get();
  }

  size_t size() const { return by_age_.size(); }
  uint64_t given_up() const { return given_up_; }

 private:
  struct Node {
    std::string source;
    std::string tag;
    std::unique_ptr<Context> context;
    typename std::list<Node*>::iterator age;
    bool has_age;
  };

  void give_up_oldest() noexcept {
    Node* const oldest = by_age_.front();
    by_age_.pop_front();
    const std::string source = std::move(oldest->source);
    const std::string tag = std::move(oldest->tag);
    nodes_.erase(source, tag);
    ++given_up_;
  }

  size_t most_;
  StreamMap<Node> nodes_;
  std::list<Node*> by_age_;  // the one that was asked for longest ago first
  Node* newest_ = nullptr;   // the last of them
  uint64_t given_up_ = 0;
};

#endif  // VEK_DICT_READER_BOUNDED_STREAM_MAP_H
