#include "yox/decision/RolloutDays.h"

#include <optional>

#include "yox/base/Interruption.h"
#include "yox/base/TimeZone.h"
#include "yox/decision/Decide.h"

namespace yox::decision {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

constinit const std::optional<TimeZone> kUtc = TimeZone();

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

RolloutDays::RolloutDays(const CompiledList& list, const DaySpan& span, const Question& question)
    : span_(span), changes_(DaysOfChange(list, span)) {
  for (const std::int64_t day : changes_) {
    questions_.push_back(question);
    questions_.back().now = day * kSecondsPerDay + kSecondsPerDay / 2;
  }
}

Truth RolloutDays::DecideOn(const CompiledList& list, DeviceFacts& device,
                            const Question& question) {
  ThrowIfInterrupted();
  InUtc facts(device, question);
  return Decide(list, facts).applies;
}

}  // namespace yox::decision
