#include "host/yoxd/linux/Watches.h"

#include <signal.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <systemd/sd-daemon.h>
#include <systemd/sd-login.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

#include "host/yoxd/HostSystem.h"

namespace yoxd {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

// Reads what makes a descriptor ready.
void Drain(int descriptor) {
  std::array<char, 4096> bytes;
  while (read(descriptor, bytes.data(), bytes.size()) > 0) continue;
}

}  // namespace

Signals::Signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : kSignals) sigaddset(&set, number);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ < 0) throw std::system_error(errno, std::system_category(), "signalfd");
}

Signals::~Signals() { close(descriptor_); }

void Signals::Watch(std::vector<Watched>& watched) {
  watched.push_back({descriptor_, true, false, [this](bool, bool) {
                       signalfd_siginfo info{};
                       while (read(descriptor_, &info, sizeof info) == sizeof info) {
                         if (info.ssi_signo == SIGHUP) {
                           reload();
                         } else {
                           stop();
                         }
                       }
                     }});
}

FileWatch::FileWatch(const std::string& file, std::function<void()> edited)
    : name_(std::filesystem::path(file).filename().string()),
      descriptor_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      edited_(std::move(edited)) {
  const std::filesystem::path folder = std::filesystem::absolute(file).parent_path();
  // The folder, because an editor may put another file in the file's place.
  if (descriptor_ < 0 ||
      inotify_add_watch(descriptor_, folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO) < 0) {
    throw std::system_error(errno, std::system_category(), folder.string());
  }
}

FileWatch::~FileWatch() { close(descriptor_); }

void FileWatch::Watch(std::vector<Watched>& watched) {
  watched.push_back({descriptor_, true, false, [this](bool, bool) {
                       alignas(inotify_event) std::array<char, 4096> bytes;
                       bool mine = false;
                       ssize_t size;
                       while ((size = read(descriptor_, bytes.data(), bytes.size())) > 0) {
                         for (const char* at = bytes.data(); at < bytes.data() + size;) {
                           const auto* const event = reinterpret_cast<const inotify_event*>(at);
                           if (event->len > 0 && name_ == event->name) mine = true;
                           at += sizeof(inotify_event) + event->len;
                         }
                       }
                       if (mine) edited_();
                     }});
}

LogOns::LogOns(std::function<void()> changed) : changed_(std::move(changed)) {
  sd_login_monitor* monitor = nullptr;
  if (sd_login_monitor_new("session", &monitor) >= 0) monitor_ = monitor;
  sessions_ = Sessions();
}

LogOns::~LogOns() { sd_login_monitor_unref(static_cast<sd_login_monitor*>(monitor_)); }

std::set<std::string> LogOns::Sessions() const {
  std::set<std::string> sessions;
  char** names = nullptr;
  if (sd_get_sessions(&names) < 0) return sessions;
  for (char** name = names; name != nullptr && *name != nullptr; ++name) {
    uid_t user = 0;
    if (sd_session_get_uid(*name, &user) >= 0) {
      sessions.insert(std::string(*name) + "/" + std::to_string(user) + "/" +
                      std::to_string(sd_session_is_active(*name)));
    }
    std::free(*name);
  }
  std::free(names);
  return sessions;
}

void LogOns::Watch(std::vector<Watched>& watched) {
  auto* const monitor = static_cast<sd_login_monitor*>(monitor_);
  if (monitor == nullptr) return;
  const int descriptor = sd_login_monitor_get_fd(monitor);
  if (descriptor < 0) return;
  watched.push_back({descriptor, true, false, [this, monitor](bool, bool) {
                       sd_login_monitor_flush(monitor);
                       std::set<std::string> now = Sessions();
                       if (now == sessions_) return;
                       sessions_ = std::move(now);
                       changed_();
                     }});
}

ClockChanges::ClockChanges()
    : descriptor_(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK)) {
  if (descriptor_ < 0) throw std::system_error(errno, std::system_category(), "timerfd");
  Arm();
}

ClockChanges::~ClockChanges() { close(descriptor_); }

void ClockChanges::Arm() {
  itimerspec never{};
  never.it_value.tv_sec = std::numeric_limits<std::int32_t>::max();
  timerfd_settime(descriptor_, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, nullptr);
}

void ClockChanges::Watch(std::vector<Watched>& watched) {
  watched.push_back({descriptor_, true, false, [this](bool, bool) {
                       Drain(descriptor_);  // fails with ECANCELED, which is the message
                       Arm();
                     }});
}

Heartbeat::Heartbeat(std::function<std::string()> status) : status_(std::move(status)) {
  std::uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) > 0) {
    interval_ = std::chrono::microseconds(microseconds / 2);
  }
}

std::optional<Moment> Heartbeat::Due() const {
  if (interval_.count() == 0) return std::nullopt;
  return next_;
}

void Heartbeat::Run(Moment now) {
  if (std::string status = status_(); status != reported_) {
    sd_notify(0, ("STATUS=" + status).c_str());
    reported_ = std::move(status);
  }
  // At each turn, so that the keep-alive's wake-up serves the watchdog too.
  if (interval_.count() == 0 || now + interval_ / 2 < next_) return;
  sd_notify(0, "WATCHDOG=1");
  next_ = now + interval_;
}

std::unique_ptr<Part> WatchFile(const std::string& file, std::function<void()> edited) {
  return std::make_unique<FileWatch>(file, std::move(edited));
}

}  // namespace yoxd
