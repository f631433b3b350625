#include "counters/counter_set_observer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using CounterSet = Owned<vek_counter_set_t, vek_free_counter_set>;

class Watcher : public CounterSetObserver {
 public:
  void on_counter_set_line(const CounterSetLine& line) override {
    static const char* const kKinds[] = {"empty", "ignored", "nul", "meta", "bad meta", "token"};
    lines.push_back(std::to_string(line.number) + ":" + std::to_string(line.column) + " " +
                    kKinds[static_cast<int>(line.kind)]);
  }
  void on_counter_token(uint64_t token, uint64_t counter, CounterTokenEffect effect) override {
    static const char* const kEffects[] = {"malformed", "bad filter", "shown", "already",
                                           "excluded"};
    effects.push_back(std::to_string(token) + " on " + std::to_string(counter) + " " +
                      kEffects[static_cast<int>(effect)]);
  }
  std::vector<std::string> lines;
  std::vector<std::string> effects;
};

TEST(CounterSetObserver, SeesLinesAndWhatTokensDo) {
  LogCapture log;
  const TempDir dir;
  const std::string path = dir.write(
      "f",
      "# c\n[h]\n  rx\nmeta_field_add:a=b\nmeta_field_add:=\nx=y=z\n+\n^rx_a$\n-tx\n"s + "a\0b\n"s);
  const OwnedCounters schema = countersSchema({"rx_a", "tx_a"});
  Watcher watcher;
  const CounterSet watched(make_counter_set(schema.get(), path.c_str(), &watcher));
  EXPECT_THAT(watcher.lines,
              ElementsAre("1:1 empty", "2:1 ignored", "3:3 token", "4:1 meta", "5:1 bad meta",
                          "6:1 token", "7:1 token", "8:1 token", "9:1 token", "10:1 nul"));
  EXPECT_THAT(watcher.effects, ElementsAre("0 on 0 shown", "1 on 0 malformed", "2 on 0 bad filter",
                                           "3 on 0 already", "4 on 0 already", "1 on 1 malformed",
                                           "2 on 1 bad filter", "4 on 1 excluded"));
  // Watching changes nothing.
  const CounterSet plain(vek_schema_to_counter_set(schema.get(), path.c_str()));
  EXPECT_EQ(watched->num_exported, plain->num_exported);
  EXPECT_EQ(watched->skip[0], plain->skip[0]);
  EXPECT_EQ(watched->skip[1], plain->skip[1]);
}

}  // namespace
}  // namespace vek::test
