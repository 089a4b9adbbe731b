#include "host/yoxd/Program.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include "yox/base/Document.h"

#include "host/yoxd/Configuration.h"
#include "host/yoxd/Journal.h"
#include "host/yoxd/Metrics.h"
#include "host/yoxd/Service.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

Configuration ReadConfigurationFile(const std::string& argument) {
  const bool named = !argument.empty();
  const std::string file = named ? argument : DefaultConfigurationFile();
  std::error_code error;
  if (!named && !std::filesystem::exists(PathOf(file), error)) return {};
  try {
    return ReadConfiguration(yox::ReadDocumentFile(PathOf(file)));
  } catch (const yox::DocumentError& problem) {
    throw yox::DocumentError(yox::Printable(file) + ": " + problem.what());
  }
}

StatusDocument Document(const Service& service, std::string_view path) {
  if (path == "/status") return {"application/json", JsonLine(service.Status()) + "\n"};
  if (path == "/metrics") {
    return {"application/openmetrics-text; version=1.0.0; charset=utf-8",
            MetricsText(service.Status())};
  }
  return {};
}

std::unique_ptr<Part> ServeStatusOf(const Service& service, const Options& options) {
  const Configuration& configuration = service.configuration();
  const bool chosen = !options.device.profile.empty() || !options.device.state_dir.empty();
  return ServeStatus(configuration.status_socket.empty()
                         ? DefaultStatusName(service.state_path(), chosen)
                         : configuration.status_socket,
                     configuration.status_group,
                     [&service](std::string_view path) { return Document(service, path); });
}

void RunService(const Options& options, const Configuration& configuration,
                Supervision& supervision) {
  ChosenPlatform platform(options.device);
  Service service(configuration, platform);
  std::unique_ptr<Part> status = ServeStatusOf(service, options);
  std::vector<Part*> parts = service.Parts();
  parts.push_back(status.get());
  std::unique_ptr<Part> profile;
  if (platform.simulated() != nullptr) {
    profile = WatchFile(platform.profile_file(), [&service] { service.FollowProfile(); });
    parts.push_back(profile.get());
    service.FollowProfile();  // it may have been edited before the watch
  }
  bool stop = false;
  for (Part* const part : supervision.Connect({.stop = [&stop] { stop = true; },
                          .reload =
                                                   [&] {
                                                     supervision.Reloading();
                                                     service.Reload();
                                                     supervision.Started();
                                                   },
                          .user_changed =
                                                   [&] {
                                                     if (platform.simulated() == nullptr)
                                                       service.UserChanged();
                                                   },
                          .status = [&service] { return service.StatusLine(); }})) {
    parts.push_back(part);
  }
  supervision.Started();
  Journal::Notice("service", "started; " + service.StatusLine());
  while (!stop) TakeTurns(parts);
  supervision.Stopping();
  const bool ended = service.End();
  Journal::Notice("service", "stopped");
  if (ended) return;
  // A thread waits for a server and cannot be interrupted. All that is kept has been written.
  status.reset();
  supervision.Ended(0);
  std::_Exit(0);
}

}  // namespace

bool ReadOptions(std::vector<std::string> arguments, const std::string& footer, Options& options) {
  CLI::App app("Runs the client on this machine, or on the device of a profile.", "yoxd");
  app.footer(footer);
  app.set_version_flag("--version", "yoxd " YOXD_VERSION);
  app.add_option("--config", options.configuration, "The configuration file")
      ->type_name("FILE.json")
      ->default_str(DefaultConfigurationFile());
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
  app.add_flag("--verbose", options.verbose, "Write the library's debug messages too");
  try {
    std::ranges::reverse(arguments);  // as CLI11 wants them
    app.parse(arguments);
  } catch (const CLI::CallForVersion& version) {
    std::printf("%s\n", version.what());
    return false;
  } catch (const CLI::Success&) {
    std::printf("%s", app.help().c_str());
    return false;
  } catch (const CLI::ParseError& error) {
    throw std::runtime_error(std::string(error.what()) + " (see yoxd --help)");
  }
  return true;
}

int RunProgram(const Options& options, Supervision& supervision) try {
  Journal::Begin(options.verbose ? Journal::Priority::kDebug : Journal::Priority::kNotice);
  const Configuration configuration = ReadConfigurationFile(options.configuration);
  if (!options.check) {
    RunService(options, configuration, supervision);
  } else if (!options.device.profile.empty()) {
    const ChosenPlatform platform(options.device);
  }
  return 0;
} catch (const std::exception& error) {
  Journal::Error("service", error.what());
  return 2;
}

}  // namespace yoxd
