#include "yox/device/UpdateHistory.h"

#include <algorithm>

namespace yox::device {

using namespace yox::literals;
using yox::WString;
using yox::platform::OperatingSystemUpdate;

bool IsWindowsUpdate(const OperatingSystemUpdate& update) {
  if (!update.categories) return false;
  bool counts = true;
  for (const WString& name : *update.categories) {
    counts = name.empty() || name.find("Windows "_wv) != WString::npos;
  }
  return counts;
}

void ReadNewestUpdate(yox::platform::OperatingSystem& system, WString& title,
                      WString& description) {
  constexpr std::uint32_t kDisabled = 4;
  constexpr std::int32_t kSucceeded = 2;
  if (system.UpdateServiceStartType() == kDisabled) return;
  const std::vector<OperatingSystemUpdate> history = system.UpdateHistory();
  const auto newest = std::ranges::find_if(history, [](const OperatingSystemUpdate& update) {
    return update.result_code == kSucceeded && IsWindowsUpdate(update);
  });
  if (newest == history.end() || !newest->title) return;
  title = *newest->title;
  description = newest->description;
}

}  // namespace yox::device
