#include <memory>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/RunningDevice.h"
#include "yox/base/String.h"
#include "yox/base/TimeZone.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/FactsRecord.h"
#include "yox/device/YoxInfo.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/tags/AppAndTagCollection.h"

using yox::WString;
using yox::decision::BucketFact;
using yox::decision::CompiledRegistryRequirement;
using yox::decision::FactsRecord;
using yox::decision::FilterField;
using yox::decision::Given;
using yox::decision::Hive;
using yox::decision::Knowledge;
using yox::decision::Language;
using yox::decision::RegistryFact;
using yox::platform::Platform;
using namespace yox::literals;

namespace {

class EvaluatorWithoutTasks final : public ApplicabilityEvaluator {};

void CollectRegistry(const CompiledRegistryRequirement& requirement,
                     yox::decision::DeviceFacts& device, FactsRecord& record) {
  if (!requirement.CanHold()) return;
  const WString root = *requirement.hive == Hive::kLocalMachine ? "HKLM\\"_w : "HKCU\\"_w;
  const RegistryFact fact = device.ReadRegistry(requirement);
  FactsRecord::RegistryValue& value = record.registry.emplace_back();
  value.key = root + WString(requirement.key);
  value.name = requirement.name;
  // A value that is too long fails a requirement as a missing one does.
  if (fact.stage == RegistryFact::Stage::kRead) value.text = fact.text;
}

}  // namespace

FactsRecord ApplicabilityEvaluator::RunningDevice::Collect(
    std::span<const ApplicabilityFilter> lists) {
  FactsRecord record;
  for (const yox::decision::Criterion& criterion : yox::decision::kCriteria) {
    if (criterion.language != Language::kText ||
        criterion.field == FilterField::device_subscription) {
      continue;
    }
    const TextFact& fact = DeviceFacts::Text(criterion.field);
    record.text(criterion.field) = {fact.knowledge, WString(fact.given)};
  }
  record.serial_number = Given<WString>::Known(machine_.View(Text::serial_number));
  record.realm = Given<WString>::Known(Realm());
  if (!own().has_organisation) record.realm = Given<WString>::Missing();
  record.text(FilterField::os_version) = Given<WString>::Known(machine_.View(Text::os_version));
  record.text(FilterField::version) = Given<WString>::Known(client_version_);
  const BucketFact device_bucket = Bucket(false);
  record.rollout_bucket = {device_bucket.knowledge, device_bucket.bucket};
  const BucketFact organisation_bucket = Bucket(true);
  record.organisation_bucket = {organisation_bucket.knowledge, organisation_bucket.bucket};

  const auto& subscriptions = Subscriptions();
  record.device_subscriptions = {
      subscriptions.knowledge,
      std::vector<WString>(subscriptions.texts.begin(), subscriptions.texts.end())};

  record.SetTimeZone(YOX::String::UTF16ToUTF8(Platform::Get().clock().ZoneName()));

  Tags();
  record.tags = tags_in_use_ ? tags_in_use_->shared->pairs : Pairs();

  InstalledItems();
  const Items& items = own().items;
  record.installed_items = items.installed->pairs;
  record.installed_items->insert(record.installed_items->end(), items.store.begin(),
                                 items.store.end());

  record.hardware_ids.emplace();
  if (const auto& present = PresentHardwareIds(); present.ids != nullptr) {
    record.hardware_ids->assign(present.ids->All().begin(), present.ids->All().end());
  }

  for (const ApplicabilityFilter& filter : lists) {
    const ApplicabilityFilter::Lease list(filter);
    for (const auto& program : (*list).programs()) {
      for (const auto& step : (*list).Steps(program)) {
        if (step.field != FilterField::registry) continue;
        for (const auto& requirement : (*list).Registry(step)) {
          CollectRegistry(requirement, *this, record);
        }
      }
    }
  }
  return record;
}

FactsRecord ApplicabilityEvaluator::CollectFacts(std::span<const ApplicabilityFilter> lists) {
  AppAndTagCollection* const tags = AppAndTagCollection::GetInstance();
  const WString client_version = YoxInfo::GetInstance()->GetYoxServiceVersion();
  const auto record = yox::YOXHelperFactory::GetInstance()->GetMachineInformationAgent();
  return RunningDevice(*this, record.get(), client_version, tags, nullptr, {},
                       RunningDevice::Purpose::kExplain)
      .Collect(lists);
}

std::unique_ptr<ApplicabilityEvaluator> ApplicabilityEvaluator::CreateWithoutTasks() {
  return std::make_unique<EvaluatorWithoutTasks>();
}
