// StreamMap: one object for each source and tag.
#ifndef VEK_DICT_READER_STREAM_MAP_H
#define VEK_DICT_READER_STREAM_MAP_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

template <typename Context>
class StreamMap {
 public:
  // Beyond `most` pairs the one that was asked for longest ago is given up; 0: none ever is.
  explicit StreamMap(size_t most = 0) : most_(most) {}

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
      found = add(source, tag_text, make(source_text.data(), tag_text.data()));
    } else if (most_ != 0) {
      by_age_.splice(by_age_.end(), by_age_, found->second.age);
    }
    last_source_ = &source->first;
    last_tag_ = &found->first;
    last_ = found->second.context.get();
    return last_;
  }

  size_t size() const { return by_age_.size(); }
  uint64_t given_up() const { return given_up_; }

 private:
  struct Place;
  using Ages = std::list<Place>;
  struct Entry {
    std::unique_ptr<Context> context;
    typename Ages::iterator age;
  };
  using ContextsByTag = std::map<std::string, Entry, std::less<>>;
  using ContextsBySource = std::map<std::string, ContextsByTag, std::less<>>;
  struct Place {
    typename ContextsBySource::iterator source;
    typename ContextsByTag::iterator tag;
  };

  typename ContextsByTag::iterator add(typename ContextsBySource::iterator source,
                                       std::string_view tag, std::unique_ptr<Context> context) {
    Ages place(1);  // first, so that nothing is half done when memory runs out
    const auto added = source->second.emplace(tag, Entry{std::move(context), place.begin()}).first;
    place.front() = {source, added};
    by_age_.splice(by_age_.end(), place);
    if (most_ != 0 && by_age_.size() > most_) give_up_oldest();
    return added;
  }

  // Never the one that was added last.
  void give_up_oldest() {
    const Place oldest = by_age_.front();
    by_age_.pop_front();
    last_ = nullptr;
    oldest.source->second.erase(oldest.tag);
    if (oldest.source->second.empty()) contexts_.erase(oldest.source);
    ++given_up_;
  }

  size_t most_;
  ContextsBySource contexts_;
  Ages by_age_;  // the one that was asked for longest ago first
  uint64_t given_up_ = 0;
  // What was asked for last.
  const std::string* last_source_ = nullptr;
  const std::string* last_tag_ = nullptr;
  Context* last_ = nullptr;
};

#endif  // VEK_DICT_READER_STREAM_MAP_H
