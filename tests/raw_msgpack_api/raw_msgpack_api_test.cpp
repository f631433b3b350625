#include "raw_msgpack_api/raw_msgpack_api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Init, RefusesOtherOutputsAndSaysWhatWorks) {
  LogCapture log;
  EXPECT_EQ(Engine("kafka").context(), nullptr);
  EXPECT_EQ(Engine("").context(), nullptr);
  EXPECT_EQ(init(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), nullptr);
  EXPECT_THAT(log.errors(),
              ElementsAre("[raw msgpack API] there is no output 'kafka'; these work: stdout_raw, "
                          "stdout, file, forward, null",
                          "[raw msgpack API] there is no output ''; these work: stdout_raw, "
                          "stdout, file, forward, null",
                          "[raw msgpack API] there is no output ''; these work: stdout_raw, "
                          "stdout, file, forward, null"));
}

TEST(Init, RefusesAnUnknownParameterWithItsNearestName) {
  LogCapture log;
  EXPECT_EQ(Engine("null", {{"Mem_Buf_Limits", "1"}}).context(), nullptr);
  EXPECT_THAT(log.errors(), ElementsAre("[raw msgpack API] output 'null' has no parameter "
                                        "'Mem_Buf_Limits'; did you mean 'Mem_Buf_Limit'?"));
}

TEST(Init, RefusesValuesThatItCannotUse) {
  LogCapture log;
  EXPECT_EQ(Engine("null", {{"vek.engine", "process"}}).context(), nullptr);
  EXPECT_EQ(Engine("null", {{"vek.grace", "soon"}}).context(), nullptr);
  EXPECT_EQ(log.errors().size(), 2u);
}

TEST(Init, NeedsNeitherHostNorParametersNorKind) {
  void* context = init("null", nullptr, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(finalize(context), 0);
}

TEST(AddData, CountsEverySoundRecord) {
  Engine engine("null");
  EXPECT_EQ(engine.add(numbered_record(1) + numbered_record(2)), 0);
  EXPECT_EQ(engine.add(numbered_record(3)), 0);
  EXPECT_EQ(add_data(engine.context(), nullptr, 0), 0);
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("accepted"), 3u);
  EXPECT_EQ(engine.stat("delivered"), 3u);
  EXPECT_EQ(engine.stat("bytes"), 3 * numbered_record(1).size());
  EXPECT_EQ(engine.finish(), 0);
}

TEST(AddData, DropsAMalformedRecordAloneAndLogsEachCauseOnce) {
  LogCapture log(4);
  Engine engine("null", {{"Alias", "sink"}});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(engine.add(numbered_record(1) + Pack().str("odd").bytes() + numbered_record(2)), 0);
  }
  EXPECT_EQ(engine.add(numbered_record(3) + std::vector<uint8_t>{0x92, 1, 0x81}), 0);
  EXPECT_EQ(engine.add({0xc1, 1, 2, 3}), 0);
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("accepted"), 12u);
  EXPECT_EQ(engine.stat("delivered"), 7u);
  EXPECT_EQ(engine.stat("wrong_shape"), 3u);
  EXPECT_EQ(engine.stat("cut"), 1u);
  EXPECT_EQ(engine.stat("broken"), 1u);
  EXPECT_EQ(engine.finish(), 0);  // the sender's fault, nothing that could have been kept
  EXPECT_THAT(
      log.warnings(),
      ElementsAre("[raw msgpack API] [sink] dropped 1 record(s), 1 so far (wrong_shape): it is "
                  "neither [seconds, map], a map nor [seconds, array]",
                  "[raw msgpack API] [sink] dropped 1 record(s), 1 so far (cut): its buffer ends "
                  "inside it",
                  "[raw msgpack API] [sink] dropped 1 record(s), 1 so far (broken): it is not "
                  "msgpack; the rest of its buffer is dropped with it"));
}

TEST(AddData, CountsMendedRecords) {
  Engine engine("null");
  engine.add(Pack().array(2).f64(1).map(2).str("a").nil().bytes());
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("mended"), 1u);
  EXPECT_EQ(engine.stat("delivered"), 1u);
}

TEST(EntryPoints, RefuseANullContext) {
  const uint8_t byte = 0x80;
  EXPECT_NE(add_data(nullptr, &byte, 1), 0);
  EXPECT_NE(finalize(nullptr), 0);
  EXPECT_EQ(raw_msgpack_api_stats(nullptr, nullptr, 0), -1);
}

TEST(EntryPoints, RefuseNullBytesOfALengthThatIsNotZero) {
  Engine engine("null");
  EXPECT_NE(add_data(engine.context(), nullptr, 1), 0);
  EXPECT_EQ(engine.stat("accepted"), 0u);
}

// A host that was told of a loss finalizes again when it releases its exporter, and may have added
// in between.
TEST(EntryPoints, RefuseAContextThatIsFinalized) {
  Engine first("null");
  EXPECT_EQ(first.finish(), 0);
  Engine second("null");
  EXPECT_NE(first.finish(), 0);
  EXPECT_NE(first.add(numbered_record(1)), 0);
  EXPECT_EQ(first.stats(), "");
  EXPECT_EQ(second.add(numbered_record(1)), 0);
  EXPECT_EQ(second.finish(), 0);
}

TEST(Stats, ReturnTheFullLengthLikeSnprintf) {
  Engine engine("null");
  const std::string whole = engine.stats();
  EXPECT_THAT(whole, StartsWith("{\"accepted\":0,"));
  char small[8] = "xxxxxxx";
  EXPECT_EQ(raw_msgpack_api_stats(engine.context(), small, sizeof small),
            static_cast<int>(whole.size()));
  EXPECT_STREQ(small, whole.substr(0, 7).c_str());
  EXPECT_EQ(raw_msgpack_api_stats(engine.context(), nullptr, 0), static_cast<int>(whole.size()));
}

std::string ledger() {
  std::string text(1 << 20, '\0');
  const int length = raw_msgpack_api_ledger(text.data(), text.size());
  text.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return text;
}

// Other tests' contexts stand in it too, so the children look at a process of their own.
TEST(Ledger, ListsEveryContextInOrderAndKeepsTheLastAccount) {
  const ChildResult child = run_in_child([] {
    const std::string before = ledger();
    Engine first("null", {{"Alias", "first"}});
    Engine second("stdout_raw");
    first.add(numbered_record(1));
    ASSERT_TRUE(first.drained());
    EXPECT_EQ(first.finish(), 0);
    const std::string text = ledger().substr(before.size() - 1);
    EXPECT_THAT(text, HasSubstr(R"({"name":"first","output":"null","finalized":true,"account":)"
                                R"({"accepted":1,"delivered":1,"spooled":0,"queued":0,)"));
    EXPECT_THAT(text, HasSubstr(R"({"name":"stdout_raw","output":"stdout_raw","finalized":false,)"
                                R"("account":{"accepted":0,)"));
    EXPECT_LT(text.find("first"), text.find("stdout_raw"));
    EXPECT_EQ(raw_msgpack_api_ledger(nullptr, 0), static_cast<int>(ledger().size()));
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

TEST(Ledger, HoldsNothingOfTheParentInAForkedChild) {
  Engine engine("null");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(ledger() == "[]" ? 0 : 1);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(ForkedChild, DoesNothing) {
  const TempDir dir;
  Engine engine("file", {{"path", dir.path()}, {"file", "out"}});
  ASSERT_NE(engine.context(), nullptr);
  engine.add(numbered_record(1));
  ASSERT_TRUE(engine.drained());
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const auto record = numbered_record(2);
    const bool quiet = engine.add(record) == 0 &&
                       raw_msgpack_api_stats(engine.context(), nullptr, 0) == -1 &&
                       engine.finish() == 0;
    _exit(quiet ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  engine.add(numbered_record(3));
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(read_file(dir.file("out")), "[1.5,{\"n\":1}]\n[1.5,{\"n\":3}]\n");
}

TEST(Contexts, AreIndependentAcrossThreads) {
  const TempDir dir;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&dir, t] {
      for (int round = 0; round < 8; ++round) {
        Engine engine("file", {{"path", dir.path()}, {"file", std::to_string(t)}});
        for (uint64_t i = 0; i < 100; ++i) engine.add(numbered_record(i));
        EXPECT_EQ(engine.finish(), 0);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const std::string text = read_file(dir.file("0"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 800);
}

}  // namespace
}  // namespace vek::test
