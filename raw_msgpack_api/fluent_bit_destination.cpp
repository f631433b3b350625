#include "raw_msgpack_api/fluent_bit_destination.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>

#include "raw_msgpack_api/fluent_bit_config.h"
#include "raw_msgpack_api/forward_config.h"
#include "raw_msgpack_api/forward_sender.h"
#include "raw_msgpack_api/library_pipeline.h"
#include "raw_msgpack_api/private_folder.h"
#include "raw_msgpack_api/program_pipeline.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

// Chunks of records that a Fluent Bit has acknowledged and not sent, in its folder.
size_t count_chunks(const std::string& folder) {
  namespace fs = std::filesystem;
  size_t count = 0;
  std::error_code error;
  for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end;
       it.increment(error)) {
    if (it->path().extension() == ".flb") ++count;
  }
  return count;
}

class FluentBitDestination : public Destination {
 public:
  FluentBitDestination(ForwardConfig feed, std::string storage_path,
                       std::unique_ptr<PrivateFolder> folder, std::unique_ptr<Pipeline> pipeline)
      : feed_(std::move(feed)),
        storage_path_(std::move(storage_path)),
        folder_(std::move(folder)),
        pipeline_(std::move(pipeline)) {}

  RecordForm form() const override { return RecordForm::kAsEvents; }

  void run(RecordQueue& queue) override {
    ForwardSender(feed_, nullptr, wake_, queue).run();
    deadline_ = queue.stop().deadline();
  }

  bool finish() noexcept override {
    try {
      await_empty();
      pipeline_.reset();
      return report_rest(count_chunks(storage_path_));
    } catch (const std::exception&) {
      return false;
    }
  }

 private:
  // A Fluent Bit that is told to stop leaves what it found on disk when it started, and what it has
  // to try again.
  void await_empty() const {
    constexpr std::chrono::milliseconds kStep{20};
    constexpr std::chrono::seconds kAtLeast{1};
    const auto deadline = std::max(deadline_, Clock::now() + kAtLeast);
    while (Clock::now() < deadline && count_chunks(storage_path_) > 0) {
      std::this_thread::sleep_for(kStep);
    }
  }

  bool report_rest(size_t chunks) const {
    if (chunks == 0) return true;
    if (!storage_path_.starts_with(folder_->path())) {
      VEK_LOGW("[raw msgpack API] [%s] %zu chunks of records wait in '%s' for the next start",
               feed_.name.c_str(), chunks, storage_path_.c_str());
      return true;
    }
    VEK_LOGE(
        "[raw msgpack API] [%s] Fluent Bit could not send %zu chunks of records, which are lost; "
        "with storage.path they wait for the next start",
        feed_.name.c_str(), chunks);
    return false;
  }

  const ForwardConfig feed_;
  const std::string storage_path_;
  const std::unique_ptr<PrivateFolder> folder_;
  std::unique_ptr<Pipeline> pipeline_;  // stopped first: the folder is its own
  const WakeFd wake_;
  Clock::time_point deadline_{};  // of the grace
};

PipelineStart start(Engine engine, const FluentBitConfig& config, const PrivateFolder& folder) {
  return engine == Engine::kLibrary ? start_library_pipeline(config)
                                    : start_program_pipeline(config, folder);
}

std::unique_ptr<Pipeline> start_first(std::span<const Engine> engines,
                                      const FluentBitConfig& config, const PrivateFolder& folder) {
  std::string tried;
  for (const Engine engine : engines) {
    PipelineStart outcome = start(engine, config, folder);
    if (outcome.pipeline) return std::move(outcome.pipeline);
    const std::string why = config.secrets.clean(outcome.why);
    if (outcome.is_refused) {
      VEK_LOGE("[raw msgpack API] [%s] %s", config.name.c_str(), why.c_str());
      return nullptr;
    }
    if (!tried.empty()) tried += "; ";
    tried += std::string(engine_name(engine)) + ": " + why;
  }
  VEK_LOGE(
      "[raw msgpack API] output '%s' needs Fluent Bit 2.1 or later, which cannot be had (%s); "
      "install it, or say where it is with vek.engine_path; these work without it: %s",
      config.output.c_str(), tried.c_str(), built_in_names().c_str());
  return nullptr;
}

}  // namespace

std::unique_ptr<Destination> make_fluent_bit_destination(std::string_view output,
                                                         std::span<const Engine> engines,
                                                         const Settings& settings,
                                                         const Parameters& parameters) {
  if (!parameters.all_engine_names_known(output, kFluentBitParameters)) return nullptr;
  std::string why;
  auto folder = PrivateFolder::make(why);
  if (!folder) {
    VEK_LOGE("[raw msgpack API] [%s] no folder for Fluent Bit: %s", settings.name.c_str(),
             why.c_str());
    return nullptr;
  }
  const auto config = read_fluent_bit_config(output, settings, parameters, *folder);
  if (!config) return nullptr;
  auto feed = read_feed_config(settings, parameters, config->unix_path);
  if (!feed) return nullptr;
  auto pipeline = start_first(engines, *config, *folder);
  if (!pipeline) return nullptr;
  return std::make_unique<FluentBitDestination>(std::move(*feed), config->storage_path,
                                                std::move(folder), std::move(pipeline));
}

}  // namespace vek::engine
