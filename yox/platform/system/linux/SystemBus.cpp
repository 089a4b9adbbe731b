#include "yox/platform/system/linux/SystemBus.h"

#include <cstdint>
#include <memory>

namespace yox::platform {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct MessageReleaser {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageReleaser>;

std::uint64_t Microseconds(steady_clock::duration duration) {
  return static_cast<std::uint64_t>(std::chrono::duration_cast<microseconds>(duration).count());
}

// Whether the bus has greeted the connection before the moment.
bool AwaitGreeting(sd_bus* connection, steady_clock::time_point end) {
  while (sd_bus_is_ready(connection) == 0) {
    const int done = sd_bus_process(connection, nullptr);
    if (done < 0) return false;
    if (done > 0) continue;
    const steady_clock::duration left = end - steady_clock::now();
    if (left.count() <= 0 || sd_bus_wait(connection, Microseconds(left)) < 0) return false;
  }
  return sd_bus_is_ready(connection) > 0;
}

template <class... Arguments>
Message Call(sd_bus* connection, const SystemBus::Conversation::Object& object,
             const char* interface, const char* method, const char* types, Arguments... arguments) {
  sd_bus_message* reply = nullptr;
  if (connection == nullptr ||
      sd_bus_call_method(connection, object.service, object.path.c_str(), interface, method,
                         nullptr, &reply, types, arguments...) < 0) {
    return nullptr;
  }
  return Message(reply);
}

Message Property(sd_bus* connection, const SystemBus::Conversation::Object& object,
                 const char* property, const char* type) {
  Message reply = Call(connection, object, "org.freedesktop.DBus.Properties", "Get", "ss",
                       object.interface, property);
  if (reply && sd_bus_message_enter_container(reply.get(), 'v', type) <= 0) reply.reset();
  return reply;
}

}  // namespace

SystemBus::Conversation::Conversation(SystemBus& bus) : bus_(bus) {
  if (begin_ < bus.silent_until_.load()) return;
  sd_bus* connection = nullptr;
  if (sd_bus_open_system(&connection) < 0) return;
  if (AwaitGreeting(connection, begin_ + bus.limit_) &&
      sd_bus_set_method_call_timeout(connection, Microseconds(bus.limit_)) >= 0) {
    connection_ = connection;
  } else {
    sd_bus_close_unref(connection);
  }
}

SystemBus::Conversation::~Conversation() {
  if (connection_ != nullptr) sd_bus_close_unref(connection_);
  constexpr std::chrono::minutes kSilence{1};
  const steady_clock::time_point now = steady_clock::now();
  if (now - begin_ >= bus_.limit_) bus_.silent_until_.store(now + kSilence);
}

std::optional<std::string> SystemBus::Conversation::Text(const Object& object,
                                                         const char* property) {
  const Message reply = Property(connection_, object, property, "s");
  const char* text = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "s", &text) <= 0) return std::nullopt;
  return text;
}

std::optional<bool> SystemBus::Conversation::Flag(const Object& object, const char* property) {
  const Message reply = Property(connection_, object, property, "b");
  int flag = 0;
  if (!reply || sd_bus_message_read(reply.get(), "b", &flag) <= 0) return std::nullopt;
  return flag != 0;
}

std::optional<std::vector<std::string>> SystemBus::Conversation::Paths(const Object& object,
                                                                       const char* property) {
  const Message reply = Property(connection_, object, property, "ao");
  if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "o") < 0) return std::nullopt;
  std::vector<std::string> paths;
  const char* path = nullptr;
  while (sd_bus_message_read(reply.get(), "o", &path) > 0) paths.emplace_back(path);
  return paths;
}

std::optional<std::string> SystemBus::Conversation::PathFor(const Object& object,
                                                            const char* method,
                                                            const std::string& argument) {
  const Message reply = Call(connection_, object, object.interface, method, "s", argument.c_str());
  const char* path = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "o", &path) <= 0) return std::nullopt;
  return path;
}

std::vector<SystemBus::Conversation::Session> SystemBus::Conversation::Sessions(
    const Object& manager) {
  std::vector<Session> sessions;
  const Message reply = Call(connection_, manager, manager.interface, "ListSessions", "");
  if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "(susso)") < 0) return sessions;
  const char* id = nullptr;
  const char* name = nullptr;
  const char* seat = nullptr;
  const char* path = nullptr;
  std::uint32_t user = 0;
  while (sd_bus_message_read(reply.get(), "(susso)", &id, &user, &name, &seat, &path) > 0) {
    sessions.push_back({user, seat, path});
  }
  return sessions;
}

}  // namespace yox::platform
