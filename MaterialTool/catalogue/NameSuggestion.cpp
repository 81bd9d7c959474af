#include "NameSuggestion.h"

#include <algorithm>

namespace {

char folded(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

size_t editDistance(std::string_view a, std::string_view b) {
  // Three rows of the table: two back for a swap, one back, and the current one.
  std::vector<size_t> before(b.size() + 1), previous(b.size() + 1), current(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) previous[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t cost = folded(a[i - 1]) == folded(b[j - 1]) ? 0 : 1;
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, previous[j - 1] + cost});
      if (i > 1 && j > 1 && folded(a[i - 1]) == folded(b[j - 2]) && folded(a[i - 2]) == folded(b[j - 1]))
        current[j] = std::min(current[j], before[j - 2] + 1);
    }
    std::swap(before, previous);
    std::swap(previous, current);
  }
  return previous[b.size()];
}

std::string closestName(std::string_view word, const std::vector<std::string_view>& candidates) {
  const size_t allowed = word.size() <= 4 ? 1 : word.size() <= 8 ? 2 : 3;
  std::string_view best;
  size_t bestDistance = allowed + 1;
  for (std::string_view candidate : candidates) {
    const size_t distance = editDistance(word, candidate);
    if (distance < bestDistance) {
      best = candidate;
      bestDistance = distance;
    }
  }
  return std::string(best);
}
