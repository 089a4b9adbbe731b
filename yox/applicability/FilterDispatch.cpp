#include <algorithm>
#include <bit>
#include <map>

#include "yox/applicability/Decision.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/KvpTerms.h"
#include "yox/clientbase/SMBiosInformationRetriever.h"
#include "yox/clientbase/String.h"
#include "yox/clientbase/platform/Platform.h"
#include "yox/device/DeviceInfoProvider.h"

using YOX::String;
using YOX::WString;
using YOX::WStringView;
using YOX::match::PairView;
using YOX::match::TextPattern;
using YOX::match::VersionText;
using namespace YOX::literals;

namespace {

constexpr const char* kOrigin = "ApplicabilityEvaluator::DoesFilterMatch";

// Stored tags, and behind them the caller's, which replace stored ones of the same key.
struct FindInTags {
  const ApplicabilityEvaluator::Pairs& stored;
  const ApplicabilityEvaluator::Pairs& extra;

  std::optional<PairView> operator()(const TextPattern& key) const {
    for (const auto& pair : stored) {
      if (!key.Matches(String::Trimmed(pair.key()))) continue;
      const bool replaced =
          std::ranges::any_of(extra, [&](const auto& other) { return other.key() == pair.key(); });
      if (!replaced) return PairView{pair.key(), pair.value()};
    }
    return YOX::match::FindInPairs{extra}(key);
  }
};

// A fact fetched on first use.
template <class Value, class Fetch>
const Value& Fetched(std::optional<Value>& fact, Fetch fetch) {
  if (!fact) fact.emplace(fetch());
  return *fact;
}

WString Widen(std::string_view ascii) { return WString(ascii.begin(), ascii.end()); }

WStringView BitnessText(YOX::Architecture architecture) {
  switch (architecture) {
    case YOX::Architecture::x86:
      return "32"_wv;
    case YOX::Architecture::x64:
      return "64"_wv;
    case YOX::Architecture::ARM64:
      return "ARM64"_wv;
    default:
      return "not supported"_wv;
  }
}

// By either name of the application, sorted by key so that the answer is the same everywhere; store
// applications behind.
ApplicabilityEvaluator::Pairs InstalledItems() {
  ApplicabilityEvaluator::Pairs pairs;
  auto& applications = YOX::platform::Platform::Get().applications();
  for (const auto& [key, application] : applications.Installed()) {
    pairs.emplace_back(key, application.version);
    pairs.emplace_back(application.name, application.version);
  }
  for (const auto& [name, version] : applications.Store()) pairs.emplace_back(name, version);
  return pairs;
}

}  // namespace

bool ApplicabilityEvaluator::Decision::Matches(const Filter& filter, WString* reason) {
  for (std::uint32_t left = filter.criteria(); left != 0; left &= left - 1) {
    const Criterion& criterion = kCriteria[static_cast<std::size_t>(std::countr_zero(left))];
    const WString& required = filter.View(criterion.field);
    if (criterion.field == FilterField::target_version && target_version_ == nullptr) {
      constexpr const char* kMessage =
          "Target version filter is false. Target version pointer is null";
      if (g_evaluator_log.Enabled(YOX::LogLevel::Debug) &&
          evaluator_.logThrottler.ShouldLogStatic("TargetVersionNull"_w, Widen(kMessage))) {
        g_evaluator_log.d("%s %s", kOrigin, kMessage);
      }
      return false;
    }
    const Outcome outcome = Hold(criterion.field, required);
    if (outcome.matched) continue;
    if (reason != nullptr) {
      evaluator_.AddToReasonString(*reason, Widen(criterion.name()), outcome.matched);
    }
    if (g_evaluator_log.Enabled(YOX::LogLevel::Debug)) {
      LogFailure(criterion, required, outcome.actual);
    }
    return false;
  }
  return true;
}

void ApplicabilityEvaluator::Decision::LogFailure(const Criterion& criterion,
                                                  const WString& required,
                                                  WStringView actual) const {
  if (criterion.throttling == Throttling::kNone) {
    g_evaluator_log.d("%s Hardware ID filter is false. Required hardware ID: %s", kOrigin,
                      required);
    return;
  }
  WString message = Widen(criterion.label) + " filter is false. Required: "_w + required;
  if (criterion.end == MessageEnd::kActual) message += ", Actual: "_wv;
  if (criterion.end == MessageEnd::kActual) message += actual;
  if (criterion.end == MessageEnd::kNotFound) message += " not found"_wv;

  LogThrottler& throttler = evaluator_.logThrottler;
  const WString key = Widen(criterion.throttle_key);
  const bool write =
      criterion.throttling == Throttling::kStatic ? throttler.ShouldLogStatic(key, message)
      : criterion.throttling == Throttling::kDynamic
          ? throttler.ShouldLogDynamic(key, required, WString(actual), message)
          : throttler.ShouldLogDynamic(key, required, Widen(criterion.actual_word), message);
  if (write) g_evaluator_log.d("%s %s", kOrigin, message);
}

ApplicabilityEvaluator::Decision::Outcome ApplicabilityEvaluator::Decision::Hold(
    FilterField criterion, const WString& required) {
  using Text = MachineInformation::Text;
  const auto hold_text = [&](WStringView actual) {
    return Outcome{YOX::match::AnyText(required, actual), actual};
  };
  switch (criterion) {
    case FilterField::default_:
    case FilterField::value:
      break;  // controls
    case FilterField::country:
      return HoldRecord(required, Text::os_region);
    case FilterField::date_range:
      return {evaluator_.IsCurrentDateWithinRange(required)};
    case FilterField::date_function:
      return {evaluator_.DoesDateFunctionMatch(required, &machine_.View(Text::serial_number),
                                               &Realm())};
    case FilterField::device_subscription:
      return HoldSubscriptions(required);
    case FilterField::enclosure:
      return HoldRecord(required, Text::device_enclosuretype);
    case FilterField::family:
      return HoldRecord(required, Text::device_family);
    case FilterField::hardware_id:
      return {evaluator_.EvaluateHardwareIdFilter(required)};
    case FilterField::language:
      return HoldRecord(required, Text::os_language);
    case FilterField::mfr:
      return hold_text(Fetched(manufacturer_, [&] { return machine_.device_manufacturer(); }));
    case FilterField::model:
      return HoldRecord(required, Text::device_model);
    case FilterField::org_hash:
      return hold_text(
          Fetched(realm_hash_, [&] { return evaluator_.GetHashedSaltedString(Realm()); }));
    case FilterField::os:
      return hold_text("Windows"_wv);
    case FilterField::os_bitness:
      return hold_text(BitnessText(YOX::DeviceInfoProvider::GetInstance()->GetCPUArchitecture()));
    case FilterField::os_description:
      return HoldRecord(required, Text::os_description);
    case FilterField::os_version: {
      const bool matched = YOX::match::AnyVersion(required, os_version_);
      return {matched, os_version_.text()};
    }
    case FilterField::registry:
      return {evaluator_.EvaluateRegistryFilter(required)};
    case FilterField::sku:
      return HoldSku(required);
    case FilterField::sn_hash:
      return hold_text(Fetched(serial_hash_, [&] {
        return evaluator_.GetHashedSaltedString(machine_.View(Text::serial_number));
      }));
    case FilterField::target_version:
      return {evaluator_.EvaluateVersionFilter(required, *target_version_), *target_version_};
    case FilterField::version:
      return {evaluator_.EvaluateVersionFilter(required, client_version_), client_version_};
    case FilterField::tag:
      return HoldTags(required);
    case FilterField::installed_items:
      return {evaluator_.EvaluateKvpFilter(required, Fetched(installed_, InstalledItems),
                                           EvaluationModeForKVP::AnyTerm)};
  }
  return {};
}

ApplicabilityEvaluator::Decision::Outcome ApplicabilityEvaluator::Decision::HoldRecord(
    const WString& required, MachineInformation::Text text) const {
  const WString& actual = machine_.View(text);
  return {YOX::match::AnyText(required, actual), actual};
}

ApplicabilityEvaluator::Decision::Outcome ApplicabilityEvaluator::Decision::HoldSku(
    const WString& required) {
  auto* const firmware = SMBiosInformationRetriever::GetInstance();
  if (firmware == nullptr) return {};
  const WString& actual = Fetched(sku_, [&] { return firmware->GetSKU(); });
  return {YOX::match::AnyText(required, actual), actual};
}

ApplicabilityEvaluator::Decision::Outcome ApplicabilityEvaluator::Decision::HoldTags(
    const WString& required) const {
  static const Pairs none;
  return {
      YOX::match::Terms(required, FindInTags{none, extra_tags_}, EvaluationModeForKVP::AllTerms)};
}

// Every entry is looked at, also behind the first that holds.
ApplicabilityEvaluator::Decision::Outcome ApplicabilityEvaluator::Decision::HoldSubscriptions(
    const WString& required) {
  bool any = false;
  for (const WString& subscription : std::vector<WString>{}) {
    any |= YOX::match::AnyText(required, subscription);
  }
  return {any};
}

const WString& ApplicabilityEvaluator::Decision::Realm() {
  return Fetched(realm_, [] { return WString(); });
}
