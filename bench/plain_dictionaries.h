// A plain decoder of dictionary streams: a tree of heap nodes with names of their own, packed with
// msgpack-c node by node. What the reader's speed is compared with.
#ifndef VEK_BENCH_PLAIN_DICTIONARIES_H
#define VEK_BENCH_PLAIN_DICTIONARIES_H

#include <msgpack.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "bench/dictionary_samples.h"

namespace vek::bench {

class PlainDecoder {
 public:
  // True when the event has completed a record, which is then in `out`.
  bool take(const StreamEvent& event, msgpack_sbuffer& out);

 private:
  struct Node {
    std::string name;
    std::variant<std::monostate, std::string, double, int64_t, bool> value;
    std::vector<std::unique_ptr<Node>> children;
    Node* parent = nullptr;
    bool is_dict = false;
  };

  Node* add(const StreamEvent& event);
  static void pack(msgpack_packer& packer, const Node& node);

  std::map<uint32_t, std::string> names_;
  uint64_t timestamp_ = 0;
  std::unique_ptr<Node> root_;
  Node* current_ = nullptr;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_PLAIN_DICTIONARIES_H
