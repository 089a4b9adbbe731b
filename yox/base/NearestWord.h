#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace yox {

// Returns how many letters have to be inserted, removed, replaced or exchanged with their neighbour
// to turn one word into the other: the optimal string alignment distance over bytes, without regard
// to the letter case of ASCII.
inline std::size_t EditDistance(std::string_view from, std::string_view to) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  std::vector<std::size_t> before(to.size() + 1);
  std::vector<std::size_t> above(to.size() + 1);
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t k = 0; k <= to.size(); ++k) above[k] = k;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    row[0] = i;
    for (std::size_t k = 1; k <= to.size(); ++k) {
      const bool same = lower(from[i - 1]) == lower(to[k - 1]);
      row[k] = std::min({above[k] + 1, row[k - 1] + 1, above[k - 1] + (same ? 0 : 1)});
      const bool exchanged = i > 1 && k > 1 && lower(from[i - 1]) == lower(to[k - 2]) &&
                             lower(from[i - 2]) == lower(to[k - 1]);
      if (exchanged) row[k] = std::min(row[k], before[k - 2] + 1);
    }
    std::swap(before, above);
    std::swap(above, row);
  }
  return above[to.size()];
}

// Returns the word that is nearest to a misspelt one, or an empty view if none is near: at most a
// third of the letters may differ. Words of more than 64 bytes have none near. `words` is a range
// of what converts to std::string_view; the result is a view of its element.
template <class Words>
std::string_view NearestWord(std::string_view misspelt, const Words& words) {
  constexpr std::size_t kLongest = 64;
  std::string_view nearest;
  if (misspelt.size() > kLongest) return nearest;
  std::size_t least = misspelt.size() / 3 + (misspelt.size() % 3 == 0 ? 0 : 1);
  for (const auto& element : words) {
    const std::string_view word = element;
    if (word.size() > misspelt.size() + least || word.size() + least < misspelt.size()) continue;
    const std::size_t distance = EditDistance(misspelt, word);
    if (distance > least || (distance == least && !nearest.empty())) continue;
    least = distance;
    nearest = word;
  }
  return nearest;
}

// Returns " (did you mean \"WORD\"?)" for the nearest word, and an empty text if none is near.
template <class Words>
std::string DidYouMean(std::string_view misspelt, const Words& words) {
  const std::string_view nearest = NearestWord(misspelt, words);
  return nearest.empty() ? std::string() : " (did you mean \"" + std::string(nearest) + "\"?)";
}

}  // namespace yox
