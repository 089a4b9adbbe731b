#include <systemd/sd-daemon.h>
#include <time.h>

#include <optional>
#include <utility>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/linux/Watches.h"

namespace yoxd {

struct Supervision::Implementation {
  Signals signals;
  ClockChanges clock;
  std::optional<LogOns> log_ons;
  std::optional<Heartbeat> heartbeat;
};

Supervision::Supervision() : implementation_(std::make_unique<Implementation>()) {}

Supervision::~Supervision() = default;

std::vector<Part*> Supervision::Connect(Handlers handlers) {
  Implementation& self = *implementation_;
  self.signals.stop = std::move(handlers.stop);
  self.signals.reload = std::move(handlers.reload);
  self.log_ons.emplace(std::move(handlers.user_changed));
  self.heartbeat.emplace(std::move(handlers.status));
  return {&self.signals, &self.clock, &*self.log_ons, &*self.heartbeat};
}

void Supervision::Started() {
  sd_notify(0, "READY=1");
  if (implementation_->heartbeat) implementation_->heartbeat->Run(SteadyClock::now());
}

void Supervision::Reloading() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto moment = static_cast<long long>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1'000;
  sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%lld", moment);
}

void Supervision::Stopping() { sd_notify(0, "STOPPING=1"); }

void Supervision::Ended(int /*code*/) {}

}  // namespace yoxd
