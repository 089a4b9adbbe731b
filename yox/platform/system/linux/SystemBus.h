#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace yox::platform {

// The system's message bus. Where there is none, or whoever is asked is not there, every question
// has no answer. One who hangs costs the limit once: for a minute afterwards nobody is asked.
// Safe from any thread.
class SystemBus {
 public:
  explicit SystemBus(std::chrono::milliseconds limit = std::chrono::seconds(1)) : limit_(limit) {}

  // Questions over one connection, by one thread.
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
    std::optional<std::string> Text(const Object& object, const char* property);
    std::optional<bool> Flag(const Object& object, const char* property);
    std::optional<std::vector<std::string>> Paths(const Object& object, const char* property);

    // The object path with which a method of one text argument answers.
    std::optional<std::string> PathFor(const Object& object, const char* method,
                                       const std::string& argument);
    struct Session {
      std::uint32_t user = 0;
      std::string seat;
      std::string path;
    };
    std::vector<Session> Sessions(const Object& manager);

   private:
    SystemBus& bus_;
    sd_bus* connection_ = nullptr;
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  };

 private:
  const std::chrono::milliseconds limit_;
  std::atomic<std::chrono::steady_clock::time_point> silent_until_{};
};

}  // namespace yox::platform
