#include "yox/platform/system/linux/SystemBus.h"

#include <algorithm>
#include <cerrno>

namespace yox::platform {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr std::string_view kBusItself;

// At least one: sd-bus takes 0 for its own default, 25 seconds.
std::uint64_t Microseconds(steady_clock::duration duration) {
  const auto count = std::chrono::duration_cast<microseconds>(duration).count();
  return static_cast<std::uint64_t>(std::max<microseconds::rep>(count, 1));
}

// Whether the bus greets the connection within the limit. sd_bus_open_system returns before that,
// and the first call would otherwise wait for the greeting under its own, longer limit.
bool AwaitGreeting(sd_bus* connection, steady_clock::duration limit) {
  const steady_clock::time_point end = steady_clock::now() + limit;
  while (sd_bus_is_ready(connection) == 0) {
    const int done = sd_bus_process(connection, nullptr);
    if (done < 0) return false;
    if (done > 0) continue;
    const steady_clock::duration left = end - steady_clock::now();
    if (left.count() <= 0 || sd_bus_wait(connection, Microseconds(left)) < 0) return false;
  }
  return sd_bus_is_ready(connection) > 0;
}

std::optional<std::string> ReadPath(sd_bus_message* reply) {
  const char* path = nullptr;
  if (reply == nullptr || sd_bus_message_read(reply, "o", &path) <= 0) return std::nullopt;
  return path;
}

}  // namespace

bool SystemBus::IsSilenced(std::string_view service) {
  const MutexLock lock(mutex_);
  const auto until = silenced_until_.find(service);
  return until != silenced_until_.end() && steady_clock::now() < until->second;
}

void SystemBus::Silence(std::string_view service) {
  constexpr std::chrono::minutes kSilence{1};
  const MutexLock lock(mutex_);
  silenced_until_.insert_or_assign(std::string(service), steady_clock::now() + kSilence);
}

SystemBus::Conversation::Conversation(SystemBus& bus) : bus_(bus) {
  if (bus.IsSilenced(kBusItself)) return;
  sd_bus* connection = nullptr;
  if (sd_bus_open_system(&connection) < 0) return;
  const steady_clock::time_point begin = steady_clock::now();
  if (AwaitGreeting(connection, bus.limit_)) {
    connection_ = connection;
    return;
  }
  sd_bus_close_unref(connection);
  if (steady_clock::now() - begin >= bus.limit_) bus.Silence(kBusItself);
}

SystemBus::Conversation::~Conversation() {
  if (connection_ != nullptr) sd_bus_close_unref(connection_);
}

template <class... Arguments>
SystemBus::Conversation::Message SystemBus::Conversation::Call(const Object& object,
                                                               const char* interface,
                                                               const char* method,
                                                               const char* types,
                                                               Arguments... arguments) {
  if (connection_ == nullptr || bus_.IsSilenced(object.service)) return nullptr;
  steady_clock::duration& left = time_left_.try_emplace(object.service, bus_.limit_).first->second;
  if (sd_bus_set_method_call_timeout(connection_, Microseconds(left)) < 0) return nullptr;
  const steady_clock::time_point begin = steady_clock::now();
  sd_bus_message* reply = nullptr;
  const int result = sd_bus_call_method(connection_, object.service, object.path.c_str(), interface,
                                        method, nullptr, &reply, types, arguments...);
  left -= steady_clock::now() - begin;
  if (result == -ETIMEDOUT || left.count() <= 0) bus_.Silence(object.service);
  return Message(result < 0 ? nullptr : reply);
}

SystemBus::Conversation::Message SystemBus::Conversation::Property(const Object& object,
                                                                   const char* property,
                                                                   const char* type) {
  Message reply =
      Call(object, "org.freedesktop.DBus.Properties", "Get", "ss", object.interface, property);
  if (reply && sd_bus_message_enter_container(reply.get(), 'v', type) <= 0) reply.reset();
  return reply;
}

std::optional<std::string> SystemBus::Conversation::Text(const Object& object,
                                                         const char* property) {
  const Message reply = Property(object, property, "s");
  const char* text = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "s", &text) <= 0) return std::nullopt;
  return text;
}

std::optional<bool> SystemBus::Conversation::Flag(const Object& object, const char* property) {
  const Message reply = Property(object, property, "b");
  int flag = 0;
  if (!reply || sd_bus_message_read(reply.get(), "b", &flag) <= 0) return std::nullopt;
  return flag != 0;
}

std::optional<std::uint64_t> SystemBus::Conversation::Number(const Object& object,
                                                             const char* property) {
  const Message reply = Property(object, property, "t");
  std::uint64_t number = 0;
  if (!reply || sd_bus_message_read(reply.get(), "t", &number) <= 0) return std::nullopt;
  return number;
}

std::optional<std::vector<std::string>> SystemBus::Conversation::List(const Object& object,
                                                                      const char* property,
                                                                      char type) {
  const char element[] = {type, '\0'};
  const char array[] = {'a', type, '\0'};
  const Message reply = Property(object, property, array);
  if (!reply || sd_bus_message_enter_container(reply.get(), 'a', element) < 0) return std::nullopt;
  std::vector<std::string> texts;
  const char* text = nullptr;
  while (sd_bus_message_read_basic(reply.get(), type, &text) > 0) texts.emplace_back(text);
  return texts;
}

std::optional<std::vector<std::string>> SystemBus::Conversation::Texts(const Object& object,
                                                                       const char* property) {
  return List(object, property, 's');
}

std::optional<std::vector<std::string>> SystemBus::Conversation::Paths(const Object& object,
                                                                       const char* property) {
  return List(object, property, 'o');
}

std::optional<std::string> SystemBus::Conversation::PathFor(const Object& object,
                                                            const char* method,
                                                            const std::string& argument) {
  return ReadPath(Call(object, object.interface, method, "s", argument.c_str()).get());
}

std::optional<std::string> SystemBus::Conversation::PathFor(const Object& object,
                                                            const char* method,
                                                            std::int64_t argument) {
  return ReadPath(Call(object, object.interface, method, "x", argument).get());
}

std::vector<SystemBus::Conversation::Session> SystemBus::Conversation::Sessions(
    const Object& manager) {
  std::vector<Session> sessions;
  const Message reply = Call(manager, manager.interface, "ListSessions", "");
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
