#include "host/yoxctl/RolloutCounts.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "yox/base/TimeZone.h"
#include "yox/decision/Decide.h"

#include "host/yoxctl/RolloutPlot.h"

namespace yoxctl {
namespace {

using namespace yox::decision;

constexpr std::int64_t kSecondsPerDay = 86400;

const std::optional<yox::TimeZone> kUtc = yox::TimeZone();

// A device whose clock shows UTC. At noon of the same day the list decides as on the device's own
// clock: both days have the same date, and a roll-out's days of 24 hours, which begin at midnight
// and are an hour off after a change to daylight saving time, have the same number.
class InUtc final : public QuestionFacts {
 public:
  InUtc(DeviceFacts& device, const Question& question)
      : QuestionFacts(question, kUtc), device_(device) {}

  RegistryFact ReadRegistry(const CompiledRegistryRequirement& requirement) override {
    return device_.ReadRegistry(requirement);
  }

 private:
  TextFact FetchText(FilterField field) override { return device_.Text(field); }
  VersionFact FetchDeviceVersion(FilterField field) override { return device_.Version(field); }
  TextsFact FetchSubscriptions() override { return device_.Subscriptions(); }
  PairsFact FetchTags() override { return device_.Tags(); }
  PairsFact FetchInstalledItems() override { return device_.InstalledItems(); }
  HardwareIdsFact FetchHardwareIds() override { return device_.PresentHardwareIds(); }
  BucketFact FetchBucket(bool of_organisation) override { return device_.Bucket(of_organisation); }

  DeviceFacts& device_;
};

}  // namespace

RolloutCounts::RolloutCounts(const CompiledList& list, const DaySpan& span,
                             const Question& question)
    : span_(span), changes_(DaysOfChange(list, span)), counts_(changes_.size()) {
  for (const std::int64_t day : changes_) {
    questions_.push_back(question);
    questions_.back().now = day * kSecondsPerDay + kSecondsPerDay / 2;
  }
}

void RolloutCounts::Add(const CompiledList& list, DeviceFacts& device) {
  ++devices_;
  for (std::size_t i = 0; i < changes_.size(); ++i) {
    InUtc facts(device, questions_[i]);
    const Truth applies = Decide(list, facts).applies;
    if (applies == Truth::kTrue) ++counts_[i].in;
    if (applies == Truth::kUnknown) ++counts_[i].undetermined;
  }
}

void RolloutCounts::Merge(const RolloutCounts& other) {
  devices_ += other.devices_;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    counts_[i].in += other.counts_[i].in;
    counts_[i].undetermined += other.counts_[i].undetermined;
  }
}

const RolloutCounts::Count& RolloutCounts::On(std::int64_t day) const {
  const auto after = std::ranges::upper_bound(changes_, day);
  return counts_[static_cast<std::size_t>(after - changes_.begin()) - 1];
}

std::string DayText(std::int64_t day) {
  return DateText(yox::TimeZone().ToLocalDate(day * kSecondsPerDay));
}

}  // namespace yoxctl
