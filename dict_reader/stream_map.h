// StreamMap: one object for each source and tag, which lives as long as the map or until it is
// erased.
#ifndef VEK_DICT_READER_STREAM_MAP_H
#define VEK_DICT_READER_STREAM_MAP_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

template <typename Context>
class StreamMap {
 public:
  // `make` is called on the first call for the pair and answers a std::unique_ptr. Null texts count
  // as empty ones.
  template <typename Make>
  Context* get(const char* source_id, const char* tag, Make make) {
    const std::string_view source_text = source_id ? source_id : "";
    const std::string_view tag_text = tag ? tag : "";
    // Events come page by page, so the next one is mostly of the same stream as the last.
    if (last_ && *last_source_ == source_text && *last_tag_ == tag_text) return last_;
    auto source = contexts_.find(source_text);
    if (source == contexts_.end()) source = contexts_.try_emplace(std::string(source_text)).first;
    ContextsByTag& by_tag = source->second;
    auto found = by_tag.find(tag_text);
    if (found == by_tag.end()) {
      found = by_tag.emplace(tag_text, make(source_text.data(), tag_text.data())).first;
    }
    last_source_ = &source->first;
    last_tag_ = &found->first;
    last_ = found->second.get();
    return last_;
  }

  void erase(const std::string& source, const std::string& tag) noexcept {
    const auto found = contexts_.find(source);
    if (found == contexts_.end()) return;
    last_ = nullptr;
    found->second.erase(tag);
    if (found->second.empty()) contexts_.erase(found);
  }

 private:
  using ContextsByTag = std::map<std::string, std::unique_ptr<Context>, std::less<>>;
  std::map<std::string, ContextsByTag, std::less<>> contexts_;
  // What was asked for last.
  const std::string* last_source_ = nullptr;
  const std::string* last_tag_ = nullptr;
  Context* last_ = nullptr;
};

#endif  // VEK_DICT_READER_STREAM_MAP_H
