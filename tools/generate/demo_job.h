// DemoJob: a training job of the demonstration, which reports itself as a dictionary now and then.
#ifndef VEK_TOOLS_GENERATE_DEMO_JOB_H
#define VEK_TOOLS_GENERATE_DEMO_JOB_H

#include <cstdint>
#include <random>
#include <string>

#include "dict_reader/dictionary_stream_writer.h"

namespace vek::tools {

class DemoJob {
 public:
  // `number` tells the hosts apart, from 1.
  DemoJob(uint64_t seed, uint32_t number);

  const std::string& host() const { return host_; }
  // Writes one collection; the job goes on.
  void report(uint64_t time_us, DictionaryStreamWriter& writer);

 private:
  uint64_t below(uint64_t limit) { return random_() % limit; }
  void accelerators(DictionaryStreamWriter& writer);
  void stages(DictionaryStreamWriter& writer);
  void warnings(DictionaryStreamWriter& writer);

  std::mt19937_64 random_;
  uint32_t number_;
  std::string host_;
  int64_t step_ = 0;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_JOB_H
