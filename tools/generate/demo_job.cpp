#include "tools/generate/demo_job.h"

#include <array>
#include <stdexcept>
#include <string_view>

namespace vek::tools {
namespace {

constexpr uint64_t kAccelerators = 3;

// The calls below stand in a good order; a refusal would be the tool's own mistake.
void must(bool written) {
  if (!written) throw std::logic_error("the demonstration's dictionaries could not be written");
}

}  // namespace

DemoJob::DemoJob(uint64_t seed, uint32_t number)
    : random_(seed * 1000 + 900 + number),
      number_(number),
      host_("trainer0" + std::to_string(number)),
      step_(static_cast<int64_t>(100 * below(50))) {}

void DemoJob::report(uint64_t time_us, DictionaryStreamWriter& writer) {
  step_ += static_cast<int64_t>(20 + below(15));
  must(writer.new_collection(time_us) && writer.dict_start());
  must(writer.add_string("host", host_));
  must(writer.add_string("job", "nightly-" + std::to_string(16 + number_)));
  must(writer.add_string("command",
                         "python3 -m train --config configs/nightly.yaml --resume latest "
                         "--data /srv/datasets/shards-0000..0511 --precision mixed --epochs 90"));
  must(writer.add_long("step", step_));
  // Quotients of small whole numbers: the same digits whatever compiler built the tool.
  must(writer.add_double("loss", static_cast<double>(1800 + below(400)) / 1024.0));
  must(writer.add_bool("checkpointed", step_ % 5 == 0));
  must(writer.add_none("error"));
  accelerators(writer);
  stages(writer);
  warnings(writer);
  must(writer.dict_end());
}

void DemoJob::accelerators(DictionaryStreamWriter& writer) {
  must(writer.list_start("accelerators"));
  for (uint64_t i = 0; i < kAccelerators; ++i) {
    must(writer.dict_start());
    must(writer.add_long("index", static_cast<int64_t>(i)));
    must(writer.add_double("watts", 280.0 + static_cast<double>(below(400)) / 4.0));
    must(writer.add_long("degrees", static_cast<int64_t>(55 + below(20))));
    must(writer.dict_end());
  }
  must(writer.list_end());
}

void DemoJob::stages(DictionaryStreamWriter& writer) {
  must(writer.dict_start("seconds"));
  for (const char* stage : {"load", "forward", "backward"}) {
    must(writer.add_double(stage, static_cast<double>(1 + below(512)) / 256.0));
  }
  must(writer.dict_end());
}

void DemoJob::warnings(DictionaryStreamWriter& writer) {
  constexpr std::array<std::string_view, 3> kWarnings{
      "shard read again after a timeout", "gradient clipped",
      "loader waits for the file server; the next steps may be slow, as they were this morning"};
  must(writer.list_start("warnings"));
  for (uint64_t left = below(3); left > 0; --left) {
    must(writer.add_string({}, kWarnings[below(kWarnings.size())]));
  }
  must(writer.list_end());
}

}  // namespace vek::tools
