#!/usr/bin/env python3
"""Explanations of yoxctl as a person at a prompt meets them.

  ExplainTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json
import os
import subprocess

import YoxctlTest
from YoxctlTest import Yoxctl

LIST = [
    {"os_version": "<10.0", "value": "false"},
    {"country": "DE,AT", "mfr": "Contoso", "tag": "Ring|stable,Beta"},
    {"registry": "HKLM\\SOFTWARE\\Contoso\\App:Channel|beta*,HKLM\\SOFTWARE\\Contoso\\App:Level|10"},
    {"default": "false"},
]

TEXT = """\
does not apply
Filter [0]: os_version = false; Filter [1]: country = false; Filter [2]: registry = false; Filter [3]: default = false; 

Filter [0]: not matched
  differs  os_version  <10.0  10.0.22631.4460  operating system

Filter [1]: not matched, 2 of 3 fail
  differs  country    DE,AT        US             region
  held     mfr        Contoso      Contoso        firmware
  differs  tag
             differs  Ring|stable  beta           caller's tag Ring
             missing  Beta         (no such tag)  tags

Filter [2]: not matched
  missing  registry
             missing  HKLM\\SOFTWARE\\Contoso\\App:Channel|beta*
                        (no such key)  registry
             missing  HKLM\\SOFTWARE\\Contoso\\App:Level|10
                        (no such key)  registry

Filter [3]: default, decides: does not apply

Nearest miss: filter [2], which would decide: applies
  registry is missing (no such key), required
    HKLM\\SOFTWARE\\Contoso\\App:Channel|beta*
  registry is missing (no such key), required HKLM\\SOFTWARE\\Contoso\\App:Level|10
"""


class Explain(Yoxctl):
    def explain(self, filters, *arguments):
        return self.evaluate(filters, "--explain", *arguments)

    def explained(self, filters, *arguments):
        done = self.run_program("--format", "json", *self.explain(filters, *arguments))
        self.assertEqual(done.stderr, b"")
        return json.loads(done.stdout)

    def test_the_text_is_aligned_within_eighty_columns(self):
        self.assert_answer(self.explain(LIST, "--tag", "Ring=beta"), 1, TEXT)

    def test_long_texts_go_below_and_words_are_broken_at_eighty_columns(self):
        filters = [{"date_function": "2026-01-05|900|exponentialNormal|device", "sn_hash": "0*",
                    "country": ",".join(["!US"] + ["DE"] * 12), "device_subscription": "1b4e28ba-2fa1-11d2"}]
        done = self.run_program(*self.explain(filters))
        lines = done.stdout.decode().splitlines()
        self.assertGreater(len(lines), 12)
        for line in lines[2:]:
            self.assertTrue(len(line) <= 80 or "DE,DE" in line, line)
        self.assertRegex(done.stdout.decode(), r"sn_hash +0\* +[0-9a-f]{16}\.\.\.\s+serial number\n")

    def test_the_answer_is_that_of_the_evaluation(self):
        for filters in (LIST, [], [{}], [{"default": "true"}], [{"country": "US"}], [{"target_version": "1.0"}]):
            plain = self.run_program(*self.evaluate(filters, "--tag", "Ring=beta"))
            explained = self.run_program(*self.explain(filters, "--tag", "Ring=beta"))
            self.assertEqual(explained.returncode, plain.returncode)
            self.assertTrue(explained.stdout.startswith(plain.stdout), filters)
            document = self.explained(filters, "--tag", "Ring=beta")
            done = self.run_program("--format", "json", *self.evaluate(filters, "--tag", "Ring=beta"))
            self.assertEqual({key: document[key] for key in ("applies", "reason")}, json.loads(done.stdout))

    def test_json_tells_every_criterion_of_every_filter(self):
        document = self.explained(LIST, "--tag", "Ring=beta")
        self.assertEqual(document["decided_by"], 3)
        self.assertEqual(document["nearest_miss"], {"filter": 2, "criteria": ["registry"]})
        self.assertEqual([(one["filter"], one["outcome"]) for one in document["explain"]],
                         [(0, "not matched"), (1, "not matched"), (2, "not matched"), (3, "default")])
        country, mfr, tag = document["explain"][1]["criteria"]
        self.assertEqual(country, {"criterion": "country", "required": "DE,AT", "actual": "US", "matched": False,
                                   "result": "differs", "source": "region"})
        self.assertEqual((mfr["criterion"], mfr["matched"], mfr["result"]), ("mfr", True, "held"))
        self.assertEqual((tag["required"], tag["actual"], tag["result"]), ("Ring|stable,Beta", "beta", "differs"))
        self.assertEqual(tag["parts"], [
            {"required": "Ring|stable", "actual": "beta", "matched": False, "result": "differs",
             "source": "caller's tag Ring"},
            {"required": "Beta", "actual": "", "matched": False, "result": "missing", "source": "tags",
             "note": "no such tag"}])
        self.assertEqual(self.explained([{}, {"country": "US"}])["explain"][1]["outcome"], "not reached")
        empty = self.explained([])
        self.assertEqual((empty["decided_by"], empty["nearest_miss"], empty["explain"]), (None, None, []))

    def test_a_terminal_gets_colours_unless_it_wants_none(self):
        if os.name == "nt" or len(YoxctlTest.PROGRAM) > 1:
            self.skipTest("needs a terminal of the program's system")

        def shown(**variables):
            environment = {name: value for name, value in os.environ.items() if name not in ("NO_COLOR", "TERM")}
            ours, its = os.openpty()
            with open(ours, "rb", buffering=0) as screen:
                subprocess.run([*YoxctlTest.PROGRAM, *self.explain(LIST, "--tag", "Ring=beta")], cwd=self.folder,
                               stdin=subprocess.DEVNULL, stdout=its, timeout=60, env={**environment, **variables})
                os.close(its)
                text = b""
                try:
                    while read := screen.read(65536):
                        text += read
                except OSError:
                    pass  # the other end is closed
            return text.decode().replace("\r\n", "\n")

        coloured = shown(TERM="xterm")
        self.assertIn("\x1b[31mdiffers\x1b[0m", coloured)
        self.assertIn("\x1b[33mmissing\x1b[0m", coloured)
        plain = coloured
        for code in ("0", "1", "2", "31", "32", "33"):
            plain = plain.replace(f"\x1b[{code}m", "")
        self.assertEqual(plain, TEXT)
        self.assertEqual(shown(TERM="xterm", NO_COLOR=""), TEXT)
        self.assertEqual(shown(TERM="xterm", NO_COLOR="1"), TEXT)
        self.assertEqual(shown(TERM="dumb"), TEXT)


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
