#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/WString.h"

namespace CLI {
class App;
}

namespace yoxctl {

// What stands before the command.
struct GlobalOptions {
  std::optional<std::string> device;     // a profile's file; absent: this machine
  std::optional<std::string> state_dir;  // absent: the system's own place
  bool json = false;
};

// What the chosen command does, and answers as exit code. Set while the command line is read.
using Action = std::function<int(const GlobalOptions&)>;

// One function per command adds it to the command line.
void AddCaptureCommand(CLI::App& app, Action& action);
void AddDeviceCommand(CLI::App& app, Action& action);
void AddEvaluateCommand(CLI::App& app, Action& action);
void AddLintCommand(CLI::App& app, Action& action);
void AddPolicyCommand(CLI::App& app, Action& action);
void AddProvisionCommand(CLI::App& app, Action& action);
void AddRolloutCommand(CLI::App& app, Action& action);
void AddWatchCommand(CLI::App& app, Action& action);
void AddRegistryCommand(CLI::App& app, Action& action);
void AddTagsCommand(CLI::App& app, Action& action);
void AddTestCommand(CLI::App& app, Action& action);
void AddNotificationCommand(CLI::App& app, Action& action);

// Runs the program; the arguments are UTF-8, without the program's name. Never throws.
int Run(std::vector<std::string> arguments);

// Sets a variable of this process's environment; UTF-8.
void SetVariable(const std::string& name, const std::string& value);

// The path that a UTF-8 argument names.
std::filesystem::path PathOf(const std::string& argument);
// The path as UTF-8.
std::string PathText(const std::filesystem::path& path);
// The text of an argument. Throws Refusal, with the name, when it is not well-formed UTF-8.
yox::WString Widened(const std::string& name, const std::string& text);
// The argument as messages show it.
std::string NameOf(const std::string& argument);

}  // namespace yoxctl
