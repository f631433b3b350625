#include "bench/plot.h"

#include <cmath>
#include <string>

namespace vek::bench {
namespace {

constexpr double kWidth = 640;
constexpr double kHeight = 400;
constexpr double kMargin = 60;
// Powers of ten that the axes go over: counters, and the cost of a record.
constexpr int kCountersFrom = 1;
constexpr int kCountersTo = 4;
constexpr int kCostFrom = 0;
constexpr int kCostTo = 6;

struct Line {
  const char* variant;
  const char* colour;
};

constexpr Line kLines[] = {{"plain", "#b3541e"}, {"ours", "#1f6f8b"}, {"floor", "#7d7d7d"}};

double x_of(double counters) {
  return kMargin + (kWidth - 2 * kMargin) * (std::log10(counters) - kCountersFrom) /
                       (kCountersTo - kCountersFrom);
}

double y_of(double cost) {
  return kHeight - kMargin -
         (kHeight - 2 * kMargin) * (std::log10(cost) - kCostFrom) / (kCostTo - kCostFrom);
}

void draw_axes(std::FILE* out) {
  constexpr char kText[] = "<text x='%.1f' y='%.1f' text-anchor='%s' fill='#444'>%s</text>\n";
  for (int power = kCountersFrom; power <= kCountersTo; ++power) {
    const double x = x_of(std::pow(10, power));
    std::fprintf(out, "<path d='M%.1f %.1fV%.1f' stroke='#ddd'/>\n", x, kMargin, kHeight - kMargin);
    std::fprintf(out, kText, x, kHeight - kMargin + 18, "middle",
                 std::to_string(static_cast<int>(std::pow(10, power))).c_str());
  }
  for (int power = kCostFrom; power <= kCostTo; ++power) {
    const double y = y_of(std::pow(10, power));
    std::fprintf(out, "<path d='M%.1f %.1fH%.1f' stroke='#ddd'/>\n", kMargin, y, kWidth - kMargin);
    std::fprintf(out, kText, kMargin - 6, y + 4, "end",
                 std::to_string(static_cast<int>(std::pow(10, power))).c_str());
  }
  std::fprintf(out, kText, kWidth / 2, kHeight - 14, "middle", "counters in a record");
  std::fprintf(out, kText, kMargin, kMargin - 16, "start", "nanoseconds a record");
}

void draw_line(const Table& table, const Line& line, double label_y, std::FILE* out) {
  const char* command = "M";
  std::fprintf(out, "<path fill='none' stroke='%s' stroke-width='2' d='", line.colour);
  for (int counters = 10; counters <= 10'000; counters *= 10) {
    const std::string workload = "counters/flb_std/" + std::to_string(counters) + "/steady";
    const Figures* figures = table.find(workload, line.variant);
    if (!figures) continue;
    std::fprintf(out, "%s%.1f %.1f", command, x_of(counters), y_of(figures->cost));
    command = "L";
  }
  std::fprintf(out, "'/>\n<text x='%.1f' y='%.1f' fill='%s'>%s</text>\n", kMargin + 12, label_y,
               line.colour, line.variant);
}

}  // namespace

void plot_counters(const Table& table, std::FILE* out) {
  std::fprintf(out,
               "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %.0f %.0f' "
               "font-family='sans-serif' font-size='12'>\n<rect width='100%%' height='100%%' "
               "fill='white'/>\n",
               kWidth, kHeight);
  draw_axes(out);
  double label_y = kMargin + 20;
  for (const Line& line : kLines) {
    draw_line(table, line, label_y, out);
    label_y += 18;
  }
  std::fprintf(out, "</svg>\n");
}

}  // namespace vek::bench
