// Comparisons of benchmarks that belong together, printed when all have run.
//
// Benchmarks named "<case>/ours", "<case>/plain" and "<case>/memcpy" become one line of a table:
// the medians over the (interleaved) repetitions, and how they relate.
#ifndef VEK_BENCH_SUMMARY_H
#define VEK_BENCH_SUMMARY_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vek::bench {

// Prints what the console reporter prints, and remembers the medians.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override;
  // To standard output; nothing when no case is complete.
  void print_summary() const;

 private:
  struct Figures {
    double nanoseconds = 0;
    double allocations = 0;
    double bytes = 0;
  };
  using Variants = std::map<std::string, Figures>;

  // "a/100" before "a/1000", and both before "b/10"; random interleaving leaves no other order.
  struct ByNameAndNumber {
    bool operator()(const std::string& a, const std::string& b) const {
      const std::string_view a_name = std::string_view(a).substr(0, a.rfind('/'));
      const std::string_view b_name = std::string_view(b).substr(0, b.rfind('/'));
      if (a_name != b_name) return a_name < b_name;
      return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
  };
  std::map<std::string, Variants, ByNameAndNumber> cases_;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_SUMMARY_H
