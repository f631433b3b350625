// Engine: one context of the engine's entry points, driven as the plug-in drives it.
#ifndef VEK_TESTS_RAW_MSGPACK_API_ENGINE_FIXTURE_H
#define VEK_TESTS_RAW_MSGPACK_API_ENGINE_FIXTURE_H

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "raw_msgpack_api/raw_msgpack_api.h"
#include "tests/raw_msgpack_api/pack.h"
#include "utils/owned.h"

namespace vek::test {

using ParameterPairs = std::vector<std::pair<std::string, std::string>>;

// The number behind `"name":` in statistics; 0 where there is none.
inline uint64_t number_in(const std::string& stats, const std::string& name) {
  const size_t at = stats.find('"' + name + "\":");
  return at == std::string::npos ? 0 : std::stoull(stats.substr(at + name.size() + 3));
}

class Engine {
 public:
  explicit Engine(const char* plugin, const ParameterPairs& pairs = {}) {
    const Owned<fluentbit_export_parameters_t, fluentbit_export_destroy_parameters> list(
        fluentbit_export_init_parameters());
    for (const auto& [name, value] : pairs) push_parameter(list.get(), name.c_str(), value.c_str());
    context_ = init(plugin, "127.0.0.1", "0", list.get(), "evnt", "evnt");
  }
  ~Engine() {
    if (context_ && !is_final_) finish();
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  void* context() const { return context_; }
  int add(const std::vector<uint8_t>& bytes) {
    return add_data(context_, bytes.data(), bytes.size());
  }
  int finish() {
    is_final_ = true;
    return finalize(context_);
  }
  std::string stats() const {
    std::string text(4096, '\0');
    const int length = raw_msgpack_api_stats(context_, text.data(), text.size());
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return text;
  }
  uint64_t stat(const std::string& name) const { return number_in(stats(), name); }
  // Waits until nothing is queued; false after ten seconds.
  bool drained() const {
    for (int i = 0; i < 10'000; ++i) {
      if (stat("queued") == 0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }

 private:
  void* context_ = nullptr;
  bool is_final_ = false;
};

// [1.5, {"n": number}]
inline std::vector<uint8_t> numbered_record(uint64_t number) {
  return Pack().array(2).f64(1.5).map(1).str("n").u(number).bytes();
}

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_ENGINE_FIXTURE_H
