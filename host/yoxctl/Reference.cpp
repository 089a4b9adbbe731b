#include "host/yoxctl/Reference.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <variant>
#include <vector>

namespace yoxctl {
namespace {

// A command with the words that lead to it: "registry get".
struct Node {
  std::string path;
  const Command& command;
};

void AddNodes(const std::string& path, std::span<const Command> commands,
              std::vector<Node>& nodes) {
  for (const Command& command : commands) {
    nodes.push_back({path + command.name, command});
    AddNodes(nodes.back().path + " ", command.commands, nodes);
  }
}

std::vector<Node> NodesOf(const Program& program) {
  std::vector<Node> nodes;
  AddNodes("", program.commands, nodes);
  return nodes;
}

bool IsFlag(const Option& option) { return std::holds_alternative<bool*>(option.target); }
bool IsPositional(const Option& option) { return !option.name.starts_with('-'); }
bool IsRepeated(const Option& option) {
  return std::holds_alternative<std::vector<std::string>*>(option.target);
}

// Replaces each key of `replacements` in the text.
struct Replacement {
  char from;
  std::string_view to;
};
std::string Escaped(std::string_view text, std::initializer_list<Replacement> replacements) {
  std::string escaped;
  for (const char c : text) {
    std::string_view with(&c, 1);
    for (const Replacement& one : replacements) {
      if (one.from == c) with = one.to;
    }
    escaped += with;
  }
  return escaped;
}

// ---- roff ----

std::string Roff(std::string_view text) {
  std::string escaped =
      Escaped(text, {{'\\', "\\e"}, {'-', "\\-"}, {'"', "\\(dq"}, {'`', "\\(ga"}});
  // A line that begins with one of these would be a request.
  if (escaped.starts_with('.') || escaped.starts_with('\'')) escaped.insert(0, "\\&");
  return escaped;
}

std::string Synopsis(const std::string& path, const Command& command) {
  std::string text = ".B yoxctl " + Roff(path) + "\n";
  if (!command.commands.empty()) text += ".I COMMAND\n";
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    std::string one = IsPositional(option) ? "\\fI" + Roff(option.name) + "\\fR"
                                           : "\\fB" + Roff(option.name) + "\\fR";
    if (!IsPositional(option) && !IsFlag(option)) one += " \\fI" + Roff(option.type) + "\\fR";
    if (!option.required) one = "[" + one + "]";
    text += one + (IsRepeated(option) ? "...\n" : "\n");
  }
  return text;
}

std::string RoffOptions(std::span<const Option> options) {
  std::string text;
  for (const Option& option : options) {
    if (option.hidden) continue;
    text += ".TP\n";
    text += (IsPositional(option) ? "\\fI" : "\\fB") + Roff(option.name) + "\\fR";
    if (!IsPositional(option) && !IsFlag(option)) text += " \\fI" + Roff(option.type) + "\\fR";
    text += "\n" + Roff(option.help) + ".";
    if (!option.initial.empty()) text += " Without it: " + Roff(option.initial) + ".";
    text += "\n";
  }
  return text;
}

std::string ManPage(const Program& program) {
  std::string text = ".TH YOXCTL 1 \"\" \"yoxctl " YOXCTL_VERSION
                     "\" \"User Commands\"\n"
                     ".SH NAME\nyoxctl \\- the command line of a device\\-management client\n"
                     ".SH SYNOPSIS\n.B yoxctl\n.RI [ OPTIONS ]\n.I COMMAND\n.RI [ ARGUMENTS ]\n"
                     ".SH DESCRIPTION\n";
  text += Roff(program.summary) + "\n.SH OPTIONS\nThese may also follow the command.\n" +
          RoffOptions(program.options) + ".SH COMMANDS\n";
  for (const auto& [path, command] : NodesOf(program)) {
    text += ".SS " + Roff(path) + "\n" + Synopsis(path, command) + ".PP\n" + Roff(command.help) +
            ".\n" + RoffOptions(command.options);
  }
  return text + ".SH EXIT STATUS\n.nf\n" + Roff(program.footer) + "\n.fi\n";
}

// ---- completions ----

using Write = std::function<void(const Option&)>;
void ForOptions(const Program& program, const Command* command, const Write& write) {
  const auto of = [&](std::span<const Option> options) {
    for (const Option& option : options) {
      if (!option.hidden && !IsPositional(option)) write(option);
    }
  };
  if (command != nullptr) of(command->options);
  of(program.options);
}

// The words that may follow a command: its options, then the commands below it.
std::string WordsOf(const Program& program, const Command* command) {
  std::string words;
  ForOptions(program, command, [&](const Option& option) { words += option.name + " "; });
  for (const Command& sub :
       command != nullptr ? std::span<const Command>(command->commands) : program.commands) {
    words += sub.name + " ";
  }
  if (!words.empty()) words.pop_back();
  return words;
}

// The cases in which two shells recognise the command that is being written, `word` being a word
// after the program's name. (The variable `path` is tied to PATH in zsh.)
std::string PathCases(const Program& program, const std::string& word) {
  std::string text = "    case \"$given " + word + "\" in\n";
  for (const auto& [path, command] : NodesOf(program)) {
    text += "      \" " + path + "\") given=\" " + path + "\" ;;\n";
  }
  return text + "    esac\n";
}

std::string Choices(const Option& option) {
  std::string words;
  for (const std::string& choice : option.choices) words += (words.empty() ? "" : " ") + choice;
  return words;
}

std::string Bash(const Program& program) {
  std::string text =
      "# Completions of yoxctl for bash.\n_yoxctl() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} given= i "
      "words=\n"
      "  for ((i = 1; i < COMP_CWORD; ++i)); do\n" +
      PathCases(program, "${COMP_WORDS[i]}") + "  done\n  case $given/$previous in\n";
  const auto choices = [&](const std::string& path, std::span<const Option> options) {
    for (const Option& option : options) {
      if (option.choices.empty() || IsPositional(option) || option.hidden) continue;
      text += "    " + path + "/" + option.name + ") words='" + Choices(option) + "' ;;\n";
    }
  };
  choices("*", program.options);
  for (const auto& [path, command] : NodesOf(program)) {
    choices("' " + path + "'", command.options);
  }
  text += "    *) case $given in\n      '') words='" + WordsOf(program, nullptr) + "' ;;\n";
  for (const auto& [path, command] : NodesOf(program)) {
    text += "      ' " + path + "') words='" + WordsOf(program, &command) + "' ;;\n";
  }
  return text +
         "    esac ;;\n  esac\n  COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n}\n"
         "complete -o default -F _yoxctl yoxctl\n";
}

std::string Zsh(const Program& program) {
  const auto entry = [](const std::string& name, const std::string& help) {
    return " '" + Escaped(name, {{':', "\\:"}, {'\'', "'\\''"}}) + ":" +
           Escaped(help, {{':', "\\:"}, {'\'', "'\\''"}}) + "'";
  };
  const auto entries = [&](const Command* command) {
    std::string text;
    ForOptions(program, command,
               [&](const Option& option) { text += entry(option.name, option.help); });
    for (const Command& sub :
         command != nullptr ? std::span<const Command>(command->commands) : program.commands) {
      text += entry(sub.name, sub.help);
    }
    return text;
  };
  std::string text =
      "#compdef yoxctl\n# Completions of yoxctl for zsh.\nlocal given= word\nlocal -a entries\n"
      "for word in ${words[2,CURRENT-1]}; do\n" +
      PathCases(program, "$word") + "done\ncase $given in\n  '') entries=(" + entries(nullptr) +
      ") ;;\n";
  for (const auto& [path, command] : NodesOf(program)) {
    text += "  ' " + path + "') entries=(" + entries(&command) + ") ;;\n";
  }
  return text + "esac\n_describe yoxctl entries\n_files\n";
}

std::string Fish(const Program& program) {
  const auto quoted = [](std::string_view text) {
    return "'" + Escaped(text, {{'\'', "\\'"}, {'\\', "\\\\"}}) + "'";
  };
  std::string text = "# Completions of yoxctl for fish.\n";
  const auto add = [&](const std::string& condition, const Option& option) {
    if (option.hidden || IsPositional(option)) return;
    text += "complete -c yoxctl" + (condition.empty() ? "" : " -n " + quoted(condition)) + " -l " +
            option.name.substr(2) + " -d " + quoted(option.help);
    if (!IsFlag(option)) text += " -r";
    if (!option.choices.empty()) text += " -f -a " + quoted(Choices(option));
    text += "\n";
  };
  for (const Option& option : program.options) add("", option);
  for (const auto& [path, command] : NodesOf(program)) {
    std::string above = "__fish_use_subcommand";
    std::string seen;
    for (std::size_t begin = 0; begin < path.size();) {
      const std::size_t end = std::min(path.find(' ', begin), path.size());
      if (!seen.empty()) above = seen;
      seen += (seen.empty() ? "" : "; and ") +
              ("__fish_seen_subcommand_from " + path.substr(begin, end - begin));
      begin = end + 1;
    }
    text += "complete -c yoxctl -f -n " + quoted(above) + " -a " + command.name + " -d " +
            quoted(command.help) + "\n";
    for (const Option& option : command.options) add(seen, option);
  }
  return text;
}

}  // namespace

std::string ReferenceText(const std::string& form, const Program& program) {
  if (form == "man") return ManPage(program);
  if (form == "bash") return Bash(program);
  return form == "zsh" ? Zsh(program) : Fish(program);
}

}  // namespace yoxctl
