#include "yox/decision/ListDifference.h"

#include <algorithm>
#include <utility>

#include "yox/decision/Criteria.h"

namespace yox::decision {
namespace {

// The table of a longest common subsequence has at most this many cells.
constexpr std::size_t kMostCells = 4'000'000;

bool AreEqual(const Filter& a, const Filter& b) {
  for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
    const auto field = static_cast<FilterField>(i);
    if (a.View(field) != b.View(field)) return false;
  }
  return true;
}

// Pairs the filters of two lists.
class Aligner {
 public:
  Aligner(const std::vector<Filter>& before, const std::vector<Filter>& after)
      : before_(before), after_(after) {}

  std::vector<ListComparison::Row> Align() {
    const std::size_t shorter = std::min(before_.size(), after_.size());
    std::size_t head = 0;
    while (head < shorter && AreEqual(before_[head], after_[head])) ++head;
    std::size_t tail = 0;
    while (tail < shorter - head &&
           AreEqual(before_[before_.size() - 1 - tail], after_[after_.size() - 1 - tail])) {
      ++tail;
    }
    for (std::size_t i = 0; i < head; ++i) Pair(i, i);
    AlignMiddle(head, before_.size() - tail, after_.size() - tail);
    for (std::size_t i = tail; i > 0; --i) Pair(before_.size() - i, after_.size() - i);
    return std::move(rows_);
  }

 private:
  // Longest common subsequence, by dynamic programming from the end.
  void AlignMiddle(std::size_t begin, std::size_t before_end, std::size_t after_end) {
    const std::size_t rows = before_end - begin;
    const std::size_t columns = after_end - begin;
    if (rows != 0 && columns > kMostCells / rows) return Replace(before_end, after_end);
    std::vector<std::uint32_t> longest((rows + 1) * (columns + 1));
    const auto at = [&](std::size_t row, std::size_t column) -> std::uint32_t& {
      return longest[row * (columns + 1) + column];
    };
    const auto equal = [&](std::size_t row, std::size_t column) {
      return AreEqual(before_[begin + row], after_[begin + column]);
    };
    for (std::size_t row = rows; row-- > 0;) {
      for (std::size_t column = columns; column-- > 0;) {
        at(row, column) = equal(row, column) ? at(row + 1, column + 1) + 1
                                             : std::max(at(row + 1, column), at(row, column + 1));
      }
    }
    std::size_t row = 0;
    std::size_t column = 0;
    while (row < rows && column < columns) {
      if (equal(row, column)) {
        Replace(begin + row, begin + column);
        Pair(begin + row++, begin + column++);
      } else if (at(row + 1, column) >= at(row, column + 1)) {
        ++row;
      } else {
        ++column;
      }
    }
    Replace(before_end, after_end);
  }

  // Pairs the filters up to two indices in their order; the longer list's rest is alone.
  void Replace(std::size_t before_end, std::size_t after_end) {
    while (next_before_ < before_end || next_after_ < after_end) {
      if (next_before_ == before_end) {
        rows_.push_back({std::nullopt, next_after_++});
      } else if (next_after_ == after_end) {
        rows_.push_back({next_before_++, std::nullopt});
      } else {
        Pair(next_before_, next_after_);
      }
    }
  }

  void Pair(std::size_t before, std::size_t after) {
    rows_.push_back({before, after});
    next_before_ = before + 1;
    next_after_ = after + 1;
  }

  const std::vector<Filter>& before_;
  const std::vector<Filter>& after_;
  std::vector<ListComparison::Row> rows_;
  std::size_t next_before_ = 0;
  std::size_t next_after_ = 0;
};

// For each filter that the walk came to, the criterion that excluded the device, or none.
class Walk final : public Observer {
 public:
  Walk(const CompiledList& list, DeviceFacts& facts) : verdict_(Decide(list, facts, this)) {}

  std::optional<std::size_t> decided_by() const { return verdict_.decided_by; }
  bool IsDecidedBy(std::size_t filter) const { return decided_by() == filter; }
  std::optional<FilterField> ExcludedBy(std::size_t filter) const {
    return filter < excluded_by_.size() ? excluded_by_[filter] : std::nullopt;
  }

  void FilterPassed(std::size_t, const Failure& failure) override {
    excluded_by_.emplace_back(failure.step.field);
  }
  void FilterUndecided(std::size_t) override { excluded_by_.emplace_back(); }

 private:
  std::vector<std::optional<FilterField>> excluded_by_;  // before the walk
  Verdict verdict_;
};

// The first place at which two walks with different verdicts part.
std::pair<DecisionPlace, DecisionPlace> PlacesOf(const ListComparison& lists, const Walk& before,
                                                 const Walk& after) {
  for (const auto& row : lists.rows()) {
    const bool was = row.before && before.IsDecidedBy(*row.before);
    const bool is = row.after && after.IsDecidedBy(*row.after);
    if (!was && !is) continue;
    DecisionPlace from{before.decided_by(), {}};
    DecisionPlace to{after.decided_by(), {}};
    // A filter that decided in one version and excluded the device in the other.
    if (was && !is && row.after && after.ExcludedBy(*row.after)) {
      to = {row.after, after.ExcludedBy(*row.after)};
    }
    if (is && !was && row.before && before.ExcludedBy(*row.before)) {
      from = {row.before, before.ExcludedBy(*row.before)};
    }
    return {from, to};
  }
  return {{before.decided_by(), {}}, {after.decided_by(), {}}};
}

Json::Value PlaceJson(const DecisionPlace& place) {
  Json::Value json(Json::objectValue);
  json["filter"] = place.filter ? Json::Value(Json::UInt64{*place.filter}) : Json::Value();
  if (place.criterion) {
    json["criterion"] = std::string(kFilterFieldNames[static_cast<std::size_t>(*place.criterion)]);
  }
  return json;
}

}  // namespace

ListComparison::ListComparison(std::shared_ptr<const CompiledList> before,
                               std::shared_ptr<const CompiledList> after)
    : before_(std::move(before)),
      after_(std::move(after)),
      rows_(Aligner(before_->filters(), after_->filters()).Align()) {}

ListDifference::Verdicts ListDifference::Add(const ListComparison& lists, DeviceFacts& facts,
                                             std::string_view id) {
  const Verdicts verdicts{Decide(lists.before(), facts).applies,
                          Decide(lists.after(), facts).applies};
  ++counts_[static_cast<std::size_t>(verdicts.before)][static_cast<std::size_t>(verdicts.after)];
  const auto is = [&](Truth before, Truth after) {
    return verdicts.before == before && verdicts.after == after;
  };
  const bool gains = is(Truth::kFalse, Truth::kTrue);
  if (!gains && !is(Truth::kTrue, Truth::kFalse)) return verdicts;
  // Few devices change: only these are walked again, and observed.
  const Walk before(lists.before(), facts);
  const Walk after(lists.after(), facts);
  Group& group = groups_[PlacesOf(lists, before, after)];
  ++(gains ? group.gain : group.lose);
  if (group.examples.size() < kExamples) group.examples.emplace_back(id);
  return verdicts;
}

void ListDifference::Merge(const ListDifference& later) {
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    for (std::size_t j = 0; j < counts_[i].size(); ++j) counts_[i][j] += later.counts_[i][j];
  }
  for (const auto& [places, theirs] : later.groups_) {
    Group& ours = groups_[places];
    ours.gain += theirs.gain;
    ours.lose += theirs.lose;
    const std::size_t wanted = std::min(kExamples - ours.examples.size(), theirs.examples.size());
    ours.examples.insert(ours.examples.end(), theirs.examples.begin(),
                         theirs.examples.begin() + static_cast<std::ptrdiff_t>(wanted));
  }
}

std::uint64_t ListDifference::devices() const {
  std::uint64_t devices = 0;
  for (const auto& row : counts_) {
    for (const std::uint64_t count : row) devices += count;
  }
  return devices;
}

bool ListDifference::HasChanges() const {
  return devices() != same() + Count(Truth::kUnknown, Truth::kUnknown);
}

std::vector<const ListDifference::Groups::value_type*> ListDifference::LargestGroups() const {
  std::vector<const Groups::value_type*> groups;
  for (const auto& group : groups_) groups.push_back(&group);
  std::ranges::stable_sort(groups, std::greater<>(), [](const auto* group) {
    return group->second.gain + group->second.lose;
  });
  return groups;
}

std::string ListDifference::ToJsonText(JsonStyle style) const {
  Json::Value json;
  json["devices"] = Json::UInt64{devices()};
  json["gain"] = Json::UInt64{gain()};
  json["lose"] = Json::UInt64{lose()};
  json["same"] = Json::UInt64{same()};
  json["undetermined"] = Json::UInt64{undetermined()};
  const auto only = [&](bool before) {
    std::uint64_t count = 0;
    for (const Truth known : {Truth::kFalse, Truth::kTrue}) {
      count += before ? Count(Truth::kUnknown, known) : Count(known, Truth::kUnknown);
    }
    return Json::UInt64{count};
  };
  json["undetermined_before"] = only(true);
  json["undetermined_after"] = only(false);
  Json::Value& by = json["by"] = Json::Value(Json::arrayValue);
  for (const auto* const group : LargestGroups()) {
    Json::Value& entry = by.append(Json::objectValue);
    entry["from"] = PlaceJson(group->first.first);
    entry["to"] = PlaceJson(group->first.second);
    entry["gain"] = Json::UInt64{group->second.gain};
    entry["lose"] = Json::UInt64{group->second.lose};
    Json::Value& examples = entry["examples"] = Json::Value(Json::arrayValue);
    for (const std::string& id : group->second.examples) examples.append(id);
  }
  return JsonText(json, style);
}

}  // namespace yox::decision
