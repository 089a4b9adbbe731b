#include "host/yoxctl/CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>

#include "yox/base/Document.h"
#include "yox/base/String.h"

#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

constexpr const char* kFooter = R"(Exit codes:
  0  done; for evaluate: the list applies
  1  done, with a negative answer; for lint: an error was found
  2  wrong usage, or input that cannot be read: one line on standard error says what and where)";

constexpr const char* kSeeHelp = " (yoxctl --help tells the usage)";

int Parse(CLI::App& app, std::vector<std::string> arguments) {
  std::ranges::reverse(arguments);  // as the parser wants them
  try {
    app.parse(std::move(arguments));
    return kDone;
  } catch (const CLI::CallForVersion& version) {
    Print(std::string(version.what()) + "\n");
  } catch (const CLI::Success&) {
    Print(app.help());  // of the command, if there is one
  } catch (const CLI::ParseError& error) {
    // A misspelt command or option is what is wrong, not what is missing without it.
    if (const std::vector<std::string> unknown = app.remaining(true);
        !unknown.empty() &&
        (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError) ||
         error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError))) {
      throw Refusal("The following argument was not expected: " + NameOf(unknown.front()) +
                    kSeeHelp);
    }
    throw Refusal(std::string(error.what()) + kSeeHelp);
  }
  return kNegative;
}

int RunOrThrow(std::vector<std::string> arguments) {
  GlobalOptions options;
  std::string format = "text";
  Action action;

  CLI::App app("Answers what this device, or the device of a profile, is and what applies to it.",
               "yoxctl");
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "yoxctl " YOXCTL_VERSION);
  app.add_option("--device", options.device, "Speak of the device in this profile document")
      ->type_name("PROFILE.json");
  app.add_option("--state-dir", options.state_dir, "Keep state in this directory")
      ->type_name("DIR");
  app.add_option("--format", format, "Form of the answer on standard output")
      ->type_name("text|json")
      ->default_str("text")
      ->check(CLI::IsMember({"text", "json"}).description(""));
  app.footer(kFooter);
  app.fallthrough();  // options of the program may stand behind the command, too
  AddEvaluateCommand(app, action);
  AddLintCommand(app, action);
  AddRolloutCommand(app, action);
  AddDeviceCommand(app, action);
  AddCaptureCommand(app, action);
  AddPolicyCommand(app, action);
  AddProvisionCommand(app, action);
  AddWatchCommand(app, action);
  AddTagsCommand(app, action);
  AddTestCommand(app, action);
  AddRegistryCommand(app, action);
  AddNotificationCommand(app, action);

  if (Parse(app, std::move(arguments)) != kDone) return kDone;
  if (!action) throw Refusal(std::string("a command is missing") + kSeeHelp);
  options.json = format == "json";
  return action(options);
}

}  // namespace

int Run(std::vector<std::string> arguments) {
  try {
    return RunOrThrow(std::move(arguments));
  } catch (const std::filesystem::filesystem_error& error) {
    const std::string path = PathText(error.path1());
    Complain((path.empty() ? "the folder of temporary files" : NameOf(path)) + ": " +
             error.code().message());
  } catch (const std::exception& error) {
    Complain(error.what());
  } catch (...) {
    Complain("failed without a word");
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
  return argument.empty() ? "\"\"" : yox::Printable(argument);
}

}  // namespace yoxctl
