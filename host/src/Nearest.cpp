#include "Nearest.h"

#include <algorithm>
#include <utility>

namespace vxhost {

namespace {

// How many slips of the hand turn one word into the other.
std::size_t Slips(std::string_view from, std::string_view to) {
  using Row = std::vector<std::size_t>;
  Row before2;
  Row before(to.size() + 1);
  for (std::size_t j = 0; j <= to.size(); ++j) before[j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    Row row(to.size() + 1);
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t wrong = before[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({before[j] + 1, row[j - 1] + 1, wrong});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) row[j] = std::min(row[j], before2[j - 2] + 1);
    }
    before2 = std::exchange(before, std::move(row));
  }
  return before[to.size()];
}

}  // namespace

std::string Nearest(std::string_view word, const std::vector<std::string>& known) {
  std::string nearest;
  std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
  for (const std::string& candidate : known) {
    const std::size_t slips = Slips(word, candidate);
    if (slips < least && slips < candidate.size()) {
      least = slips;
      nearest = candidate;
    }
  }
  return nearest;
}

}  // namespace vxhost
