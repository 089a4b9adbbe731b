#include <algorithm>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/IndexedPairs.h"
#include "yox/clientbase/MSStorePackageEnumerator.h"
#include "yox/foundation/YOXTag.h"
#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"

using YOX::utility::GetInstalledApps;

void ApplicabilityEvaluator::UpdateInstalledAppsMap() {
  // Map, pairs and generation change together at the end: reading the device may throw.
  const std::uint64_t generation = yox::platform::Platform::Get().applications().Generation();
  YOX::utility::AppMap apps;
  GetInstalledApps(apps, true, false);
  GetInstalledApps(apps, false, false);
  GetInstalledApps(apps, true, true);

  std::vector<const YOX::utility::AppMap::value_type*> sorted;
  for (const auto& entry : apps) sorted.push_back(&entry);
  std::ranges::sort(sorted, {}, [](const auto* entry) { return entry->first; });
  Pairs items;
  for (const auto* const entry : sorted) {
    const auto& [key, application] = *entry;
    items.emplace_back(key, application.version);
    items.emplace_back(application.name, application.version);
  }
  auto indexed = std::make_shared<const IndexedPairs>(std::move(items));
  installedAppsMap = std::move(apps);
  installedItems_ = std::move(indexed);
  installedGeneration_ = generation;
}

// The reference that is kept keeps the tags alive, so no others can have their address.
std::shared_ptr<const ApplicabilityEvaluator::IndexedPairs> ApplicabilityEvaluator::Indexed(
    const std::shared_ptr<const std::vector<YOXTag>>& tags) {
  {
    const yox::MutexLock lock(tags_mutex_);
    if (tags_ == tags) return indexed_tags_;
  }
  Pairs pairs;
  for (const YOXTag& tag : *tags) pairs.emplace_back(tag.getKey(), tag.getValue());
  auto indexed = std::make_shared<const IndexedPairs>(std::move(pairs));
  const yox::MutexLock lock(tags_mutex_);
  tags_ = tags;
  indexed_tags_ = indexed;
  return indexed;
}

std::shared_ptr<const ApplicabilityEvaluator::IndexedPairs>
ApplicabilityEvaluator::InstalledItems() {
  auto* const store = YOX::MSStorePackageEnumerator::GetInstance();
  auto& applications = yox::platform::Platform::Get().applications();
  const yox::MutexLock lock(installedAppsLock);
  if (installedAppsMap.empty() || installedGeneration_ != applications.Generation()) {
    UpdateInstalledAppsMap();
    store->Initialize(g_evaluator_log);
    g_evaluator_log.d("%s Updated installed apps list its size is now: %d",
                      "ApplicabilityEvaluator::DoesFilterMatch", installedAppsMap.size());
  }
  return installedItems_;
}
