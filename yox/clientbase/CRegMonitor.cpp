#include "yox/clientbase/CRegMonitor.h"

#include <algorithm>
#include <deque>
#include <vector>

#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"

namespace YOX {

using platform::RegistryAction;
using platform::RegistryChange;
using platform::RegistryStatus;
using platform::RegistryView;

struct CRegMonitor::State {
  // Used by the thread that adds keys.
  bool initialized = false;
  RegistryView view = RegistryView::kDefault;

  yox::Mutex mutex;
  yox::ConditionVariable woken;
  // The identifiers of changed watches in the order of their first changes.
  std::deque<std::uint32_t> changed YOX_GUARDED_BY(mutex);
  bool stopped YOX_GUARDED_BY(mutex) = false;

  // The last member, and so the first to be destroyed: the callbacks use the others.
  std::vector<std::unique_ptr<platform::RegistryWatch>> watches;

  void Changed(std::uint32_t identifier) {
    const yox::MutexLock lock(mutex);
    if (std::ranges::find(changed, identifier) == changed.end()) changed.push_back(identifier);
    woken.NotifyAll();
  }
};

namespace {

bool Concerns(const RegistryChange& change, const WString& value_name, bool subtree) {
  if (change.lost) return true;
  if (!subtree && !change.key.empty()) return false;
  if (value_name.empty()) return true;
  // With a key its values are deleted.
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
  State& state = *state_;
  yox::MutexLock lock(state.mutex);
  if (wait != 0 && !state.watches.empty()) {
    while (!state.stopped && state.changed.empty()) state.woken.Wait(lock);
  }
  if (state.stopped || state.changed.empty()) return false;
  identifier = state.changed.front();
  state.changed.pop_front();
  return true;
}

void CRegMonitor::Stop() {
  State& state = *state_;
  const yox::MutexLock lock(state.mutex);
  state.stopped = true;
  state.woken.NotifyAll();
}

}  // namespace YOX
