#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

namespace yoxctl {

// This machine with a clock that has stopped at a moment. Everything else is as it is, and what is
// kept of this machine is kept where it always is.
class MachineAtMoment final : public yox::platform::Platform {
 public:
  // `now` is the argument of --now. Throws Refusal when it is no day and time.
  explicit MachineAtMoment(const std::string& now);

  yox::platform::Clock& clock() override { return clock_; }
#define YOX_PART(Type, name) \
  yox::platform::Type& name() override { return Native().name(); }
  YOX_PART(Files, files)
  YOX_PART(Firmware, firmware)
  YOX_PART(OperatingSystem, operating_system)
  YOX_PART(Locale, locale)
  YOX_PART(Users, users)
  YOX_PART(Applications, applications)
  YOX_PART(DisplayAdapters, display_adapters)
  YOX_PART(Accelerators, accelerators)
  YOX_PART(Services, services)
  YOX_PART(JoinState, join_state)
  YOX_PART(ManagementQueries, management_queries)
  YOX_PART(Registry, registry)
  YOX_PART(Client, client)
  YOX_PART(DeviceTree, device_tree)
#undef YOX_PART

 private:
  class StoppedClock final : public yox::platform::Clock {
   public:
    explicit StoppedClock(std::int64_t now) : now_(now) {}

    std::int64_t Now() const override { return now_; }
    yox::LocalDate ToLocalDate(std::int64_t moment) const override {
      return Native().clock().ToLocalDate(moment);
    }
    std::int32_t UtcOffset(std::int64_t moment) const override {
      return Native().clock().UtcOffset(moment);
    }
    std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const override {
      return Native().clock().StartOfLocalDay(year, month, day);
    }
    yox::WString ZoneName() const override { return Native().clock().ZoneName(); }
    std::int64_t SteadyMilliseconds() const override {
      return Native().clock().SteadyMilliseconds();
    }

   private:
    const std::int64_t now_;
  };

  StoppedClock clock_;
};

}  // namespace yoxctl
