#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "yox/base/Document.h"

#include "host/yoxd/Configuration.h"
#include "host/yoxd/Device.h"
#include "host/yoxd/Journal.h"
#include "host/yoxd/Metrics.h"
#include "host/yoxd/ProcessEnvironment.h"
#include "host/yoxd/Service.h"
#include "host/yoxd/Text.h"
#include "host/yoxd/linux/Loop.h"
#include "host/yoxd/linux/StatusSocket.h"
#include "host/yoxd/linux/Watches.h"

namespace yoxd {

void SetVariable(const std::string& name, const std::string& value) {
  setenv(name.c_str(), value.c_str(), 1);
}

namespace {

constexpr const char* kDefaultConfiguration = "/etc/yox/yoxd.json";

struct Options {
  DeviceChoice device;
  std::string configuration;
  bool check = false;
  bool verbose = false;
};

Configuration ReadConfigurationFile(const std::string& argument) {
  const bool named = !argument.empty();
  const std::string file = named ? argument : kDefaultConfiguration;
  std::error_code error;
  if (!named && !std::filesystem::exists(file, error)) return {};
  try {
    return ReadConfiguration(yox::ReadDocumentFile(PathOf(file)));
  } catch (const yox::DocumentError& problem) {
    throw yox::DocumentError(yox::Printable(file) + ": " + problem.what());
  }
}

std::string SocketPath(const Service& service) {
  if (!service.configuration().status_socket.empty()) return service.configuration().status_socket;
  const char* const runtime = getenv("RUNTIME_DIRECTORY");
  if (runtime != nullptr && *runtime != '\0') return std::string(runtime) + "/yoxd.sock";
  return (service.state_path() / "yoxd.sock").string();
}

StatusSocket::Document Answer(const Service& service, std::string_view path) {
  if (path == "/status") return {"application/json", JsonLine(service.Status()) + "\n"};
  if (path == "/metrics") {
    return {"application/openmetrics-text; version=1.0.0; charset=utf-8",
            MetricsText(service.Status())};
  }
  return {};
}

int RunService(const Options& options, const Configuration& configuration) {
  Signals signals;  // first: threads inherit what is blocked
  ChosenPlatform platform(options.device);
  Service service(configuration, platform);
  StatusSocket socket(SocketPath(service), configuration.status_group,
                      [&service](std::string_view path) { return Answer(service, path); });
  Supervision supervision([&service] { return service.StatusLine(); });
  ClockChanges clock;
  LogOns log_ons([&service, &platform] {
    if (platform.simulated() == nullptr) service.UserChanged();
  });
  std::vector<Part*> parts = service.Parts();
  for (Part* const part : {static_cast<Part*>(&signals), static_cast<Part*>(&socket),
                           static_cast<Part*>(&clock), static_cast<Part*>(&log_ons)}) {
    parts.push_back(part);
  }
  std::optional<FileWatch> profile;
  if (platform.simulated() != nullptr) {
    profile.emplace(platform.profile_file(), [&service] { service.FollowProfile(); });
    parts.push_back(&*profile);
    service.FollowProfile();  // it may have been edited before the watch
  }
  parts.push_back(&supervision);  // last: it reports what the others did
  bool stop = false;
  signals.stop = [&stop] { stop = true; };
  signals.reload = [&] {
    supervision.Reloading();
    service.Reload();
    supervision.Started();
  };
  supervision.Started();
  Journal::Notice("service", "started; " + service.StatusLine());
  while (!stop) TakeTurns(parts);
  supervision.Stopping();
  const bool ended = service.End();
  Journal::Notice("service", "stopped");
  if (!ended) {
    // A thread waits for a server and cannot be interrupted. All that is kept has been written.
    unlink(SocketPath(service).c_str());
    _exit(0);
  }
  return 0;
}

int RunOrThrow(int argc, char** argv) {
  Options options;
  CLI::App app("Runs the client on this machine, or on the device of a profile.", "yoxd");
  app.set_version_flag("--version", "yoxd " YOXD_VERSION);
  app.add_option("--config", options.configuration, "The configuration file")
      ->type_name("FILE.json")
      ->default_str(kDefaultConfiguration);
  app.add_option("--device", options.device.profile,
                 "Be the device that this profile describes instead of this machine")
      ->type_name("PROFILE.json");
  app.add_option("--state-dir", options.device.state_dir,
                 "Keep the client's state in this directory")
      ->type_name("DIR");
  app.add_option("--clock-speed", options.device.clock_speed,
                 "How many times as fast the clock of a profile that names a time passes")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000));
  app.add_flag("--check", options.check, "Only check the configuration file and the profile");
  app.add_flag("--verbose", options.verbose, "Write the library's messages too");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForVersion& version) {
    printf("%s\n", version.what());
    return 0;
  } catch (const CLI::Success&) {
    printf("%s", app.help().c_str());
    return 0;
  } catch (const CLI::ParseError& error) {
    throw std::runtime_error(std::string(error.what()) + " (see yoxd --help)");
  }
  Journal::Begin(options.verbose ? Journal::Priority::kDebug : Journal::Priority::kNotice);
  const Configuration configuration = ReadConfigurationFile(options.configuration);
  if (options.check) {
    if (!options.device.profile.empty()) const ChosenPlatform platform(options.device);
    return 0;
  }
  return RunService(options, configuration);
}

// Closed standard streams: the next file that is opened must not get their numbers.
void OccupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", O_RDWR);
  }
}

}  // namespace
}  // namespace yoxd

int main(int argc, char** argv) {
  yoxd::OccupyClosedStreams();
  // A closed connection, and a file beyond its limit, are errors that are reported.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  // What is created is this account's alone, whatever the umask was.
  umask(077);
  try {
    return yoxd::RunOrThrow(argc, argv);
  } catch (const std::exception& error) {
    yoxd::Journal::Error("service", error.what());
    return 2;
  }
}
