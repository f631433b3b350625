// Pipeline: a real Fluent Bit that runs, and takes records at its unix socket.
//
// One is made by a function that starts it, and stopped by its destructor, which gives it time to
// send what it has acknowledged. Nothing may be written to it any more by then.
#ifndef VEK_RAW_MSGPACK_API_PIPELINE_H
#define VEK_RAW_MSGPACK_API_PIPELINE_H

#include <memory>
#include <string>
#include <utility>

namespace vek::engine {

class Pipeline {
 public:
  virtual ~Pipeline() = default;
};

struct PipelineStart {
  std::unique_ptr<Pipeline> pipeline;  // null: it did not start
  std::string why;                     // then
  bool is_refused = false;  // then: the configuration is wrong, no other engine would take it

  static PipelineStart unavailable(std::string why) { return {nullptr, std::move(why), false}; }
  static PipelineStart refused(std::string why) { return {nullptr, std::move(why), true}; }
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_PIPELINE_H
