#!/usr/bin/env python3
"""The commands of README and docs: each that is shown at a prompt prints what the page says, and every command and
option that a page names exists.

  DocsTest.py YOXCTL

The tutorial is run by scripts/check-examples.
"""
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
FENCE = re.compile(r"^```(?:console)?\n((?:\$ .*\n)(?:(?!```).*\n)*)```$", re.MULTILINE)
DEVICE = {
    "firmware": {"manufacturer": "Contoso", "serial_number": "C0FFEE12"},
    "region": {"country_code": "US", "language_code": "en-US"},
    "devices": [{"instance_id": r"USB\VID_1050&PID_0120\1-2.3",
                 "hardware_ids": [r"USB\VID_1050&PID_0120&REV_0512", r"USB\VID_1050&PID_0120"]}],
}
LISTS = {  # what the text around a command says of its list
    "lint.md": '[\n  { "country": "!US,!CA", "value": "false" },\n  { "default": "true" }\n]\n',
    "list-tests.md": '[ { "country": "DE" } ]\n',
    "yoxctl.md": '[ { "country": "DE", "tag": "Ring|beta" } ]\n',
}
WRONG_LIST = '[ {},\n  {},\n  {\n       "contry": "US" }\n]\n'
# Commands of a page that are for the device that it shows, and their moment.
OPTIONS = {"hardware-ids.md": ["--device", "device.json"],
           "tags.md": ["--state-dir", "state"],
           "yoxctl.md": ["--device", "device.json", "--now", "2026-11-21"]}
YOXCTL = []


def commands(page):
    """The commands of a page's prompts, each with the lines that it prints."""
    for fence in FENCE.findall(page.read_text(encoding="utf-8")):
        lines = fence.splitlines()
        starts = [number for number, line in enumerate(lines) if line.startswith("$ ")] + [len(lines)]
        for begin, end in zip(starts, starts[1:]):
            yield lines[begin][2:], [line.rstrip() for line in lines[begin + 1:end]]


def matches(shown, printed):
    """Whether a page shows what was printed; a line `...` is any number of lines, and without a line it shows nothing."""
    if not shown:
        return True
    pattern = "".join("(?:.*\n)*?" if line == "..." else re.escape(line) + "\n" for line in shown)
    pattern = re.sub(r"\d+\\\.\d\\ MiB", lambda _: r"\d+\.\d MiB", pattern)  # of memory
    return re.fullmatch(pattern, "".join(line.rstrip() + "\n" for line in printed)) is not None


class Docs(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        shutil.copytree(ROOT / "examples", self.folder / "examples", ignore=shutil.ignore_patterns("host*"))
        for file in (ROOT / "examples/fleet").iterdir():
            shutil.copy(file, self.folder)
        (self.folder / "device.json").write_text(json.dumps(DEVICE), encoding="utf-8")
        (self.folder / "fleet").mkdir()
        for number in ("C0FFEE12", "C0FFEE7"):
            (self.folder / "fleet" / f"{number}.json").write_text(json.dumps({"firmware": {"serial_number": number}}))
        (self.folder / "state").mkdir()

    def run_command(self, command, options):
        tool = " ".join(map(shlex.quote, [*YOXCTL, *options]))
        command = re.sub(r"\b(?:yoxctl|scripts/run)(?= )", lambda _: tool, command)
        done = subprocess.run(["bash", "-c", command], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60, env={**os.environ, "NO_COLOR": "1"})
        return done.stdout.decode("utf-8").replace(f"{self.folder}/", "").splitlines()

    def test_a_command_prints_what_its_page_shows(self):
        tried = 0
        for page in PAGES:
            if page.name == "tutorial.md":
                continue
            for command, shown in commands(page):
                with self.subTest(page=page.name, command=command):
                    wrong = any("contry" in line for line in shown)
                    (self.folder / "list.json").write_text(WRONG_LIST if wrong else LISTS.get(page.name, "[]"))
                    options = OPTIONS.get(page.name, [])
                    if "--device" in command:
                        options = options[2:]
                    elif "--facts" in command:
                        options = []
                    printed = self.run_command(command, options)
                    self.assertTrue(matches(shown, printed),
                                    "the page shows:\n" + "\n".join(shown) + "\nprinted was:\n" + "\n".join(printed))
                    tried += 1
        self.assertGreater(tried, 8)

    def test_every_command_and_option_that_a_page_names_exists(self):
        def options_of(*command):
            done = subprocess.run([*YOXCTL, *command, "--help"], capture_output=True, text=True, timeout=60)
            return (done.returncode == 0, set(re.findall(r"--[a-z][\w-]*", done.stdout)),
                    re.findall(r"^  ([a-z][\w-]*) ", done.stdout.partition("ommands:\n")[2].partition("\n\n")[0], re.MULTILINE))
        known = {}
        named = 0
        for page in PAGES:
            for line in re.findall(r"(?:`|^(?:\$ )?(?:[^`\n]*[|&] )?)(?:yoxctl|scripts/run) ([^`\n]+)",
                                   page.read_text(encoding="utf-8"), re.MULTILINE):
                line = re.split(r" \| | > |   |;", line.replace("\\|", "|"))[0]
                words = re.sub(r"[\[\]]|\.\.\.", " ", line).split()
                path, options = [], set()
                if not known:
                    known[()] = options_of()
                at = 0
                while at < len(words):
                    word = words[at]
                    if re.match("--[a-z]", word):
                        options.add(word.partition("=")[0].rstrip(".,:)"))
                    elif word in known[tuple(path)][2]:
                        path.append(word)
                        known.setdefault(tuple(path), options_of(*path))
                    at += 1
                with self.subTest(page=page.name, line=line):
                    first = next((word for word in words if re.fullmatch(r"[a-z][a-z-]+", word)), None)
                    self.assertTrue(path or first is None or options, "no such command")
                    self.assertLessEqual(options, known[tuple(path)][1] | known[()][1] | {"--help", "--reference"})
                    named += 1
        self.assertGreater(named, 50)


if __name__ == "__main__":
    YOXCTL[:] = [str(pathlib.Path(sys.argv.pop(1)).resolve())]
    unittest.main()
