#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "yox/base/WString.h"

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// The options that are common to all commands.
struct GlobalOptions {
  std::optional<std::string> device;     // file name of a device profile; absent: this machine
  std::optional<std::string> state_dir;  // absent: the system's own directory
  std::optional<std::string> now;        // "2026-03-01" or "2026-03-01T12:00:00"; absent: the clock
  ColourMode colours = ColourMode::kAuto;
  std::string format = "text";  // "text", "json" or one of the command's `formats`
  bool json = false;            // format is "json"
};

// The variable that receives an option's value; its type decides what the option accepts:
// `bool` a flag, a number decimal digits within the type's range, a vector several values (an
// option is then repeated, a positional argument takes the rest of the line).
using OptionTarget =
    std::variant<bool*, std::string*, std::optional<std::string>*, std::vector<std::string>*,
                 std::int32_t*, std::uint32_t*, std::size_t*, std::optional<std::size_t>*>;

// An option of a command, or a positional argument if the name has no hyphens.
struct Option {
  std::string name = {};  // "--tag" or "FILTERS.json"
  std::string type = {};  // what the help shows for the value, for example "KEY=VALUE"
  std::string help = {};
  OptionTarget target;  // must outlive `Command::run`
  bool required = false;
  std::vector<std::string> choices = {};  // the only values that are accepted; empty: any
  std::string initial = {};               // the default, as the help shows it
  bool hidden = false;                    // not in the help
};

// A command, with subcommands or with something to run.
struct Command {
  std::string name = {};
  std::string help = {};
  std::vector<Option> options = {};
  // Called after the options are parsed. Returns the exit code; throws Refusal. It owns the
  // variables of the options.
  std::function<int(const GlobalOptions&)> run = {};
  std::vector<Command> commands = {};     // exactly one must be given
  std::vector<std::string> formats = {};  // that it has besides text and json
};

// Each is in the file of its name.
Command CaptureCommand();
Command DeviceCommand();
Command EvaluateCommand();
Command ExplainFieldCommand();
Command FleetCommand();
Command FleetCollectCommand();  // of FleetCommand
Command FleetImportCommand();   // of FleetCommand
Command FactsCommand();
Command FmtCommand();
Command HashCommand();
Command LintCommand();
Command LspCommand();
Command NotificationCommand();
Command PolicyCommand();
Command ProvisionCommand();
Command RegistryCommand();
Command RolloutCommand();
Command StatusCommand();
Command TagsCommand();
Command TestCommand();
Command WatchCommand();

// Runs the program and returns its exit code; the arguments are UTF-8, without the program's name.
// Never throws.
int Run(std::vector<std::string> arguments);

// Sets a variable of this process's environment; UTF-8.
void SetVariable(const std::string& name, const std::string& value);

// The path that a UTF-8 argument names.
std::filesystem::path PathOf(const std::string& argument);
// The path as UTF-8.
std::string PathText(const std::filesystem::path& path);
// The argument as UTF-16. Throws Refusal, with the name, when it is not well-formed UTF-8.
yox::WString Widened(const std::string& name, const std::string& text);
// The argument as messages show it.
std::string NameOf(const std::string& argument);

}  // namespace yoxctl
