#include "tools/bench/bench_baseline.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "json/json_owned.h"

namespace vek::tools {
namespace {

// Integers may be quoted.
double number_of(const JSON_Object* object, const char* name) {
  const char* text = json_object_get_string(object, name);
  return text ? std::strtod(text, nullptr) : json_object_get_number(object, name);
}

uint64_t whole_number_of(const JSON_Object* object, const char* name) {
  const double number = number_of(object, name);
  return number >= 0 && number < 1e18 ? static_cast<uint64_t>(number) : 0;
}

}  // namespace

void write_bench(const BenchResult& result, JsonWriter& json) {
  json.member("destinations", result.destinations)
      .member("pages", result.pages)
      .member("page_bytes", result.page_bytes)
      .member("failed_pages", result.failed_pages)
      .member("records", result.records)
      .member("record_bytes", result.record_bytes)
      .member("repeats", result.repeats)
      .member("passes", result.passes);
  json.key("ns_per_record")
      .begin_object()
      .key("median")
      .real(result.ns_per_record.median)
      .key("min")
      .real(result.ns_per_record.least)
      .key("mad")
      .real(result.ns_per_record.deviation)
      .end_object();
  json.key("records_per_second").real(result.records_per_second());
  json.key("page_bytes_per_second").real(result.page_bytes_per_second());
  json.key("allocations_per_record");
  if (result.allocations_per_record) {
    json.real(*result.allocations_per_record);
  } else {
    json.null();
  }
  json.member("memory_before", result.memory_before).member("peak_memory", result.peak_memory);
}

bool read_baseline(const std::string& path, const BenchResult& now, BenchResult& out,
                   std::string& problem) {
  const JsonValue document(json_parse_file(path.c_str()));
  const JSON_Object* object = json_value_get_object(document.get());
  const JSON_Object* time = json_object_get_object(object, "ns_per_record");
  out.ns_per_record = {number_of(time, "median"), number_of(time, "min"), number_of(time, "mad")};
  if (!object || !time || !(out.ns_per_record.median > 0)) {
    problem = path + ": cannot be read, or is not what 'vektool bench --json' prints";
    return false;
  }
  out.destinations = whole_number_of(object, "destinations");
  out.pages = whole_number_of(object, "pages");
  out.page_bytes = whole_number_of(object, "page_bytes");
  out.records = whole_number_of(object, "records");
  out.record_bytes = whole_number_of(object, "record_bytes");
  if (out.pages != now.pages || out.page_bytes != now.page_bytes) {
    problem = path + ": was measured with other pages";
    return false;
  }
  return true;
}

Verdict compare(const BenchResult& before, const BenchResult& now) {
  constexpr double kDeviations = 3;
  constexpr double kLeastSpread = 0.02;
  const double base = before.ns_per_record.median;
  Verdict verdict;
  verdict.change = now.ns_per_record.median / base - 1;
  verdict.spread =
      std::max(kLeastSpread,
               kDeviations * (before.ns_per_record.deviation + now.ns_per_record.deviation) / base);
  if (verdict.change > verdict.spread) verdict.kind = Verdict::Kind::kSlower;
  if (verdict.change < -verdict.spread) verdict.kind = Verdict::Kind::kFaster;
  return verdict;
}

const char* verdict_name(Verdict::Kind kind) {
  if (kind == Verdict::Kind::kSlower) return "slower";
  return kind == Verdict::Kind::kFaster ? "faster" : "same";
}

}  // namespace vek::tools
