#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "host/yoxd/Channel.h"
#include "host/yoxd/HostSystem.h"
#include "host/yoxd/tests/linux/ScriptedBroker.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using State = Channel::State;

// A port without a listener, for as long as the object lives.
class ClosedPort {
 public:
  ClosedPort() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(socket_, reinterpret_cast<const sockaddr*>(&address), size);
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    number_ = ntohs(address.sin_port);
  }
  ~ClosedPort() { close(socket_); }
  ClosedPort(const ClosedPort&) = delete;
  ClosedPort& operator=(const ClosedPort&) = delete;

  int number() const { return number_; }

 private:
  const int socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int number_ = 0;
};

class ChannelTest : public testing::Test {
 protected:
  Channel& MakeChannel(ChannelSettings settings = {}) {
    settings.client_id = "device";
    settings.version_5 = false;
    settings.subscriptions = {"topic"};
    channel_.emplace(std::move(settings), outbox_, std::deque<Redeliveries::Entry>{},
                     Channel::Handlers{
                         .received =
                             [this](Received message) {
                               received_.push_back(message.payload);
                               if (on_received_) on_received_();
                             },
                         .connected = [] {},
                         .failed = [](int, const std::string&) {},
                         .may_receive = [this] { return may_receive_; },
                         .now = [this] { return now_; },
                     });
    return *channel_;
  }

  Endpoint EndpointOf(const ScriptedBroker& broker) const {
    return {.host = "127.0.0.1", .port = broker.port(), .trust_file = trust_file_};
  }

  // Lets both ends take turns until the condition is true.
  template <typename Condition>
  void Until(const std::string& what, Condition condition) {
    const Moment end = SteadyClock::now() + seconds(60);
    while (!condition()) {
      ASSERT_LT(SteadyClock::now(), end) << "did not happen: " << what;
      Turn();
      if (condition()) return;
      std::vector<Watched> watched;
      channel_->Watch(watched);
      broker_.Watch(watched);
      WaitFor(watched, milliseconds(1'000));
    }
  }
  void Turn() {
    broker_.Run(now_);
    channel_->Run(now_);
  }

  void UntilState(State state) {
    Until("another state", [&] { return channel_->state() == state; });
  }
  ScriptedBroker::Packet NextPacket(int type) {
    Until("a packet", [this] { return !broker_.packets().empty(); });
    if (broker_.packets().empty()) return {};
    const ScriptedBroker::Packet packet = broker_.Take();
    EXPECT_EQ(packet.type, type);
    return packet;
  }
  // Lets the broker accept the client and its subscription.
  void Accept(bool session_present = false) {
    NextPacket(ScriptedBroker::kConnect);
    broker_.SendAccepted(session_present);
    UntilState(State::kConnected);
    broker_.SendSubscribed(NextPacket(ScriptedBroker::kSubscribe).identifier());
  }
  // Brings the channel to a connection with the broker.
  void Connect() {
    channel_->Use(EndpointOf(broker_));
    channel_->Run(now_);
    Accept();
  }
  // The connection is lost; returns how long the channel then waits.
  Moment::duration WaitAfterCut() {
    const auto before = channel_->counters().failures;
    broker_.Cut();
    Until("the loss", [&] { return channel_->counters().failures > before; });
    if (channel_->state() == State::kConnecting) return {};  // the wait was drawn as zero
    return *channel_->Due() - now_;
  }

  yox_test::TemporaryFolder root_;
  StateFolder folder_{root_.path()};
  Outbox outbox_{folder_, {}};
  const std::string trust_file_ = (root_.path() / "trust.pem").string();
  ScriptedBroker broker_{trust_file_};
  Moment now_ = SteadyClock::now();
  std::vector<std::string> received_;
  std::function<void()> on_received_;
  bool may_receive_ = true;
  std::optional<Channel> channel_;
};

TEST_F(ChannelTest, AMessageIsAcknowledgedAfterItWasHandedOver) {
  MakeChannel();
  Connect();
  // What was sent over the loopback interface is there at once.
  on_received_ = [this] {
    broker_.Run(now_);
    EXPECT_TRUE(broker_.packets().empty()) << "acknowledged before it was handed over";
  };
  broker_.SendMessage("topic", "first", 7);
  NextPacket(ScriptedBroker::kAcknowledge);
  EXPECT_EQ(received_, std::vector<std::string>{"first"});
}

TEST_F(ChannelTest, AcknowledgementsAreInTheOrderOfTheMessages) {
  MakeChannel();
  Connect();
  const std::vector<int> identifiers = {9, 2, 300, 1};
  for (const int identifier : identifiers) {
    broker_.SendMessage("topic", std::to_string(identifier), identifier);
  }
  for (const int identifier : identifiers) {
    EXPECT_EQ(NextPacket(ScriptedBroker::kAcknowledge).identifier(), identifier);
  }
  EXPECT_EQ(received_, (std::vector<std::string>{"9", "2", "300", "1"}));
}

TEST_F(ChannelTest, AMessageThatIsDeliveredAgainIsAcknowledgedOnly) {
  MakeChannel();
  Connect();
  broker_.SendMessage("topic", "once", 7);
  Until("the message", [this] { return !received_.empty(); });
  now_ += WaitAfterCut();
  Accept(true);
  broker_.SendMessage("topic", "once", 7, true);
  EXPECT_EQ(NextPacket(ScriptedBroker::kAcknowledge).identifier(), 7);
  EXPECT_EQ(received_.size(), 1);
  EXPECT_EQ(channel_->counters().repeated, 1);
}

TEST_F(ChannelTest, WhatIsNotWantedStaysInTheConnection) {
  MakeChannel();
  Connect();
  may_receive_ = false;
  broker_.SendMessage("topic", "message", 7);
  std::vector<Watched> watched;
  channel_->Watch(watched);
  for (const Watched& entry : watched) EXPECT_FALSE(entry.read);
  Turn();
  EXPECT_TRUE(received_.empty());
  may_receive_ = true;
  NextPacket(ScriptedBroker::kAcknowledge);
  EXPECT_EQ(received_.size(), 1);
}

TEST_F(ChannelTest, AtMostTwentyMessagesAreOnTheirWay) {
  for (int i = 0; i < 30; ++i) outbox_.Post("out", std::to_string(i));
  MakeChannel();
  Connect();
  int identifier = 0;
  for (int i = 0; i < 20; ++i) {
    const auto packet = NextPacket(ScriptedBroker::kPublish);
    EXPECT_EQ(packet.payload(), std::to_string(i));
    identifier = packet.identifier();
  }
  Turn();
  EXPECT_TRUE(broker_.packets().empty());
  EXPECT_EQ(outbox_.in_flight(), 20);
  broker_.SendAcknowledged(identifier);
  EXPECT_EQ(NextPacket(ScriptedBroker::kPublish).payload(), "20");
}

TEST_F(ChannelTest, TheEndWaitsForAcknowledgements) {
  MakeChannel();
  Connect();
  for (const char* const payload : {"1", "2", "3"}) outbox_.Post("out", payload);
  // The broker acknowledges when it has all three, and reads until the farewell.
  std::vector<int> types;
  std::thread server([&] {
    const Moment end = SteadyClock::now() + seconds(60);
    std::vector<int> identifiers;
    while (SteadyClock::now() < end && (types.empty() || types.back() != 14)) {
      std::vector<Watched> watched;
      broker_.Watch(watched);
      WaitFor(watched, milliseconds(1'000));
      broker_.Run(now_);
      while (!broker_.packets().empty()) {
        const auto packet = broker_.Take();
        types.push_back(packet.type);
        if (packet.type == ScriptedBroker::kPublish) identifiers.push_back(packet.identifier());
        if (identifiers.size() < 3) continue;
        for (const int identifier : identifiers) broker_.SendAcknowledged(identifier);
        identifiers.clear();
      }
    }
  });
  channel_->Close(hours(1));
  server.join();
  EXPECT_EQ(types, (std::vector<int>{3, 3, 3, 14}));
  EXPECT_EQ(outbox_.acknowledged(), 3);
  EXPECT_TRUE(outbox_.empty());
}

TEST_F(ChannelTest, TheEndDoesNotWaitLongerThanItMay) {
  MakeChannel();
  Connect();
  outbox_.Post("out", "never acknowledged");
  channel_->Close(milliseconds(0));
  Until("the farewell", [this] {
    return !broker_.packets().empty() &&
           broker_.packets().back().type == ScriptedBroker::kDisconnect;
  });
  EXPECT_EQ(channel_->state(), State::kOff);
  EXPECT_FALSE(outbox_.empty());
  EXPECT_EQ(outbox_.in_flight(), 0);
}

TEST_F(ChannelTest, AConnectionEndsTheFormerFailure) {
  MakeChannel();
  Connect();
  now_ += WaitAfterCut();
  EXPECT_NE(channel_->reason(), "");
  Accept();
  EXPECT_EQ(channel_->reason(), "");
}

TEST_F(ChannelTest, ASilentBrokerIsAskedAlthoughMuchIsSent) {
  MakeChannel();
  Connect();
  outbox_.Post("out", "first");
  broker_.SendAcknowledged(NextPacket(ScriptedBroker::kPublish).identifier());
  Until("the acknowledgement", [this] { return outbox_.empty(); });
  const Moment last_read = now_;
  now_ += seconds(40);
  outbox_.Post("out", "second");
  NextPacket(ScriptedBroker::kPublish);
  EXPECT_LE(*channel_->Due(), last_read + seconds(61));
}

TEST_F(ChannelTest, AFailureIsFollowedByAWait) {
  const ClosedPort port;
  // The chance that the wait is drawn below a minute is 2 in a million.
  MakeChannel({.reconnect_first = hours(8'760), .reconnect_most = hours(8'760)});
  channel_->Use(Endpoint{.host = "127.0.0.1", .port = port.number(), .trust_file = trust_file_});
  channel_->Run(now_);
  UntilState(State::kWaiting);
  EXPECT_EQ(channel_->reason(), "Connection refused");
  EXPECT_GT(*channel_->Due(), now_ + std::chrono::minutes(1));
  now_ = *channel_->Due() - milliseconds(1);
  channel_->Run(now_);
  EXPECT_EQ(channel_->state(), State::kWaiting);
  channel_->ConnectNow();
  channel_->Run(now_);
  EXPECT_EQ(channel_->state(), State::kConnecting);
}

// After twenty failures the wait is drawn from a range of seventeen minutes.
class BackoffOfChannel : public ChannelTest {
 protected:
  void SetUp() override {
    MakeChannel({.reconnect_first = milliseconds(1), .reconnect_most = hours(8'760)});
    channel_->Use(EndpointOf(broker_));
    for (int i = 0; i < 20; ++i) {
      channel_->Run(now_);
      NextPacket(ScriptedBroker::kConnect);
      now_ += WaitAfterCut();
    }
    Accept();
  }
};

TEST_F(BackoffOfChannel, AConnectionOfThirtySecondsBringsTheShortWaitBack) {
  now_ += seconds(30);
  EXPECT_LE(WaitAfterCut(), milliseconds(1));
}

TEST_F(BackoffOfChannel, AShorterConnectionDoesNot) {
  now_ += seconds(30) - milliseconds(1);
  // The chance that the wait is drawn so short is 2 in a million.
  EXPECT_GT(WaitAfterCut(), milliseconds(1));
}

TEST_F(ChannelTest, ABrokerHasHalfAMinuteToAccept) {
  MakeChannel();
  channel_->Use(EndpointOf(broker_));
  channel_->Run(now_);
  NextPacket(ScriptedBroker::kConnect);
  EXPECT_EQ(channel_->Due(), now_ + seconds(30));
  now_ += seconds(30) - milliseconds(1);
  Turn();
  EXPECT_EQ(channel_->state(), State::kConnecting);
  now_ += milliseconds(1);
  Turn();
  EXPECT_EQ(channel_->state(), State::kWaiting);
  EXPECT_EQ(channel_->reason(), "the broker does not complete the connection");
}

TEST_F(ChannelTest, ARefusalIsNamed) {
  MakeChannel();
  channel_->Use(EndpointOf(broker_));
  channel_->Run(now_);
  NextPacket(ScriptedBroker::kConnect);
  broker_.SendRefused(5);
  UntilState(State::kWaiting);
  EXPECT_EQ(channel_->reason(),
            "the broker refuses the connection: Connection Refused: not authorised.");
  EXPECT_EQ(channel_->counters().connections, 0);
  EXPECT_EQ(channel_->counters().failures, 1);
}

TEST_F(ChannelTest, AnotherEndpointReplacesAnAttemptThatRuns) {
  const std::string other_trust = (root_.path() / "other.pem").string();
  ScriptedBroker other{other_trust};
  MakeChannel();
  Endpoint former = EndpointOf(other);
  former.trust_file = other_trust;
  channel_->Use(former);
  channel_->Run(now_);
  channel_->Use(EndpointOf(broker_));  // the thread that connects has hardly begun
  Accept();
  other.Run(now_);
  other.Run(now_);
  EXPECT_TRUE(other.packets().empty());
}

TEST_F(ChannelTest, NoEndpointEndsAnAttemptThatRuns) {
  const ClosedPort port;
  MakeChannel();
  channel_->Use(Endpoint{.host = "127.0.0.1", .port = port.number(), .trust_file = trust_file_});
  channel_->Run(now_);
  channel_->Use(std::nullopt);
  UntilState(State::kOff);
  EXPECT_EQ(channel_->Due(), std::nullopt);
}

}  // namespace
}  // namespace yoxd
