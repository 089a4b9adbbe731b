#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Printable.h"

#include "host/yoxd/Part.h"
#include "host/yoxd/StatusRequest.h"

// What the service asks of the operating system besides what the library offers. Implemented in
// linux/ and windows/. All text is UTF-8.
namespace yoxd {

// The path of a UTF-8 text.
inline std::filesystem::path PathOf(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}
// The UTF-8 text of a path.
inline std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

// Sets a variable of this process's environment. Before other threads run.
void SetVariable(const std::string& name, const std::string& value);

// The configuration file of a service for which none was named. It need not exist.
std::string DefaultConfigurationFile();

// Returns whether no account but the file's owner, and those that may do everything, can read it.
bool IsPrivate(const std::filesystem::path& file);
// Why a client's key must not be used; empty: it may.
inline std::string WhyKeyIsRefused(const std::string& file) {
  if (IsPrivate(PathOf(file))) return {};
  return yox::Printable(file) + ": expected a key that only its owner can read";
}

// Waits until something that a part watches is ready, or a part is due, and runs all parts. The
// same on every system.
void TakeTurns(std::span<Part* const> parts);
// Waits until at least one entry is ready, or for so long, and calls all that are ready.
void WaitFor(std::span<const Watched> watched, std::optional<std::chrono::milliseconds> limit);

// Calls `edited`, on the service's thread, when a file was written or replaced, and possibly when
// another file of its folder was. Throws std::system_error when the folder cannot be watched.
std::unique_ptr<Part> WatchFile(const std::string& file, std::function<void()> edited);

// Serves the status: on Linux a Unix socket of this name, on Windows a named pipe. Only this
// account, those that may do everything, and the members of `group` (empty: none) can ask. Throws
// std::runtime_error, with the name, when it cannot be created.
std::unique_ptr<Part> ServeStatus(const std::string& name, const std::string& group,
                                  StatusAnswer answer);
// The name if none was configured. `folder` is the service's own; `chosen` says whether the caller
// named it, so that several services can have one each.
std::string DefaultStatusName(const std::filesystem::path& folder, bool chosen);

// The service as the system's service manager sees it. Created before any other thread.
class Supervision {
 public:
  // What the system asks for; called on the service's thread.
  struct Handlers {
    std::function<void()> stop;
    std::function<void()> reload;
    std::function<void()> user_changed;   // a user has logged on or off
    std::function<std::string()> status;  // one line, for the manager
  };

  Supervision();
  ~Supervision();
  Supervision(const Supervision&) = delete;
  Supervision& operator=(const Supervision&) = delete;

  // The parts that call the handlers; to be run after all others.
  std::vector<Part*> Connect(Handlers handlers);
  // Each tells the manager how far the service is.
  void Started();
  void Reloading();
  void Stopping();
  // The process ends now, with this exit code.
  void Ended(int code);

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace yoxd
