#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/ThreadSafety.h"

namespace yox::platform {

// The system's message bus (D-Bus). Calls never fail loudly: without a bus, without the service, or
// on any error they return std::nullopt or an empty list. Safe from any thread.
//
// A service may use up at most `limit` of time in one conversation. One that does is not called
// again for a minute; other services are. The same goes for a bus that does not greet in time.
class SystemBus {
 public:
  explicit SystemBus(std::chrono::milliseconds limit = std::chrono::seconds(1)) : limit_(limit) {}

  // Calls over one connection, for one thread at a time. The bus must outlive it.
  class Conversation {
   public:
    explicit Conversation(SystemBus& bus);
    ~Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    struct Object {
      const char* service;
      std::string path;
      const char* interface;
    };
    // A property of the object, by its D-Bus type: s, b, t, as, ao.
    std::optional<std::string> Text(const Object& object, const char* property);
    std::optional<bool> Flag(const Object& object, const char* property);
    std::optional<std::uint64_t> Number(const Object& object, const char* property);
    std::optional<std::vector<std::string>> Texts(const Object& object, const char* property);
    std::optional<std::vector<std::string>> Paths(const Object& object, const char* property);

    // Calls a method that takes a string, or a 64-bit number, and returns an object path.
    std::optional<std::string> PathFor(const Object& object, const char* method,
                                       const std::string& argument);
    std::optional<std::string> PathFor(const Object& object, const char* method,
                                       std::int64_t argument);

    struct Session {
      std::uint32_t user = 0;
      std::string seat;  // empty: not at the machine itself
      std::string path;
    };
    // ListSessions of logind's manager.
    std::vector<Session> Sessions(const Object& manager);

   private:
    struct MessageReleaser {
      void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    };
    using Message = std::unique_ptr<sd_bus_message, MessageReleaser>;

    template <class... Arguments>
    Message Call(const Object& object, const char* interface, const char* method, const char* types,
                 Arguments... arguments);
    Message Property(const Object& object, const char* property, const char* type);
    std::optional<std::vector<std::string>> List(const Object& object, const char* property,
                                                 char type);

    SystemBus& bus_;
    sd_bus* connection_ = nullptr;
    std::map<std::string, std::chrono::steady_clock::duration, std::less<>>
        time_left_;  // by service
  };

 private:
  bool IsSilenced(std::string_view service);
  void Silence(std::string_view service);

  const std::chrono::milliseconds limit_;
  yox::Mutex mutex_;
  // By service; the bus itself is the empty name.
  std::map<std::string, std::chrono::steady_clock::time_point, std::less<>> silenced_until_
      YOX_GUARDED_BY(mutex_);
};

}  // namespace yox::platform
