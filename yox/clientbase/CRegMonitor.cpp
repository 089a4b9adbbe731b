#include "yox/clientbase/CRegMonitor.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"

namespace YOX {

using platform::RegistryAction;
using platform::RegistryChange;
using platform::RegistryStatus;
using platform::RegistryView;

struct CRegMonitor::State {
  // The setting thread's own.
  bool initialized = false;
  RegistryView view = RegistryView::kDefault;

  std::mutex mutex;
  std::condition_variable woken;
  // Guarded by mutex: identifiers in the order of their changes, each once.
  std::deque<std::uint32_t> changed;
  bool stopped = false;

  // Ended first: their callbacks use all of the above.
  std::vector<std::unique_ptr<platform::RegistryWatch>> watches;

  void Changed(std::uint32_t identifier) {
    const std::lock_guard lock(mutex);
    if (std::ranges::find(changed, identifier) == changed.end()) changed.push_back(identifier);
    woken.notify_all();
  }
};

namespace {

bool Concerns(const RegistryChange& change, const WString& value_name, bool subtree) {
  if (change.lost) return true;
  if (!subtree && !change.key.empty()) return false;
  if (value_name.empty()) return true;
  // A key that goes takes its values along.
  return change.action == RegistryAction::kDeleteKey ||
         (change.action != RegistryAction::kCreateKey &&
          String::CaseInsesitiveEqual(change.name, value_name));
}

}  // namespace

CRegMonitor::CRegMonitor() : state_(std::make_unique<State>()) {}
CRegMonitor::~CRegMonitor() = default;

bool CRegMonitor::Init() {
  state_->initialized = true;
  return true;
}

void CRegMonitor::SetUseOnly64BitRegistry(bool only64bit) {
  state_->view = only64bit ? RegistryView::k64Bit : RegistryView::kDefault;
}

std::uint32_t CRegMonitor::AddMonitorKey(HKEY root, const WString& path, const WString& valueName,
                                         int subtree) {
  if (!state_->initialized) return kFailed;
  const auto identifier = static_cast<std::uint32_t>(state_->watches.size());
  const auto changed = [state = state_.get(), identifier, valueName,
                        subtree](const std::vector<RegistryChange>& changes) {
    const bool concerned = std::ranges::any_of(changes, [&](const RegistryChange& change) {
      return Concerns(change, valueName, subtree != 0);
    });
    if (concerned) state->Changed(identifier);
  };
  std::unique_ptr<platform::RegistryWatch> watch;
  if (platform::Platform::Get().registry().Watch({root, path, state_->view, {}}, changed, watch) !=
      RegistryStatus::kOk) {
    return kFailed;
  }
  state_->watches.push_back(std::move(watch));
  return identifier;
}

bool CRegMonitor::WaitForChange(std::uint32_t& identifier, int wait) {
  std::unique_lock lock(state_->mutex);
  if (wait != 0 && !state_->watches.empty()) {
    state_->woken.wait(lock, [this] { return state_->stopped || !state_->changed.empty(); });
  }
  if (state_->stopped || state_->changed.empty()) return false;
  identifier = state_->changed.front();
  state_->changed.pop_front();
  return true;
}

void CRegMonitor::Stop() {
  const std::lock_guard lock(state_->mutex);
  state_->stopped = true;
  state_->woken.notify_all();
}

}  // namespace YOX
