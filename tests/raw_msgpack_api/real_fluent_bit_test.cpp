// Outputs that a real Fluent Bit serves, where one is named: VEK_FLUENT_BIT_PROGRAM for the
// program, FLUENT_BIT_LIBRARY for the library. Elsewhere these tests are skipped.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <map>

#include "tests/raw_msgpack_api/fluent_bit_fixture.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

struct RealEngine {
  const char* name;
  const char* variable;

  friend std::ostream& operator<<(std::ostream& out, const RealEngine& engine) {
    return out << engine.name;
  }
};

class RealFluentBit : public FluentBitTest, public testing::WithParamInterface<RealEngine> {
 protected:
  void SetUp() override {
    const char* path = std::getenv(GetParam().variable);
    if (!path) GTEST_SKIP() << GetParam().variable << " names no Fluent Bit";
    path_ = path;
  }
  ParameterPairs real(const ParameterPairs& more = {}) const {
    ParameterPairs all = {{"vek.engine", GetParam().name}, {"vek.engine_path", path_}};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  // Of the records in a file of Fluent Bit's format "plain", each once.
  std::set<uint64_t> stored(const std::string& path) const {
    std::set<uint64_t> all;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
      const size_t at = line.find("\"n\":");
      if (at != std::string::npos) all.insert(std::stoull(line.substr(at + 4)));
    }
    return all;
  }

  std::string path_;
};

INSTANTIATE_TEST_SUITE_P(Engines, RealFluentBit,
                         testing::Values(RealEngine{"process", "VEK_FLUENT_BIT_PROGRAM"},
                                         RealEngine{"library", "FLUENT_BIT_LIBRARY"}),
                         [](const auto& engine) { return std::string(engine.param.name); });

TEST_P(RealFluentBit, ForwardsEveryRecord) {
  const ForwardReceiver receiver;
  Engine engine("forward", real({{"Port", receiver.port()},
                                 {"Require_ack_response", "on"},
                                 {"workers", "1"},  // the receiver serves one after the other
                                 {"net.keepalive", "off"}}));
  ASSERT_TRUE(engine.context());
  add_numbered(engine, 0, 5000);
  EXPECT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("delivered"), 5000u);
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(receiver.numbers(), counted(5000));
}

TEST_P(RealFluentBit, WritesFiles) {
  Engine engine("file", real({{"path", dir_.path()}, {"file", "all"}, {"format", "plain"}}));
  ASSERT_TRUE(engine.context());
  add_numbered(engine, 0, 5000);
  EXPECT_TRUE(engine.drained());
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(stored(dir_.file("all")).size(), 5000u);
  EXPECT_THAT(folders(), IsEmpty());
}

TEST_P(RealFluentBit, NamesAParameterThatItsOutputDoesNotHave) {
  LogCapture log(4);
  EXPECT_EQ(Engine("forward", real({{"shared_keyy", "x"}})).context(), nullptr);
  EXPECT_THAT(log.errors(), ElementsAre(EndsWith("the output 'forward' of Fluent Bit has no "
                                                 "parameter 'shared_keyy'")));
}

TEST_P(RealFluentBit, LeavesTheHostAsItWas) {
  const auto actions = [] {
    std::map<int, void*> all;
    for (int number = 1; number < SIGRTMIN; ++number) {
      struct sigaction action {};
      if (sigaction(number, nullptr, &action) == 0) {
        all[number] = reinterpret_cast<void*>(action.sa_handler);
      }
    }
    return all;
  };
  const auto state = [] {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    std::string text = std::filesystem::current_path().string() + setlocale(LC_ALL, nullptr);
    for (int number = 1; number < SIGRTMIN; ++number)
      text += sigismember(&mask, number) ? '1' : '0';
    return text;
  };
  { Engine engine("null", real()); }  // what is made once
  const auto actions_before = actions();
  const std::string state_before = state();
  const size_t descriptors_before = descriptors();
  for (int i = 0; i < 3; ++i) {
    Engine engine("null", real());
    ASSERT_TRUE(engine.context());
    EXPECT_EQ(actions(), actions_before);
    EXPECT_EQ(state(), state_before);
    add_numbered(engine, 0, 10);
    EXPECT_TRUE(engine.drained());
    EXPECT_EQ(engine.finish(), 0);
  }
  EXPECT_EQ(actions(), actions_before);
  EXPECT_EQ(state(), state_before);
  EXPECT_EQ(descriptors(), descriptors_before);
}

// The program, as the only child of this process.
pid_t child() {
  const std::string self = std::to_string(getpid());
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream in(entry.path() / "stat");
    std::string pid, name, state, parent;
    if (in >> pid >> name >> state >> parent && parent == self && name == "(fluent-bit)") {
      return std::stoi(pid);
    }
  }
  return -1;
}

TEST_P(RealFluentBit, LosesNothingWhenItIsKilled) {
  if (std::string(GetParam().name) != "process") GTEST_SKIP() << "it would end this process";
  constexpr uint64_t kRounds = 5;
  constexpr uint64_t kRecords = 2000;
  Engine engine("file", real({{"path", dir_.path()},
                              {"file", "all"},
                              {"format", "plain"},
                              {"vek.retry_base", "0.05"},
                              {"vek.grace", "20"},
                              {"vek.frame_size", "4k"}}));
  ASSERT_TRUE(engine.context());
  for (uint64_t round = 0; round < kRounds; ++round) {
    add_numbered(engine, round * kRecords, (round + 1) * kRecords);
    usleep(static_cast<useconds_t>(20'000 * round));
    const pid_t pid = child();
    if (pid > 0) kill(pid, SIGKILL);
    usleep(300'000);
  }
  EXPECT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("delivered"), kRounds * kRecords);
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(stored(dir_.file("all")).size(), kRounds * kRecords);
}

}  // namespace
}  // namespace vek::test
