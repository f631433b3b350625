#include "tools/base/suggest.h"

#include <algorithm>

namespace vek::tools {

size_t edit_distance(std::string_view a, std::string_view b) {
  // Three rows of the table are enough: a swap of neighbours looks two rows back.
  std::vector<size_t> before_last(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> current(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replace = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      current[j] = std::min({last[j] + 1, current[j - 1] + 1, replace});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) current[j] = std::min(current[j], before_last[j - 2] + 1);
    }
    before_last.swap(last);
    last.swap(current);
  }
  return last[b.size()];
}

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
  const size_t limit = std::max<size_t>(1, word.size() / 3);
  std::string best;
  size_t best_distance = limit + 1;
  for (const std::string& candidate : candidates) {
    const size_t distance = edit_distance(word, candidate);
    if (distance < best_distance) {
      best_distance = distance;
      best = candidate;
    }
  }
  return best;
}

}  // namespace vek::tools
