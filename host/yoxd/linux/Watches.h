#pragma once

#include <functional>
#include <set>
#include <string>

#include "host/yoxd/Part.h"

// What the system reports to the service, each through a descriptor.
namespace yoxd {

// Signals: SIGTERM and SIGINT end the service, SIGHUP reloads it. Blocks them for this thread and
// those that it starts; created before any other thread.
class Signals final : public Part {
 public:
  Signals();
  ~Signals() override;
  // What a signal calls.
  std::function<void()> stop;
  std::function<void()> reload;

  void Watch(std::vector<Watched>& watched) override;

 private:
  int descriptor_;
};

// Calls `edited` when a file was written or replaced.
class FileWatch final : public Part {
 public:
  FileWatch(const std::string& file, std::function<void()> edited);
  ~FileWatch() override;
  void Watch(std::vector<Watched>& watched) override;

 private:
  std::string name_;
  int descriptor_;
  std::function<void()> edited_;
};

// Calls `changed` when a user logs on or off (logind). Does nothing without logind.
class LogOns final : public Part {
 public:
  explicit LogOns(std::function<void()> changed);
  ~LogOns() override;
  void Watch(std::vector<Watched>& watched) override;

 private:
  std::set<std::string> Sessions() const;

  void* monitor_ = nullptr;
  std::set<std::string> sessions_;
  std::function<void()> changed_;
};

// Ends the wait when the system's clock is set, so that the parts see the new date.
class ClockChanges final : public Part {
 public:
  ClockChanges();
  ~ClockChanges() override;
  void Watch(std::vector<Watched>& watched) override;

 private:
  void Arm();
  int descriptor_;
};

// Reports to systemd that the service is alive, and what it does. Does nothing when systemd did not
// start it.
class Heartbeat final : public Part {
 public:
  explicit Heartbeat(std::function<std::string()> status);

  std::optional<Moment> Due() const override;
  void Run(Moment now) override;

 private:
  std::function<std::string()> status_;
  std::string reported_;
  std::chrono::microseconds interval_{0};  // of the watchdog; 0: none
  Moment next_{};
};

}  // namespace yoxd
