// The bus beside Boost.Signals2 and ZeroMQ's inproc transport. A thread publishes records in a row;
// each reaches every subscriber, which copies it into a record of its own and reads it there.
//
//   Bus            Notify copies the record into the queue; a thread of the pool copies it for each
//                  subscriber and calls it.
//   Signals2       Made to do the same work: the record is copied into a queue, whose one consumer
//                  takes all that there is at once and calls the slots; each slot copies.
//   Signals2Direct The slots are called on the publisher's own thread: no queue and no second
//                  thread, and a slow slot holds up the publisher. It is what the library does by
//                  itself, and less work than the others'.
//   ZeroMq         A message is packed once for all subscribers and shared between them; one thread
//                  receives for all of them, draining one after the other, which serves it best,
//                  and each unpacks into texts of its own.
//   CopyingAlone   The copies for the subscribers, on one thread: the limit.
#include <benchmark/benchmark.h>

#include <atomic>
#include <boost/signals2.hpp>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>
#include <zmq.hpp>

#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/notifications/YOXPublisherSubscriber.h"

#include "bench/Ratios.h"

namespace {

using namespace yox::literals;
using yox::WString;

constexpr int kRecords = 512;  // published in a row; they fit into the bus's queue
constexpr std::size_t kTexts = 6;
constexpr std::size_t kLength = 40;

WString Text(std::size_t number) {
  WString text = "A text of forty characters, numbered __. "_w;
  text.resize(kLength);
  text[37] = static_cast<yox::WChar>('0' + number);
  return text;
}

YOXNotificationData MakeRecord() {
  YOXNotificationData record(7, 1, Text(0));
  record.setMessageType(Text(1));
  record.setActionType(Text(2));
  record.setLogStatus(Text(3));
  record.setLogLevel(Text(4));
  record.setTopic(Text(5));
  return record;
}

// Counts down over all subscribers; the publisher waits for the end.
class Arrivals {
 public:
  void Expect(std::int64_t subscribers) { left_ = subscribers; }
  void SubscriberIsDone() {
    if (left_.fetch_sub(1) != 1) return;
    const yox::MutexLock lock(mutex_);
    done_.NotifyOne();
  }
  void Wait() {
    yox::MutexLock lock(mutex_);
    while (left_.load() != 0) done_.Wait(lock);
  }

 private:
  std::atomic<std::int64_t> left_{0};
  yox::Mutex mutex_;
  yox::ConditionVariable done_;
};

// What every subscriber does with its copy.
struct alignas(64) Reader {
  Arrivals* arrivals = nullptr;
  std::int64_t received = 0;
  std::int64_t sum = 0;

  void Read(std::int64_t value) {
    sum += value;
    if (++received % kRecords == 0) arrivals->SubscriberIsDone();
  }
};

void CountDeliveries(benchmark::State& state, std::int64_t subscribers) {
  state.SetItemsProcessed(state.iterations() * kRecords * subscribers);
}

class Bus final : public YOXPublisherSubscriber {
 public:
  Bus() = default;
  ~Bus() override { Cleanup(); }
};

void BusDelivery(benchmark::State& state) {
  const auto subscribers = static_cast<std::size_t>(state.range(0));
  Arrivals arrivals;
  std::vector<Reader> readers(subscribers, Reader{&arrivals});
  Bus bus;
  for (Reader& reader : readers) {
    bus.Subscribe([&reader](YOXNotificationData& own) { reader.Read(own.getTopicId()); }, false);
  }
  YOXNotificationData record = MakeRecord();
  const WString sender;
  for (auto iteration : state) {
    arrivals.Expect(static_cast<std::int64_t>(subscribers));
    for (int i = 0; i < kRecords; ++i) bus.Notify(record, sender);
    arrivals.Wait();
  }
  CountDeliveries(state, state.range(0));
}

using Signal = boost::signals2::signal<void(const YOXNotificationData&)>;

// Slots that do what a subscriber does.
struct Slots {
  Slots(std::size_t subscribers, Arrivals& arrivals)
      : readers(subscribers, Reader{&arrivals}), copies(subscribers) {
    for (std::size_t i = 0; i < subscribers; ++i) {
      signal.connect([&reader = readers[i], &own = copies[i]](const YOXNotificationData& record) {
        own = record;
        reader.Read(own.getTopicId());
      });
    }
  }

  std::vector<Reader> readers;
  std::vector<YOXNotificationData> copies;
  Signal signal;
};

void Signals2Direct(benchmark::State& state) {
  const auto subscribers = static_cast<std::size_t>(state.range(0));
  Arrivals arrivals;
  Slots slots(subscribers, arrivals);
  const YOXNotificationData record = MakeRecord();
  for (auto iteration : state) {
    arrivals.Expect(static_cast<std::int64_t>(subscribers));
    for (int i = 0; i < kRecords; ++i) slots.signal(record);
    arrivals.Wait();
  }
  CountDeliveries(state, state.range(0));
}

void Signals2Delivery(benchmark::State& state) {
  const auto subscribers = static_cast<std::size_t>(state.range(0));
  Arrivals arrivals;
  Slots slots(subscribers, arrivals);
  yox::Mutex mutex;
  yox::ConditionVariable filled;
  std::deque<YOXNotificationData> queue;
  bool stopping = false;
  std::thread consumer([&] {
    std::deque<YOXNotificationData> taken;
    while (true) {
      {
        yox::MutexLock lock(mutex);
        while (!stopping && queue.empty()) filled.Wait(lock);
        if (stopping) return;
        taken.swap(queue);
      }
      for (const YOXNotificationData& record : taken) slots.signal(record);
      taken.clear();
    }
  });
  const YOXNotificationData record = MakeRecord();
  for (auto iteration : state) {
    arrivals.Expect(static_cast<std::int64_t>(subscribers));
    for (int i = 0; i < kRecords; ++i) {
      const yox::MutexLock lock(mutex);
      queue.push_back(record);
      filled.NotifyOne();
    }
    arrivals.Wait();
  }
  CountDeliveries(state, state.range(0));
  {
    const yox::MutexLock lock(mutex);
    stopping = true;
    filled.NotifyOne();
  }
  consumer.join();
}

// The texts of a record one after another, each of the same length, and what a receiver makes of
// it.
struct Packed {
  std::int32_t topic = 7;
  WString texts[kTexts];

  static constexpr std::size_t kTextBytes = kLength * sizeof(yox::WChar);
  static constexpr std::size_t kBytes = sizeof(std::int32_t) + kTexts * kTextBytes;

  void Pack(void* bytes) const {
    auto* at = static_cast<char*>(bytes);
    std::memcpy(at, &topic, sizeof topic);
    at += sizeof topic;
    for (const WString& text : texts) {
      std::memcpy(at, text.data(), kTextBytes);
      at += kTextBytes;
    }
  }
  void Unpack(const void* bytes) {
    const auto* at = static_cast<const char*>(bytes);
    std::memcpy(&topic, at, sizeof topic);
    at += sizeof topic;
    for (WString& text : texts) {
      text.resize(kLength);
      std::memcpy(text.data(), at, kTextBytes);
      at += kTextBytes;
    }
  }
};

void ZeroMqDelivery(benchmark::State& state) {
  const auto subscribers = static_cast<std::size_t>(state.range(0));
  Arrivals arrivals;
  zmq::context_t context(0);
  zmq::socket_t publisher(context, zmq::socket_type::pub);
  publisher.set(zmq::sockopt::sndhwm, 0);
  publisher.bind("inproc://bus");

  yox::Mutex mutex;
  yox::ConditionVariable ready;
  bool connected = false;
  std::atomic<bool> stopping{false};
  std::thread receiver([&] {
    std::vector<Reader> readers(subscribers, Reader{&arrivals});
    std::vector<Packed> copies(subscribers);
    std::vector<zmq::socket_t> sockets;
    std::vector<zmq::pollitem_t> items;
    for (std::size_t i = 0; i < subscribers; ++i) {
      zmq::socket_t& socket = sockets.emplace_back(context, zmq::socket_type::sub);
      socket.set(zmq::sockopt::rcvhwm, 0);
      socket.set(zmq::sockopt::subscribe, "");
      socket.connect("inproc://bus");
    }
    for (zmq::socket_t& socket : sockets) {
      items.push_back({static_cast<void*>(socket), 0, ZMQ_POLLIN, 0});
    }
    {
      const yox::MutexLock lock(mutex);
      connected = true;
      ready.NotifyOne();
    }
    zmq::message_t message;
    while (!stopping) {
      zmq::poll(items, std::chrono::milliseconds(100));
      for (std::size_t i = 0; i < subscribers; ++i) {
        if (!(items[i].revents & ZMQ_POLLIN)) continue;
        while (sockets[i].recv(message, zmq::recv_flags::dontwait)) {
          copies[i].Unpack(message.data());
          readers[i].Read(copies[i].topic);
        }
      }
    }
  });
  {
    yox::MutexLock lock(mutex);
    while (!connected) ready.Wait(lock);
  }
  Packed record;
  for (std::size_t i = 0; i < kTexts; ++i) record.texts[i] = Text(i);
  for (auto iteration : state) {
    arrivals.Expect(static_cast<std::int64_t>(subscribers));
    for (int i = 0; i < kRecords; ++i) {
      zmq::message_t message(Packed::kBytes);
      record.Pack(message.data());
      publisher.send(message, zmq::send_flags::none);
    }
    arrivals.Wait();
  }
  CountDeliveries(state, state.range(0));
  stopping = true;
  receiver.join();
}

void CopyingAlone(benchmark::State& state) {
  const auto subscribers = static_cast<std::size_t>(state.range(0));
  Arrivals arrivals;
  std::vector<Reader> readers(subscribers, Reader{&arrivals});
  std::vector<YOXNotificationData> copies(subscribers);
  const YOXNotificationData record = MakeRecord();
  for (auto iteration : state) {
    arrivals.Expect(static_cast<std::int64_t>(subscribers));
    for (int i = 0; i < kRecords; ++i) {
      for (std::size_t s = 0; s < subscribers; ++s) {
        copies[s] = record;
        readers[s].Read(copies[s].getTopicId());
      }
    }
    arrivals.Wait();
  }
  CountDeliveries(state, state.range(0));
}

// From the call of Notify to the subscriber's first look at its copy.
void BusLatency(benchmark::State& state) {
  Bus bus;
  std::atomic<int> received{0};
  bus.Subscribe([&](YOXNotificationData&) { received.fetch_add(1, std::memory_order_release); },
                false);
  const YOXNotificationData record = MakeRecord();
  const WString sender;
  int published = 0;
  for (auto iteration : state) {
    bus.Notify(record, sender);
    ++published;
    while (received.load(std::memory_order_acquire) != published) std::this_thread::yield();
  }
}

void ZeroMqLatency(benchmark::State& state) {
  zmq::context_t context(0);
  zmq::socket_t publisher(context, zmq::socket_type::pair);
  publisher.bind("inproc://latency");
  std::atomic<int> received{0};
  std::atomic<bool> stopping{false};
  std::thread receiver([&] {
    zmq::socket_t socket(context, zmq::socket_type::pair);
    socket.connect("inproc://latency");
    zmq::message_t message;
    Packed copy;
    while (true) {
      if (!socket.recv(message)) continue;
      if (stopping) return;
      copy.Unpack(message.data());
      received.fetch_add(1, std::memory_order_release);
    }
  });
  Packed record;
  for (std::size_t i = 0; i < kTexts; ++i) record.texts[i] = Text(i);
  const auto send = [&] {
    zmq::message_t message(Packed::kBytes);
    record.Pack(message.data());
    publisher.send(message, zmq::send_flags::none);
  };
  int published = 0;
  for (auto iteration : state) {
    send();
    ++published;
    while (received.load(std::memory_order_acquire) != published) std::this_thread::yield();
  }
  stopping = true;
  send();
  receiver.join();
}

// Notify alone, while the worker sleeps over an empty queue.
void NotifyAtAnIdleQueue(benchmark::State& state) {
  Bus bus;
  std::atomic<int> received{0};
  bus.Subscribe([&](YOXNotificationData&) { received.fetch_add(1, std::memory_order_release); },
                true);
  const YOXNotificationData record = MakeRecord();
  const WString sender;
  int published = 0;
  for (auto iteration : state) {
    const auto begin = std::chrono::steady_clock::now();
    bus.Notify(record, sender);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(taken.count());
    ++published;
    while (received.load(std::memory_order_acquire) != published) std::this_thread::yield();
    // Long enough for the worker to go to sleep.
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
}

// Notify alone, when it drops the record because the queue is full.
void NotifyAtAFullQueue(benchmark::State& state) {
  Bus bus;
  yox::Mutex mutex;
  yox::ConditionVariable changed;
  bool held = false;
  bool released = false;
  bus.Subscribe(
      [&](YOXNotificationData&) {
        yox::MutexLock lock(mutex);
        held = true;
        changed.NotifyAll();
        while (!released) changed.Wait(lock);
      },
      true);
  const YOXNotificationData record = MakeRecord();
  const WString sender;
  bus.Notify(record, sender);
  {
    yox::MutexLock lock(mutex);
    while (!held) changed.Wait(lock);
  }
  for (int i = 0; i < 1024; ++i) bus.Notify(record, sender);
  for (auto iteration : state) bus.Notify(record, sender);
  {
    const yox::MutexLock lock(mutex);
    released = true;
    changed.NotifyAll();
  }
}

#define YOX_SUBSCRIBERS \
  ->Arg(1)->Arg(8)->Arg(64)->UseRealTime()->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond)
BENCHMARK(BusDelivery) YOX_SUBSCRIBERS;
BENCHMARK(Signals2Delivery) YOX_SUBSCRIBERS;
BENCHMARK(Signals2Direct) YOX_SUBSCRIBERS;
BENCHMARK(ZeroMqDelivery) YOX_SUBSCRIBERS;
BENCHMARK(CopyingAlone) YOX_SUBSCRIBERS;
#undef YOX_SUBSCRIBERS
BENCHMARK(BusLatency)->UseRealTime();
BENCHMARK(ZeroMqLatency)->UseRealTime();
BENCHMARK(NotifyAtAnIdleQueue)->UseManualTime()->Iterations(5000);
BENCHMARK(NotifyAtAFullQueue)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  std::vector<yox_bench::Ratio> ratios;
  for (const std::string subscribers : {"1", "8", "64"}) {
    const std::string end = "/" + subscribers + "/process_time/real_time";
    for (const std::string peer :
         {"Signals2Delivery", "Signals2Direct", "ZeroMqDelivery", "CopyingAlone"}) {
      const bool has_target = subscribers == "1" && peer == "ZeroMqDelivery";
      ratios.push_back({"a delivery to " + subscribers + ", the bus's time to " + peer + "'s",
                        "BusDelivery" + end, peer + end, has_target ? 1.0 : 0.0});
    }
  }
  ratios.push_back(
      {"latency, the bus's to ZeroMQ's", "BusLatency/real_time", "ZeroMqLatency/real_time"});
  return yox_bench::RunWithRatios(argc, argv, ratios);
}
