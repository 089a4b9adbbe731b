#!/usr/bin/env python3
"""The manual page and the shells' completions that yoxctl prints of itself.

  ReferenceTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import re
import shutil
import subprocess

import YoxctlTest
from YoxctlTest import Yoxctl

# Prints what the function completes for the words that are its arguments.
BASH = """
source ./completions
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMPREPLY=()
_yoxctl
echo "${COMPREPLY[*]}"
"""


class Reference(Yoxctl):
    def printed(self, *arguments):
        done = self.run_program(*arguments)
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        return done.stdout.decode()

    def help_of(self, *path):
        """Names of options and commands of a command, as its help has them."""
        text = self.printed(*path, "--help").partition("Global options:")[0].partition("Exit codes:")[0]
        above, _, below = text.partition("Subcommands:\n")
        options = set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", above, re.MULTILINE)) - {"--help", "--version"}
        return options, re.findall(r"^  ([\w-]+)  ", below, re.MULTILINE)

    def paths(self, *path):
        options, commands = self.help_of(*path)
        yield path, options, commands
        for command in commands:
            yield from self.paths(*path, command)

    def test_the_manual_page_has_all_that_the_help_has(self):
        page = self.printed("--reference", "man")
        sections = {name: text for name, text in re.findall(r"^\.SS (.*)\n((?:(?!\.S[SH]).*\n)*)", page, re.MULTILINE)}
        seen = 0
        for path, options, _ in self.paths():
            where = sections[" ".join(path).replace("-", "\\-")] if path else page.partition(".SH COMMANDS")[0]
            for option in options:
                self.assertIn("\\fB" + option.replace("-", "\\-") + "\\fR", where, path)
                seen += 1
        self.assertGreater(seen, 30)
        self.assertNotIn("reference", page)  # as in the help

    def test_the_manual_page_is_formatted_without_a_warning(self):
        if shutil.which("groff") is None:
            self.skipTest("groff is not installed")
        done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-rF0"], input=self.printed("--reference", "man").encode(),
                              capture_output=True, timeout=60)
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        self.assertIn("EXIT STATUS", re.sub("\x1b\\[[0-9;]*m|.\b", "", done.stdout.decode()))

    def test_bash_completes_commands_options_and_choices(self):
        self.write("completions", self.printed("--reference", "bash").encode())
        rows = [(["ev"], "evaluate"), (["evaluate", "--target"], "--target-version"), (["registry", "ge"], "get"),
                (["--color", ""], "auto always never"), (["registry", "get", "--color", "al"], "always"),
                (["registry", "set", "--type", "REG_DW"], "REG_DWORD REG_DWORD_BIG_ENDIAN"),
                (["--device", "x.json", "rollo"], "rollout"), (["evaluate", "list.js"], "")]
        for words, completed in rows:
            done = subprocess.run(["bash", "-c", BASH, "bash", "yoxctl", *words], cwd=self.folder, capture_output=True,
                                  text=True, timeout=60)
            self.assertEqual((done.stderr, done.stdout), ("", completed + "\n"), words)

    def test_every_shell_knows_every_command_and_option(self):
        texts = {shell: self.printed("--reference", shell) for shell in ("bash", "zsh", "fish")}
        for path, options, commands in self.paths():
            for word in [*options, *commands]:
                for shell, text in texts.items():
                    known = word if shell != "fish" else word.replace("--", "-l ")
                    self.assertRegex(text, rf"(?<![\w-]){re.escape(known)}(?![\w-])", (shell, path))
        for shell in texts:
            if shutil.which(shell):
                self.write("completions", texts[shell].encode())
                done = subprocess.run([shell, "-n", "completions"], cwd=self.folder, capture_output=True, timeout=60)
                self.assertEqual((done.stderr, done.returncode), (b"", 0), shell)


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
