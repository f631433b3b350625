// The table of all workloads: how the variants of each relate, and whether that is enough.
#ifndef VEK_BENCH_TABLE_H
#define VEK_BENCH_TABLE_H

#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vek::bench {

struct Goal;

// Of one variant of one workload.
struct Figures {
  double cost = 0;         // of one record, in the table's unit
  double allocations = 0;  // a record
  double bytes = 0;        // of a record
};

class Table {
 public:
  enum class Unit { kNanoseconds, kInstructions };

  explicit Table(Unit unit) : unit_(unit) {}

  void add(const std::string& workload, const std::string& variant, const Figures& figures);
  // Null where there are none.
  const Figures* find(const std::string& workload, const std::string& variant) const;
  void print(std::FILE* out) const;
  // One object, with an array of rows.
  void print_json(std::FILE* out) const;
  // Names each goal that is missed, on standard error; true when there is none. Workloads that were
  // not run are passed over.
  bool check() const;

 private:
  using Variants = std::map<std::string, Figures>;
  struct Row {
    std::string workload;
    Variants variants;

    const Figures* find(const char* variant) const;
    // 0 where a variant is missing.
    double ratio(const char* over, const char* under) const;
  };

  double least_times_plain(const Goal& goal) const;
  double most_times_floor(const Goal& goal) const;
  // 0 without both of the workloads that it takes.
  double growth() const;
  const Row* find(std::string_view workload) const;

  const char* unit_name() const;

  Unit unit_;
  std::vector<Row> rows_;  // in the order of their first figures
};

}  // namespace vek::bench

#endif  // VEK_BENCH_TABLE_H
