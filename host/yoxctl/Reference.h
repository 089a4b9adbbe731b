#pragma once

#include <span>
#include <string>

#include "host/yoxctl/CommandLine.h"

namespace yoxctl {

// What the program can do, as its help describes it.
struct Program {
  std::string summary;
  std::string footer;  // the exit codes
  std::span<const Option> options;
  std::span<const Command> commands;
};

// The forms of ReferenceText: "man", a page in roff, and completions for three shells.
inline constexpr const char* kReferenceForms[] = {"man", "bash", "zsh", "fish"};

// Returns the program's manual page or the completions of a shell, from the descriptions that the
// help is written from.
std::string ReferenceText(const std::string& form, const Program& program);

}  // namespace yoxctl
