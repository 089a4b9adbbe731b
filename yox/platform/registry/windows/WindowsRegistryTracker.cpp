#include "yox/platform/registry/windows/WindowsRegistryTracker.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <optional>
#include <system_error>
#include <utility>

#include "yox/platform/registry/windows/OpenedKey.h"
#include "yox/platform/waits/Event.h"

namespace yox::platform {

// The state of the keys from the end of Begin until the first change. It is used once: a
// notification cannot be renewed without a moment in which the event is reset and a change is
// missed, and closing a key sets the event as well.
class WindowsRegistryTracker::Notification {
 public:
  // Returns false when a key cannot be tracked.
  bool Begin(const std::vector<RegistryKey>& keys) try {
    event_.emplace();
    for (const RegistryKey& key : keys) {
      if (!Follow(key)) return false;
    }
    // Different in every tracker: a caller may compare numbers of several.
    static constinit std::atomic<std::uint64_t> last{0};
    generation_ = ++last;
    return true;
  } catch (const std::system_error&) {
    return false;  // the system has no event left
  }

  // The number as long as no key has changed, then 0.
  std::uint64_t Generation() const {
    if (generation_ == 0) return 0;
    const bool is_unchanged = WaitForSingleObject(event_->handle().native(), 0) == WAIT_TIMEOUT;
    return is_unchanged ? generation_ : 0;
  }

 private:
  // Follows the keys from the one below the root down to the first that is missing: what creates a
  // key, or deletes it, changes the key above. Each is followed before the next one is opened.
  bool Follow(RegistryKey key) {
    constexpr DWORD kAll = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET |
                           REG_NOTIFY_CHANGE_SECURITY | REG_NOTIFY_THREAD_AGNOSTIC;
    const WString path = std::exchange(key.path, {});
    bool is_followed = false;
    for (std::size_t end = 0; end < path.size(); ++end) {
      end = std::min(path.find(L'\\', end), path.size());
      key.path = path.substr(0, end);
      OpenedKey opened;
      const LSTATUS error = OpenKey(key, KEY_NOTIFY, opened);
      if (error == ERROR_FILE_NOT_FOUND) return is_followed;
      if (error != ERROR_SUCCESS ||
          RegNotifyChangeKeyValue(opened.get(), FALSE, kAll, event_->handle().native(), TRUE) !=
              ERROR_SUCCESS) {
        return false;
      }
      followed_.push_back(std::move(opened));
      is_followed = true;
    }
    return is_followed;
  }

  std::optional<Event> event_;
  std::vector<OpenedKey> followed_;  // closed before the event
  std::uint64_t generation_ = 0;
};

WindowsRegistryTracker::WindowsRegistryTracker(std::vector<RegistryKey> keys)
    : keys_(std::move(keys)), current_(std::make_shared<Notification>()) {}

WindowsRegistryTracker::~WindowsRegistryTracker() = default;

std::uint64_t WindowsRegistryTracker::Generation() {
  const auto current = [this] {
    const Published<Notification>::Lease notification(current_);
    return notification->Generation();
  };
  if (const std::uint64_t generation = current(); generation != 0) return generation;
  const MutexLock lock(renewing_);
  // Another thread may have renewed it meanwhile.
  if (const std::uint64_t generation = current(); generation != 0) return generation;
  const auto next = std::make_shared<Notification>();
  if (!next->Begin(keys_)) return 0;
  current_.Set(next);
  return next->Generation();
}

}  // namespace yox::platform
