#include "host/yoxctl/CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <charconv>
#include <exception>
#include <filesystem>
#include <limits>
#include <span>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

#include "yox/base/Document.h"
#include "yox/base/NearestWord.h"
#include "yox/base/String.h"

#include "host/yoxctl/Output.h"
#include "host/yoxctl/Reference.h"

namespace yoxctl {
namespace {

constexpr const char* kSummary =
    "Shows what this device, or the device of a profile, is and which content applies to it.";
constexpr const char* kFooter = R"(Exit codes:
  0  success; for evaluate: the list applies
  1  success, with a negative result; for lint: an error was found
  2  wrong usage, input that cannot be read or output that cannot be written:
     one line on standard error says what is wrong and where)";

constexpr const char* kSeeHelp = " (see yoxctl --help)";

// In the order of the help.
constexpr Command (*kCommands[])() = {
    EvaluateCommand, FleetCommand,    LintCommand,         FmtCommand,    ExplainFieldCommand,
    HashCommand,     LspCommand,      RolloutCommand,      DeviceCommand, CaptureCommand,
    FactsCommand,    PolicyCommand,   ProvisionCommand,    WatchCommand,  TagsCommand,
    TestCommand,     RegistryCommand, NotificationCommand, StatusCommand};

// Accepts only a number of the type in decimal digits. CLI11 alone wraps what is too
// small or too large, reads 010 as eight, and an empty string as 0.
template <class Number>
CLI::Validator DecimalNumber() {
  return CLI::Validator(
      [](std::string& text) {
        Number number{};
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || stop != end) {
          return "expected a whole number from " +
                 std::to_string(std::numeric_limits<Number>::min()) + " to " +
                 std::to_string(std::numeric_limits<Number>::max()) + ", found \"" +
                 yox::Printable(text) + "\"";
        }
        text = std::to_string(number);
        return std::string();
      },
      "");
}

CLI::Option* AddTarget(CLI::App& app, const Option& option) {
  return std::visit(
      [&]<class Value>(Value* value) {
        if constexpr (std::is_same_v<Value, bool>) {
          return app.add_flag(option.name, *value, option.help);
        } else {
          CLI::Option* const added = app.add_option(option.name, *value, option.help);
          if constexpr (std::is_same_v<Value, std::optional<std::size_t>>) {
            added->transform(DecimalNumber<std::size_t>());
          } else if constexpr (std::is_integral_v<Value>) {
            added->transform(DecimalNumber<Value>());
          } else if constexpr (std::is_same_v<Value, std::vector<std::string>>) {
            // An option takes one value each time it is given, so that "--tag A=B FILE" has a file.
            if (option.name.starts_with('-')) added->allow_extra_args(false);
          }
          return added;
        }
      },
      option.target);
}

void AddOption(CLI::App& app, const Option& option) {
  CLI::Option* const added = AddTarget(app, option);
  // An empty type would show CLI11's own name of it.
  if (!std::holds_alternative<bool*>(option.target)) {
    added->type_name(option.type.empty() ? " " : option.type);
  }
  added->required(option.required);
  if (!option.choices.empty()) added->check(CLI::IsMember(option.choices).description(""));
  if (!option.initial.empty()) added->default_str(option.initial);
  if (option.hidden) added->group("");
}

// What the help of every command says of the global options.
std::string GlobalsFooter(std::span<const Option> globals) {
  constexpr std::size_t kColumn = 32;
  std::string text = "Global options:\n";
  for (const Option& option : globals) {
    if (option.hidden) continue;
    std::string line = "  " + option.name + " " + option.type;
    line.append(line.size() < kColumn ? kColumn - line.size() : 1, ' ');
    text += line + option.help + "\n";
  }
  return text;
}

// The command that was given, as far as it was understood.
const CLI::App& DeepestCommand(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  return chosen.empty() ? app : DeepestCommand(*chosen.front());
}

// A word that may be misspelt, and what to write.
struct Known {
  std::string word;
  std::string phrase;

  operator std::string_view() const { return word; }
};

// The names of the commands below `command`, those of its own first; then their parts, and the
// subcommands of any depth: "diff" is of "fleet diff".
std::vector<Known> KnownCommands(const CLI::App& command) {
  std::vector<Known> names;
  for (const CLI::App* const sub : command.get_subcommands({})) {
    names.push_back({sub->get_name(), sub->get_name()});
  }
  const std::size_t own = names.size();
  for (std::size_t i = 0; i < own; ++i) {
    const std::string name = names[i].word;
    for (std::size_t begin = 0, end = 0; end < name.size() && begin < name.size();
         begin = end + 1) {
      end = std::min(name.find('-', begin), name.size());
      names.push_back({name.substr(begin, end - begin), name});
    }
  }
  for (const CLI::App* const sub : command.get_subcommands({})) {
    for (const Known& below : KnownCommands(*sub)) {
      names.push_back({below.word, sub->get_name() + " " + below.phrase});
    }
  }
  return names;
}

// What was probably meant by an argument that is not known.
std::string Suggestion(const CLI::App& app, const std::string& argument) {
  const CLI::App& command = DeepestCommand(app);
  std::vector<Known> names;
  if (argument.starts_with('-')) {
    for (const CLI::App* const each : {&app, &command}) {
      for (const CLI::Option* const option : each->get_options()) {
        for (const std::string& name : option->get_lnames()) {
          names.push_back({"--" + name, "--" + name});
        }
      }
    }
  } else {
    names = KnownCommands(command);
    if (&command == &app) {
      for (const std::string name : {"help", "version"}) names.push_back({name, "--" + name});
    }
  }
  const std::string_view nearest = yox::NearestWord(argument, names);
  const auto found = std::ranges::find(names, nearest, &Known::word);
  return nearest.empty() ? "" : " (did you mean \"" + found->phrase + "\"?)";
}

Refusal UnexpectedArgument(const CLI::App& app, const std::string& argument) {
  return Refusal("The following argument was not expected: " + NameOf(argument) +
                 Suggestion(app, argument) + kSeeHelp);
}

// `chosen` receives the command to run. Subcommands inherit the settings of `parent`.
void AddCommand(CLI::App& parent, const Command& command, const std::string& footer,
                const Command*& chosen) {
  CLI::App* const app = parent.add_subcommand(command.name, command.help);
  for (const Option& option : command.options) AddOption(*app, option);
  app->footer(footer);
  for (const Command& sub : command.commands) AddCommand(*app, sub, footer, chosen);
  if (!command.commands.empty()) app->require_subcommand(1);
  if (command.run) app->callback([&command, &chosen] { chosen = &command; });
}

int Parse(CLI::App& app, std::vector<std::string> arguments) {
  std::ranges::reverse(arguments);  // CLI11 takes them from the back
  try {
    app.parse(std::move(arguments));
    return kDone;
  } catch (const CLI::CallForVersion& version) {
    Print(std::string(version.what()) + "\n");
  } catch (const CLI::Success&) {
    // Help of a command that does not exist is not that of the program.
    for (const std::string& unknown : app.remaining(true)) {
      if (!unknown.starts_with('-')) throw UnexpectedArgument(app, unknown);
    }
    Print(app.help());  // of the command, if there is one
  } catch (const CLI::ParseError& error) {
    // Report a misspelt command or option rather than what is missing because of it.
    if (const std::vector<std::string> unknown = app.remaining(true);
        !unknown.empty() &&
        (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError) ||
         error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError))) {
      throw UnexpectedArgument(app, unknown.front());
    }
    throw Refusal(std::string(error.what()) + kSeeHelp);
  }
  return kNegative;
}

void CheckFormat(const std::string& format, const Command& command) {
  std::vector<std::string> known = {"text", "json"};
  known.insert(known.end(), command.formats.begin(), command.formats.end());
  if (std::ranges::count(known, format) != 0) return;
  std::string names;
  for (const std::string& one : known) names += (names.empty() ? "" : ",") + one;
  throw Refusal("--format: " + NameOf(format) + " not in {" + names + "}" +
                yox::DidYouMean(format, known) + kSeeHelp);
}

int RunOrThrow(std::vector<std::string> arguments) {
  GlobalOptions options;
  std::string colours = "auto";
  std::optional<std::string> reference;
  const Option globals[] = {
      {.name = "--device",
       .type = "PROFILE.json",
       .help = "Use the device that this profile describes instead of this machine",
       .target = &options.device},
      {.name = "--state-dir",
       .type = "DIR",
       .help = "Keep the client's state in this directory",
       .target = &options.state_dir},
      {.name = "--format",
       .type = "text|json",
       .help = "Format of the output; lint also has sarif and github, test has junit",
       .target = &options.format,
       .initial = "text"},
      {.name = "--now",
       .type = "DATETIME",
       .help = "The moment instead of the device's clock: 2026-03-01 or 2026-03-01T12:00:00",
       .target = &options.now},
      {.name = "--color",
       .type = "auto|always|never",
       .help = "Colours in text; auto: on a terminal, unless NO_COLOR is set",
       .target = &colours,
       .choices = {"auto", "always", "never"},
       .initial = "auto"},
      {.name = "--reference",
       .type = "man|bash|zsh|fish",
       .help = "Print the manual page, or the completions of a shell",
       .target = &reference,
       .choices = {std::begin(kReferenceForms), std::end(kReferenceForms)},
       .hidden = true}};
  std::vector<Command> commands;
  for (const auto make : kCommands) commands.push_back(make());
  const Command* chosen = nullptr;

  CLI::App app(kSummary, "yoxctl");
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "yoxctl " YOXCTL_VERSION);
  app.footer(kFooter);
  app.fallthrough();  // the global options may also follow the command
  for (const Option& option : globals) AddOption(app, option);
  const std::string footer = GlobalsFooter(globals);
  for (const Command& command : commands) AddCommand(app, command, footer, chosen);

  if (Parse(app, std::move(arguments)) != kDone) return kDone;
  if (reference) {
    Print(ReferenceText(*reference, {kSummary, kFooter, globals, commands}));
    return kDone;
  }
  if (chosen == nullptr) throw Refusal(std::string("a command is missing") + kSeeHelp);
  CheckFormat(options.format, *chosen);
  options.json = options.format == "json";
  options.colours = colours == "always"  ? ColourMode::kAlways
                    : colours == "never" ? ColourMode::kNever
                                         : ColourMode::kAuto;
  return chosen->run(options);
}

}  // namespace

int Run(std::vector<std::string> arguments) {
  try {
    return RunOrThrow(std::move(arguments));
  } catch (const OutputClosed&) {
    return kDone;
  } catch (const std::filesystem::filesystem_error& error) {
    const std::string path = PathText(error.path1());
    Complain((path.empty() ? "the folder of temporary files" : NameOf(path)) + ": " +
             error.code().message());
  } catch (const std::exception& error) {
    Complain(error.what());
  } catch (...) {
    Complain("failed for an unknown reason");
  }
  return kRefused;
}

std::filesystem::path PathOf(const std::string& argument) {
  return std::filesystem::path(std::u8string(argument.begin(), argument.end()));
}

std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

yox::WString Widened(const std::string& name, const std::string& text) {
  if (!YOX::String::IsValidUTF8(text)) throw Refusal(name + ": not well-formed UTF-8");
  return YOX::String::UTF8ToUTF16(text);
}

std::string NameOf(const std::string& argument) {
  return argument.empty() ? "\"\"" : OneLine(argument);
}

}  // namespace yoxctl
