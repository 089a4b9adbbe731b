#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "yox/platform/waits/Event.h"

#include "host/yoxd/BusLink.h"
#include "host/yoxd/Channel.h"
#include "host/yoxd/Configuration.h"
#include "host/yoxd/Contents.h"
#include "host/yoxd/Device.h"
#include "host/yoxd/Inbox.h"
#include "host/yoxd/Outbox.h"
#include "host/yoxd/Part.h"
#include "host/yoxd/PolicyFetch.h"
#include "host/yoxd/PolicyStore.h"
#include "host/yoxd/StateFolder.h"
#include "host/yoxd/Telemetry.h"

namespace yoxd {

// The service: connects the running library with the channel and the policy service.
class Service final : public Part {
 public:
  // Starts the library, decides the lists that were kept, and begins to connect. Throws
  // std::exception when the state folder cannot be used.
  Service(const Configuration& configuration, ChosenPlatform& platform);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // The parts that take turns on the service's thread, this one included.
  std::vector<Part*> Parts();

  // Reads policy and device again, and connects at once.
  void Reload();
  // The profile was edited.
  void FollowProfile();
  // A user has logged on or off.
  void UserChanged();

  // Publishes that the device goes offline and ends the connection. Returns false when a thread
  // still waits for a server: then the process is to be ended without destructors.
  bool End();

  Json::Value Status() const;
  // The same in one line, for the service manager.
  std::string StatusLine() const;

  void Watch(std::vector<Watched>& watched) override;
  std::optional<Moment> Due() const override;
  void Run(Moment now) override;

  const Configuration& configuration() const { return configuration_; }
  const std::filesystem::path& state_path() const { return folder_.path(); }

 private:
  // So much may wait to be handled, with so much for each message besides its text.
  static constexpr std::size_t kMostReceivedBytes = std::size_t{4} << 20;

  std::string Out(std::string_view leaf) const;
  void ApplyPolicy();
  void Look();
  void PublishDevice();
  void PublishDecision(const std::string& id, const Contents::Content& content);
  void Report(const std::string& kind, const std::string& subject, const std::string& error);

  bool MayReceive() const { return inbox_.bytes() < kMostReceivedBytes; }
  bool MayPassOn() const;
  void OnReceived(Received message);
  void OnList(const std::string& id, const std::string& text);
  void PassOn();
  void SendFromBus();

  std::optional<HttpsRequest> PolicyRequest() const;
  bool OnPolicy(const HttpsResponse& result);

  const Configuration configuration_;
  ChosenPlatform& platform_;
  StateFolder folder_;
  const std::string id_;
  const std::int64_t started_;
  yox::platform::Event changed_;  // tags or devices
  yox::platform::Event woken_;    // the bus has something
  RunningDevice device_;
  Outbox outbox_;
  Inbox inbox_;  // what waits for room on the bus and in the queue, and what is on the bus
  Contents contents_;
  PolicyStore store_;
  std::optional<PlatformPolicy> policy_;  // built by each ApplyPolicy
  std::string broker_problem_;
  int policy_code_ = 0;
  std::string policy_problem_;
  Channel channel_;
  PolicyFetch fetch_;
  yox::LocalDate today_;
  Moment look_{};
  bool look_now_ = false;
  Telemetry telemetry_;
  BusLink bus_;
  std::uint64_t unreadable_ = 0;
};

}  // namespace yoxd
