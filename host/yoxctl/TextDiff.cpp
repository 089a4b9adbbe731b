#include "host/yoxctl/TextDiff.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace yoxctl {
namespace {

using Lines = std::vector<std::string_view>;

Lines LinesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return lines;
}

// A line of the diff: ' ' for both texts, '-' for the former, '+' for the latter.
struct Edit {
  char kind;
  std::string_view line;
};

// The shortest edits, by the greedy algorithm of Myers (1986). Beyond `kMostSteps` differences,
// which would take memory with their square, everything is removed and added.
std::vector<Edit> EditsOf(const Lines& before, const Lines& after) {
  constexpr int kMostSteps = 2000;
  const int n = static_cast<int>(before.size());
  const int m = static_cast<int>(after.size());
  const auto line = [](const Lines& lines, int i) { return lines[static_cast<std::size_t>(i)]; };
  std::vector<std::vector<int>> trace;
  const int most = std::min(n + m, kMostSteps);
  std::vector<int> reach(static_cast<std::size_t>(2 * most + 3), 0);
  const auto at = [&](std::vector<int>& of, int k) -> int& {
    return of[static_cast<std::size_t>(k + most + 1)];
  };
  bool found = false;
  for (int d = 0; d <= most && !found; ++d) {
    trace.push_back(reach);
    for (int k = -d; k <= d; k += 2) {
      const bool down = k == -d || (k != d && at(reach, k - 1) < at(reach, k + 1));
      int x = down ? at(reach, k + 1) : at(reach, k - 1) + 1;
      while (x < n && x - k < m && line(before, x) == line(after, x - k)) ++x;
      at(reach, k) = x;
      found = found || (x >= n && x - k >= m);
    }
  }
  std::vector<Edit> edits;
  if (!found) {
    for (const std::string_view one : before) edits.push_back({'-', one});
    for (const std::string_view one : after) edits.push_back({'+', one});
    return edits;
  }
  int x = n;
  int y = m;
  for (int d = static_cast<int>(trace.size()) - 1; d >= 0; --d) {
    std::vector<int>& former = trace[static_cast<std::size_t>(d)];
    const int k = x - y;
    const bool down = k == -d || (k != d && at(former, k - 1) < at(former, k + 1));
    const int from = down ? k + 1 : k - 1;
    const int from_x = d == 0 ? 0 : at(former, from);
    const int from_y = d == 0 ? 0 : from_x - from;
    while (x > from_x && y > from_y) edits.push_back({' ', line(before, --x)}), --y;
    if (d == 0) break;
    if (down) {
      edits.push_back({'+', line(after, --y)});
    } else {
      edits.push_back({'-', line(before, --x)});
    }
  }
  std::ranges::reverse(edits);
  return edits;
}

// A line, "\ No newline at end of file" after it if it has none.
void Append(std::string& text, const Edit& edit) {
  text += edit.kind;
  text += edit.line;
  if (!edit.line.ends_with('\n')) text += "\n\\ No newline at end of file\n";
}

std::string Range(std::size_t first, std::size_t count) {
  return std::to_string(count == 0 ? first : first + 1) + "," + std::to_string(count);
}

}  // namespace

std::string UnifiedDiff(const std::string& name, std::string_view before, std::string_view after) {
  constexpr std::size_t kContext = 3;
  if (before == after) return {};
  const Lines former = LinesOf(before);
  const Lines latter = LinesOf(after);
  const std::vector<Edit> edits = EditsOf(former, latter);
  std::string text = "--- " + name + "\n+++ " + name + "\n";
  std::size_t old_line = 0;
  std::size_t new_line = 0;
  for (std::size_t i = 0; i < edits.size();) {
    if (edits[i].kind == ' ') {
      ++i, ++old_line, ++new_line;
      continue;
    }
    // A hunk ends where as many lines as two contexts are equal.
    std::size_t end = i;
    for (std::size_t k = i; k < edits.size() && k <= end + 2 * kContext; ++k) {
      if (edits[k].kind != ' ') end = k;
    }
    const std::size_t begin = i - std::min({kContext, i, old_line});
    const std::size_t stop = std::min(edits.size(), end + 1 + kContext);
    const std::size_t old_first = old_line - (i - begin);
    const std::size_t new_first = new_line - (i - begin);
    std::size_t old_count = 0;
    std::size_t new_count = 0;
    std::string hunk;
    for (std::size_t k = begin; k < stop; ++k) {
      old_count += edits[k].kind != '+';
      new_count += edits[k].kind != '-';
      Append(hunk, edits[k]);
    }
    text +=
        "@@ -" + Range(old_first, old_count) + " +" + Range(new_first, new_count) + " @@\n" + hunk;
    old_line = old_first + old_count;
    new_line = new_first + new_count;
    i = stop;
  }
  return text;
}

}  // namespace yoxctl
