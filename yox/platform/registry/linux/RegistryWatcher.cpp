#include "yox/platform/registry/linux/RegistryWatcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/linux/CommitCounter.h"

namespace yox::platform {
namespace {

[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

FileDescriptor Checked(int descriptor, const char* call) {
  if (descriptor < 0) Fail(call);
  return FileDescriptor(descriptor);
}

std::int64_t Seen(const std::shared_ptr<RegistryWatcher::Watch>& watch) { return watch->seen; }

}  // namespace

RegistryWatcher::RegistryWatcher(const std::filesystem::path& folder,
                                 std::chrono::milliseconds patience,
                                 std::function<void(const std::exception&)> failed)
    : inotify_(Checked(inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "inotify_init1")),
      wake_up_(Checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      failed_(std::move(failed)),
      store_(RegistryStore::Create(folder, patience)) {
  const std::filesystem::path file = folder / CommitCounter::kFile;
  if (inotify_add_watch(inotify_.number(), file.c_str(), IN_CLOSE_WRITE | IN_DONT_FOLLOW) < 0) {
    Fail(file.native());
  }
  thread_ = std::thread([this] { Run(); });
}

RegistryWatcher::~RegistryWatcher() {
  {
    const MutexLock lock(mutex_);
    ending_ = true;
  }
  WakeUp();
  thread_.join();
}

void RegistryWatcher::Add(std::shared_ptr<Watch> watch) {
  {
    const MutexLock lock(mutex_);
    watches_.push_back(std::move(watch));
  }
  // The thread may already have drained the event of a commit after `seen`.
  WakeUp();
}

void RegistryWatcher::Remove(const std::shared_ptr<Watch>& watch) {
  {
    const MutexLock lock(mutex_);
    std::erase(watches_, watch);
  }
  const MutexLock lock(watch->calling);
  watch->ended = true;
}

void RegistryWatcher::WakeUp() { eventfd_write(wake_up_.number(), 1); }

void RegistryWatcher::Run() {
  std::array sources{pollfd{inotify_.number(), POLLIN, {}}, pollfd{wake_up_.number(), POLLIN, {}}};
  for (;;) {
    poll(sources.data(), sources.size(), -1);
    // Before the changes are read: a commit that they do not have yet makes an event again.
    Drain();
    std::vector<std::shared_ptr<Watch>> watches;
    {
      const MutexLock lock(mutex_);
      if (ending_) return;
      watches = watches_;
    }
    if (watches.empty()) continue;
    std::vector<StoredChange> changes;
    try {
      const auto oldest = std::ranges::min_element(watches, {}, Seen);
      changes = store_->ChangesSince((*oldest)->seen);
    } catch (const std::exception& error) {
      failed_(error);
    }
    for (const std::shared_ptr<Watch>& watch : watches) Report(changes, *watch);
  }
}

void RegistryWatcher::Drain() {
  alignas(inotify_event) std::array<char, 4096> events;
  while (read(inotify_.number(), events.data(), events.size()) > 0) {
  }
  eventfd_t count{};
  eventfd_read(wake_up_.number(), &count);
}

void RegistryWatcher::Report(const std::vector<StoredChange>& changes, Watch& watch) {
  std::vector<RegistryChange> unseen;
  for (const StoredChange& stored : changes) {
    if (stored.id > watch.seen) unseen.push_back(stored.change);
  }
  if (!changes.empty()) watch.seen = std::max(watch.seen, changes.back().id);
  const std::vector<RegistryChange> below = ChangesBelow(unseen, watch.folded);
  if (below.empty()) return;
  const MutexLock lock(watch.calling);
  if (!watch.ended) watch.changed(below);
}

}  // namespace yox::platform
