#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/Json.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FilterFields.h"

// What a change of a list changes for many devices.
namespace yox::decision {

// Two versions of a list, and which filter of one became which filter of the other. Never changes;
// may be read by any thread.
class YOX_API ListComparison {
 public:
  // A filter of both versions, or of one.
  struct Row {
    std::optional<std::size_t> before;
    std::optional<std::size_t> after;

    friend bool operator==(const Row&, const Row&) = default;
  };

  ListComparison(std::shared_ptr<const CompiledList> before,
                 std::shared_ptr<const CompiledList> after);

  const CompiledList& before() const { return *before_; }
  const CompiledList& after() const { return *after_; }
  // In the order of both lists. Equal filters are paired by a longest common subsequence; those
  // that differ between two pairs are paired in their order.
  const std::vector<Row>& rows() const { return rows_; }

 private:
  std::shared_ptr<const CompiledList> before_;
  std::shared_ptr<const CompiledList> after_;
  std::vector<Row> rows_;
};

// Where a list made its decision: a filter that decided, or the criterion that excluded the device
// from a filter. No filter: the list ended without a decision.
struct DecisionPlace {
  std::optional<std::size_t> filter;
  std::optional<FilterField> criterion;

  friend auto operator<=>(const DecisionPlace&, const DecisionPlace&) = default;
};

// Counts what two versions of a list decide on many devices. A value without a lock, as Funnel is.
class YOX_API ListDifference {
 public:
  static constexpr std::size_t kExamples = 5;

  // Devices that gain or lose at the same place.
  struct Group {
    std::uint64_t gain = 0;
    std::uint64_t lose = 0;
    std::vector<std::string> examples;  // the identifiers of the first, at most kExamples
  };
  // From the place in the version before to the place in the version after.
  using Groups = std::map<std::pair<DecisionPlace, DecisionPlace>, Group>;

  struct Verdicts {
    Truth before;
    Truth after;
  };
  // Decides both versions on the device, and counts and returns the verdicts.
  Verdicts Add(const ListComparison& lists, DeviceFacts& facts, std::string_view id);

  // Counts devices for which both versions have this verdict, and which were decided elsewhere.
  void AddSame(Truth verdict, std::uint64_t devices) {
    counts_[static_cast<std::size_t>(verdict)][static_cast<std::size_t>(verdict)] += devices;
  }

  // Adds the counts of devices that come after the ones counted so far, for the same two lists.
  void Merge(const ListDifference& later);

  std::uint64_t devices() const;
  std::uint64_t gain() const { return Count(Truth::kFalse, Truth::kTrue); }
  std::uint64_t lose() const { return Count(Truth::kTrue, Truth::kFalse); }
  // Both versions decide the same.
  std::uint64_t same() const {
    return Count(Truth::kTrue, Truth::kTrue) + Count(Truth::kFalse, Truth::kFalse);
  }
  // At least one version is undetermined.
  std::uint64_t undetermined() const { return devices() - gain() - lose() - same(); }
  std::uint64_t Count(Truth before, Truth after) const {
    return counts_[static_cast<std::size_t>(before)][static_cast<std::size_t>(after)];
  }
  // Whether any device has another verdict than before, undetermined included.
  bool HasChanges() const;
  const Groups& groups() const { return groups_; }
  // The groups with the most devices first.
  std::vector<const Groups::value_type*> LargestGroups() const;

  // The counts as JSON, UTF-8: "devices", "gain", "lose", "same", "undetermined", of these
  // "undetermined_before" and "undetermined_after", which are undetermined in one version only, and
  // "by", the largest group first.
  std::string ToJsonText(JsonStyle style = JsonStyle::kReadable) const;

 private:
  std::array<std::array<std::uint64_t, 3>, 3> counts_ = {};  // by Truth before and after
  Groups groups_;
};

}  // namespace yox::decision
