#include "yox/applicability/HardwareIdFilter.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <utility>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/PnPDeviceTracker.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/Platform.h"

using YOX::String;

namespace yox::applicability {
namespace {

constexpr const char* kOrigin = "ApplicabilityEvaluator::EvaluateHardwareIdFilter";

class Tracking {
 public:
  // Null while the tracker cannot start; each call tries again.
  const HardwareIdRepository* Repository() {
    const MutexLock lock(mutex_);
    if (generation_ != platform::Platform::Generation()) {
      tracker_.reset();
      repository_.Clear();
      generation_ = platform::Platform::Generation();
    }
    if (tracker_ == nullptr) {
      auto starting = std::make_unique<PnPDeviceTracker>(repository_);
      if (!starting->Start()) {
        g_evaluator_log.e("%s Failed to start PnP device tracker", kOrigin);
        return nullptr;
      }
      g_evaluator_log.d("%s PnP device tracker started successfully", kOrigin);
      tracker_ = std::move(starting);
    }
    return &repository_;
  }

 private:
  HardwareIdRepository repository_;  // outlives the tracker
  Mutex mutex_;
  std::unique_ptr<PnPDeviceTracker> tracker_ YOX_GUARDED_BY(mutex_);
  std::uint64_t generation_ YOX_GUARDED_BY(mutex_) = platform::Platform::Generation();
};

bool HasExactly(const HardwareIdRepository& present,
                const decision::HardwareIdRequirement& requirement) {
  for (const WStringView id : requirement.exact) {
    const bool matched = present.IsPresent(id);
    g_evaluator_log.d("%s Hardware ID exact match result: %s", kOrigin,
                      matched ? "MATCH" : "NO_MATCH");
    if (matched) return true;
  }
  return false;
}

// The first ID that one of the patterns matches; null if there is none. A text alone is looked up
// in the index; the IDs before it are compared with the other patterns only.
const WString* FirstMatch(const HardwareIdRepository::Index& index,
                          const decision::HardwareIdRequirement& requirement) {
  std::size_t end = index.ids().size();
  for (const WStringView text : requirement.plain)
    end = std::min(end, index.Find(text).value_or(end));
  if (!requirement.wildcards.empty()) {
    for (const WString& id : std::span(index.ids().data(), end)) {
      if (decision::AnyText(requirement.wildcards, id)) return &id;
    }
  }
  return end == index.ids().size() ? nullptr : &index.ids()[end];
}

}  // namespace

const HardwareIdRepository* PresentIds() {
  static Tracking tracking;
  return tracking.Repository();
}

bool MatchHardwareId(WStringView required, const decision::HardwareIdRequirement& requirement) {
  try {
    g_evaluator_log.d("%s Evaluating hardware ID filter: %s", kOrigin, required);
    const HardwareIdRepository* const present = PresentIds();
    if (present == nullptr) return false;
    if (HasExactly(*present, requirement)) return true;

    const auto index = present->SharedIndex();
    g_evaluator_log.d("%s Checking %zu device IDs against wildcard requirement", kOrigin,
                      index->ids().size());
    if (const WString* const found = FirstMatch(*index, requirement)) {
      g_evaluator_log.d("%s Hardware ID filter matched: Required=%s, Found=%s", kOrigin,
                        requirement.normalised, *found);
      return true;
    }
    g_evaluator_log.d("%s Hardware ID filter result: NO_MATCH", kOrigin);
  } catch (const std::exception& exception) {
    g_evaluator_log.e("%s Exception in hardware ID filter: %s", kOrigin,
                      String::UTF8ToUTF16(exception.what()));
  }
  return false;
}

bool HardwareIdSnapshot::Contains(WStringView id) const {
  return std::ranges::find(index_->ids(), id) != index_->ids().end();
}

bool HardwareIdSnapshot::ContainsAnyFolded(std::span<const WStringView> ids) const {
  return std::ranges::any_of(ids, [&](WStringView id) { return index_->Find(id).has_value(); });
}

}  // namespace yox::applicability

bool ApplicabilityEvaluator::EvaluateHardwareIdFilter(const yox::WString& required) {
  try {
    yox::decision::TextArena arena;
    return yox::applicability::MatchHardwareId(
        required, yox::decision::HardwareIdRequirement::Compile(required, arena));
  } catch (const std::exception& exception) {
    g_evaluator_log.e("%s Exception in hardware ID filter: %s", yox::applicability::kOrigin,
                      String::UTF8ToUTF16(exception.what()));
    return false;
  }
}
