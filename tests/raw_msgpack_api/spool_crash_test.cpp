// The process, or the machine, goes down: at every step of a run, and for real.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <random>
#include <set>
#include <thread>

#include "tests/raw_msgpack_api/crash_images.h"
#include "tests/raw_msgpack_api/spool_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

using namespace test;

// What a run has done so far.
struct Progress {
  std::set<uint64_t> begun;    // given to store()
  std::set<uint64_t> stored;   // store() returned
  std::set<uint64_t> synced;   // sync() returned since
  std::set<uint64_t> settled;  // settle() returned
  uint64_t settling = 0;       // numbers up to this one may count as settled
};

void lay_out(const TempDir& dir, const FolderImage& image) {
  for (const auto& [name, contents] : image) dir.write(name, contents);
}

void check_image(const FolderImage& image, CrashImages::Kind kind, const Progress& progress) {
  const TempDir dir;
  lay_out(dir, image);
  const auto spool = open_spool(dir.path(), 400'000);
  ASSERT_NE(spool, nullptr);
  EXPECT_EQ(spool->lost_at_open(), 0u);
  const Numbers found = load_all(*spool);
  EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), std::less_equal<>())) << "once, in order";
  const auto& durable = kind == CrashImages::Kind::kProcess ? progress.stored : progress.synced;
  for (const uint64_t number : durable) {
    if (number <= progress.settling) continue;
    EXPECT_TRUE(std::binary_search(found.begin(), found.end(), number)) << number;
  }
  for (const uint64_t number : found) {
    EXPECT_TRUE(progress.begun.contains(number)) << number;
    // The cursor is written with each settlement, so a killed process repeats nothing of those.
    if (kind == CrashImages::Kind::kProcess) {
      EXPECT_FALSE(progress.settled.contains(number)) << number;
    }
  }
}

// One run of the program over the folder.
class Session {
 public:
  Session(const TempDir& dir, Progress& progress, FileOps& ops)
      : progress_(progress), spool_(open_spool(dir.path(), 400'000, ops)) {}

  void store(uint64_t first, uint64_t last, size_t size) {
    for (uint64_t n = first; n <= last; ++n) {
      progress_.begun.insert(n);
      ASSERT_EQ(test::store(*spool_, n, size).outcome, Spool::Outcome::kStored);
      progress_.stored.insert(n);
    }
  }
  void sync() {
    ASSERT_TRUE(spool_->sync());
    progress_.synced = progress_.stored;
  }
  void load() {
    RecordBatch batch;
    spool_->load(batch);
    for (size_t i = 0; i < batch.size(); ++i) loaded_.push_back(number_of(batch[i]));
  }
  void settle(size_t count) {
    ASSERT_LE(count, loaded_.size());
    progress_.settling = loaded_[count - 1];
    spool_->settle(count);
    progress_.settled.insert(loaded_.begin(), loaded_.begin() + static_cast<long>(count));
    loaded_.erase(loaded_.begin(), loaded_.begin() + static_cast<long>(count));
  }

 private:
  Progress& progress_;
  SpoolPtr spool_;
  Numbers loaded_;
};

TEST(SpoolCrash, AtEveryStepNothingStoredIsLostOrRepeated) {
  const LogCapture log(4);
  const TempDir dir;
  Progress progress;
  size_t images = 0;
  CrashImages ops(dir.path(), [&](const FolderImage& image, CrashImages::Kind kind) {
    ++images;
    check_image(image, kind, progress);
  });
  {
    Session run(dir, progress, ops);
    run.store(1, 5, 40);
    run.sync();
    run.store(6, 8, 6'000);
    run.sync();
    run.load();
    run.settle(3);
    run.store(9, 20, 6'000);  // into a second segment
    run.store(31, 34, 700);   // 21 to 30 are in memory
    run.sync();
    run.load();
    run.settle(7);
    run.store(21, 30, 100);  // and come later
    run.sync();
  }
  {
    Session run(dir, progress, ops);
    run.store(35, 36, 40);
    run.sync();
    run.load();
    run.load();
    run.settle(9);
    run.store(37, 37, 20'000);
    run.sync();
  }
  {
    Session run(dir, progress, ops);
    run.load();
    run.load();
    run.settle(10);
  }
  ops.take();
  EXPECT_GT(images, 300u);
}

// A sound child says 'n' to its parent, as soon as n is stored and synced, until it is killed.
[[noreturn]] void store_for_ever(const std::string& folder, int out) {
  vek_set_log_level(0);
  const auto spool = open_spool(folder);
  for (uint64_t n = spool->next_sequence();; ++n) {
    const bool is_stored =
        store(*spool, n, n % 50 == 0 ? 9'000 : 60).outcome == Spool::Outcome::kStored;
    if (!is_stored || !spool->sync()) _exit(1);
    if (write(out, &n, sizeof n) != sizeof n) _exit(1);
  }
}

Numbers run_and_kill(const std::string& folder, std::chrono::microseconds after) {
  int ends[2];
  if (pipe(ends) != 0) return {};
  fcntl(ends[0], F_SETPIPE_SZ, 1 << 20);
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    store_for_ever(folder, ends[1]);
  }
  close(ends[1]);
  std::this_thread::sleep_for(after);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  Numbers reported;
  uint64_t number = 0;
  while (read(ends[0], &number, sizeof number) == sizeof number) reported.push_back(number);
  close(ends[0]);
  return reported;
}

// VEK_SPOOL_KILLS chooses how often; by hand, a thousand and more.
TEST(SpoolCrash, AKilledProcessLosesNothingThatItReported) {
  const char* text = std::getenv("VEK_SPOOL_KILLS");
  const int kills = text ? std::atoi(text) : 30;
  const LogCapture log(4);
  const TempDir dir;
  std::mt19937 random(20'240'611);
  std::set<uint64_t> expected;
  uint64_t settled = 0;
  for (int i = 0; i < kills; ++i) {
    const std::chrono::microseconds after(random() % 20'000);
    for (const uint64_t n : run_and_kill(dir.path(), after)) expected.insert(n);
    const auto spool = open_spool(dir.path());
    ASSERT_NE(spool, nullptr);
    EXPECT_EQ(spool->lost_at_open(), 0u);
    const Numbers found = load_all(*spool);
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), std::less_equal<>()));
    for (const uint64_t n : expected) {
      EXPECT_TRUE(std::binary_search(found.begin(), found.end(), n)) << n << " after kill " << i;
    }
    if (found.empty()) continue;
    EXPECT_GT(found.front(), settled);
    const size_t count = random() % (found.size() + 1);
    if (count == 0) continue;
    spool->settle(count);
    settled = found[count - 1];
    expected.erase(expected.begin(), expected.upper_bound(settled));
  }
  EXPECT_GT(settled, 0u) << "the machine was too slow to see anything";
}

}  // namespace
}  // namespace vek::engine
