#include "tools/record/record.h"

#include <poll.h>

#include <cinttypes>
#include <ctime>
#include <memory>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"
#include "tools/base/progress.h"
#include "tools/base/signals.h"
#include "tools/record/page_intake.h"

namespace vek::tools {
namespace {

// A signal between the look at the flag and the wait is noticed after this time.
constexpr int kLongestWaitMs = 250;

uint64_t clock_us(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1'000;
}
uint64_t now_us() { return clock_us(CLOCK_REALTIME); }

class Recording {
 public:
  explicit Recording(const RecordOptions& options)
      : options_(options),
        recorder_(options.output, options.name, options.limits,
                  [this](const RecordedFile& file) { print(file); }),
        progress_(0) {}

  ExitStatus run() {
    intake_ = !options_.listen.empty()  ? make_socket_intake(options_.listen)
              : !options_.watch.empty() ? make_directory_intake(options_.watch, options_.remove)
                                        : make_input_intake();
    if (!recorder_.open()) return cannot(recorder_.problem());
    if (!intake_->open()) return cannot(intake_->problem());
    wait_and_take();
    take_the_rest();
    intake_->close();
    recorder_.finish();
    progress_.finish();
    say_counts();
    if (options_.json.json) print_counts();
    if (recorder_.lost_pages() > 0) return ExitStatus::kUndelivered;
    return intake_->counts().bad_inputs > 0 ? ExitStatus::kBad : ExitStatus::kGood;
  }

 private:
  static ExitStatus cannot(const std::string& problem) {
    say_error("%s", problem.c_str());
    return ExitStatus::kEnvironment;
  }

  void wait_and_take() {
    const uint64_t begun_us = clock_us(CLOCK_MONOTONIC);
    std::vector<pollfd> waits;
    while (!stop_requested() && !intake_->is_over()) {
      const uint64_t passed_us = clock_us(CLOCK_MONOTONIC) - begun_us;
      if (options_.for_us > 0 && passed_us >= options_.for_us) break;
      waits.clear();
      intake_->add_waits(waits);
      poll(waits.data(), waits.size(), kLongestWaitMs);
      take();
      recorder_.tick(now_us());
      progress_.update(recorder_.pages(), recorder_.bytes());
    }
  }

  // What arrived before the end; not for ever where a client goes on sending.
  void take_the_rest() {
    constexpr uint64_t kPatienceUs = 1'000'000;
    const uint64_t begun_us = clock_us(CLOCK_MONOTONIC);
    for (uint64_t before = UINT64_MAX; before != recorder_.bytes();) {
      before = recorder_.bytes();
      take();
      if (clock_us(CLOCK_MONOTONIC) - begun_us > kPatienceUs) break;
    }
  }

  void take() {
    intake_->take([this](Bytes page) {
      if (recorder_.add(page, now_us())) {
        said_problem_.clear();
        return true;
      }
      // A full disk stays full for a while.
      if (said_problem_ != recorder_.problem()) say_error("%s", recorder_.problem().c_str());
      said_problem_ = recorder_.problem();
      return false;
    });
  }

  void print(const RecordedFile& file) const {
    if (!options_.json.json) {
      write_output(file.path + "\n");
      return;
    }
    JsonWriter json;
    json.begin_object()
        .member("schema_version", kJsonSchemaVersion)
        .member("kind", "file")
        .member("path", file.path)
        .member("pages", file.pages)
        .member("bytes", file.bytes)
        .member("reason", file.reason)
        .end_object();
    write_json(json.out() + "\n", options_.json);
  }

  void say_counts() const {
    const PageIntake::Counts& counts = intake_->counts();
    say("pages         %" PRIu64, recorder_.pages());
    say("bytes         %" PRIu64 " (%s)", recorder_.bytes(),
        readable_size(static_cast<double>(recorder_.bytes())).c_str());
    say("files         %" PRIu64 ", %" PRIu64 " old ones removed", recorder_.files(),
        recorder_.removed_files());
    say("inputs        %" PRIu64 ", %" PRIu64 " of them with %" PRIu64 " bytes that are no page",
        counts.inputs, counts.bad_inputs, counts.lost_bytes);
    if (recorder_.lost_pages() > 0) {
      say_error("%" PRIu64 " pages could not be written", recorder_.lost_pages());
    }
  }

  void print_counts() const {
    const PageIntake::Counts& counts = intake_->counts();
    JsonWriter json;
    json.begin_object()
        .member("schema_version", kJsonSchemaVersion)
        .member("kind", "summary")
        .member("pages", recorder_.pages())
        .member("bytes", recorder_.bytes())
        .member("files", recorder_.files())
        .member("removed_files", recorder_.removed_files())
        .member("lost_pages", recorder_.lost_pages())
        .member("inputs", counts.inputs)
        .member("bad_inputs", counts.bad_inputs)
        .member("bad_bytes", counts.lost_bytes)
        .end_object();
    write_json(json.out() + "\n", options_.json);
  }

  const RecordOptions& options_;
  PageRecorder recorder_;
  std::unique_ptr<PageIntake> intake_;
  Progress progress_;
  std::string said_problem_;
};

}  // namespace

ExitStatus record(const RecordOptions& options) { return Recording(options).run(); }

}  // namespace vek::tools
