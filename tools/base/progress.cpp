#include "tools/base/progress.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

#include "tools/base/console.h"

namespace vek::tools {

Progress::Progress(uint64_t total_bytes)
    : enabled_(status_line_possible()),
      total_bytes_(total_bytes),
      start_(Clock::now()),
      next_draw_(start_ + kInterval) {}

Progress::~Progress() { finish(); }

void Progress::update(uint64_t pages, uint64_t bytes) {
  if (!enabled_) return;
  const Clock::time_point now = Clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + kInterval;
  const std::chrono::duration<double> elapsed = now - start_;
  show_status_line(progress_text(pages, bytes, total_bytes_, elapsed.count()));
}

void Progress::finish() {
  if (enabled_) clear_status_line();
}

std::string progress_text(uint64_t pages, uint64_t bytes, uint64_t total_bytes, double seconds) {
  constexpr size_t kBarWidth = 24;
  std::array<char, 160> text{};
  const double rate = seconds > 0 ? static_cast<double>(pages) / seconds : 0.0;
  const std::string size = readable_size(static_cast<double>(bytes));
  if (total_bytes == 0) {
    std::snprintf(text.data(), text.size(), "%" PRIu64 " pages, %s, %.0f pages/s", pages,
                  size.c_str(), rate);
    return text.data();
  }
  const double done = std::min(1.0, static_cast<double>(bytes) / static_cast<double>(total_bytes));
  const auto filled = static_cast<size_t>(done * kBarWidth);
  const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
  std::snprintf(text.data(), text.size(), "[%s] %3.0f%%  %" PRIu64 " pages, %s, %.0f pages/s",
                bar.c_str(), done * 100.0, pages, size.c_str(), rate);
  return text.data();
}

}  // namespace vek::tools
