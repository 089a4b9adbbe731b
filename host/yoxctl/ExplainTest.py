#!/usr/bin/env python3
"""Explanations of yoxctl as a person at a prompt meets them.

  ExplainTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json
import os
import pathlib
import shutil
import subprocess

try:
    import resource
except ImportError:  # Windows has none
    resource = None

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
  registry is missing (no such key), required
    HKLM\\SOFTWARE\\Contoso\\App:Level|10
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
        self.assertRegex(done.stdout.decode(), r"sn_hash +0\*\s+[0-9a-f]{16}\.\.\.\s+serial number\n")

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

    def test_of_many_terms_the_first_are_shown_and_the_others_counted(self):
        filters = [{"tag": "none," * 299 + "Ring|stable"}]
        done = self.run_program(*self.explain(filters, "--tag", "Ring=beta"))
        for part in done.stdout.decode().split("Nearest miss"):
            lines = part.splitlines()
            self.assertEqual(sum("(no such tag)" in line for line in lines), 256)
            self.assertEqual(sum(line.strip() == "and 44 more" for line in lines), 1)
        tag = self.explained(filters, "--tag", "Ring=beta")["explain"][0]["criteria"][0]
        self.assertEqual((len(tag["parts"]), tag["parts_left_out"], tag["result"]), (256, 44, "differs"))

    def test_a_million_terms_take_little_memory(self):
        if len(YoxctlTest.PROGRAM) > 1 or YoxctlTest.is_sanitized(YoxctlTest.PROGRAM[-1]):
            self.skipTest("an emulator and a sanitizer need memory of their own")
        limit = 1 << 30
        for criterion in ("tag", "installed_items", "registry"):
            done = self.run_program(*self.explain([{criterion: "none," * 500_000 + "none"}]), preexec_fn=lambda: resource.setrlimit(
                resource.RLIMIT_AS, (limit, limit)))
            self.assertEqual((done.stderr, done.returncode), (b"", 1))
            self.assertIn(b"and 499745 more\n", done.stdout)

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


FAILURE = """\
list.test.json
  ok    [0] here
  FAIL  [1] there
        expected: applies, by filter [0]
        found:    does not apply, by filter [1]
    Filter [0]: not matched, 1 of 2 fail
      differs  country    US       DE       region
      held     mfr        Contoso  Contoso  firmware
    Filter [1]: default, decides: does not apply
    Nearest miss: filter [0], which would decide: applies
      country is DE, required US
1 passed, 1 failed
"""


class ListTests(Yoxctl):
    LIST = [{"country": "US", "mfr": "Contoso"}, {"default": "false"}]
    CASES = [{"name": "here", "profile": "device.json", "applies": True, "decided_by": 0},
             {"name": "there", "profile": "device.json", "changes": {"region": {"country_code": "DE"}},
              "applies": True, "decided_by": 0}]

    def write_test(self, cases, **document):
        self.write("list.json", self.LIST)
        self.write("list.test.json", {**document, "cases": cases})

    def test_the_summary_tells_why_a_case_failed(self):
        self.write_test(self.CASES)
        self.assert_answer(["test", "list.test.json"], 1, FAILURE)
        self.write_test(self.CASES[:1])
        self.assert_answer(["test", "list.test.json"], 0,
                           "list.test.json\n  ok    [0] here\n1 passed, 0 failed\n")

    def test_every_case_meets_its_own_device_time_version_and_tags(self):
        self.write("list.json", [{"mfr": "Fabrikam"}, {"date_range": "2027-01-01|*"}, {"target_version": "2.0"},
                                 {"tag": "Ring|beta"}, {"hardware_id": "USB*"}, {"sku": "none"}])
        device = {"profile": "device.json", "applies": True}
        usb = [{"instance_id": "USB\\1", "hardware_ids": ["USB\\VID_1050"]}]
        self.write("list.test.json", {"cases": [
            {"profile": "device.json", "applies": False},
            {**device, "decided_by": 0, "changes": {"firmware": {"manufacturer": "Fabrikam"}}},
            {**device, "decided_by": 1, "now": "2027-01-01T00:00:00"},
            {**device, "decided_by": 2, "target_version": "2.0"},
            {**device, "decided_by": 3, "tags": {"Ring": "beta"}},
            {**device, "decided_by": 4, "changes": {"devices": usb}},
            {**device, "decided_by": 5, "changes": {"firmware": None}},
            {"applies": True, "decided_by": 5},
            {"profile": "device.json", "applies": False}]})
        done = self.run_program("--format", "json", "test", "list.test.json")
        document = json.loads(done.stdout)
        self.assertEqual([one["passed"] for one in document["files"][0]["cases"]], [True] * 9, document)
        self.assertEqual((done.stderr, done.returncode, document["passed"], document["failed"]), (b"", 0, 9, 0))

    def test_json_has_the_explanation_of_what_failed(self):
        self.write_test(self.CASES)
        done = self.run_program("test", "list.test.json", "--format", "json")
        self.assertEqual((done.stderr, done.returncode), (b"", 1))
        (file,) = json.loads(done.stdout)["files"]
        good, bad = file["cases"]
        self.assertEqual(good, {"case": 0, "name": "here", "passed": True, "applies": True, "decided_by": 0,
                                "expected": {"applies": True, "decided_by": 0}, "reason": "Filter [0]: true; "})
        self.assertEqual((bad["passed"], bad["applies"], bad["decided_by"]), (False, False, 1))
        self.assertEqual(bad["explain"][0]["criteria"][0]["actual"], "DE")
        self.assertEqual(bad["nearest_miss"], {"filter": 0, "criteria": ["country"]})

    def test_files_are_found_from_the_documents_folder(self):
        folder = self.folder / "Prüfung"
        folder.mkdir()
        self.write("list.json", self.LIST)
        self.write("Prüfung/other name.json", {"list": "../list.json", "cases": [
            {"profile": "../device.json", "applies": True}]})
        self.write_test(self.CASES[:1])
        self.assert_answer(["test", "Prüfung/other name.json", "list.test.json"], 0,
                           "Prüfung/other name.json\n  ok    [0] \nlist.test.json\n  ok    [0] here\n"
                           "2 passed, 0 failed\n")

    def test_bad_input_is_told_with_its_place_before_any_case_is_run(self):
        good = {"profile": "device.json", "applies": True}
        self.write("bad.json", {"country": "US"})
        for case, message in (
                ({"applies": 1}, "list.test.json: line 1, column 69: cases[1].applies: expected true, false or null, found a number"),
                ({**good, "changes": {"region": {"country": "US"}}},
                 "list.test.json: cases[1].changes: region.country: unknown key"),
                ({**good, "now": "noon"},
                 "list.test.json: cases[1].now: clock.now: expected a local time YYYY-MM-DDThh:mm:ss"),
                ({**good, "profile": "none.json"}, "list.test.json: cases[1].profile: none.json: no such file"),
                ({**good, "profile": "bad.json"}, "list.test.json: cases[1].profile: line 1, column 2: country: unknown key")):
            self.write_test([good, case])
            self.assert_refused(["test", "list.test.json"], message)
        self.write_test([good])
        self.write("list.json", [{"contry": "US"}])
        self.assert_refused(["test", "list.test.json"], 'list.json: line 1, column 3: [0].contry: unknown key (did you mean "country"?)')
        self.assert_refused(["test", "list.json"],
                            "list.json: line 1, column 1: expected an object, found an array")
        self.write("other.json", {"list": "none.json", "cases": [good]})
        self.assert_refused(["test", "other.json"], "other.json: list: none.json: no such file")
        self.write("other.json", {"cases": [good]})
        self.assert_refused(["test", "other.json"],
                            "other.json: its name does not end in .test.json, and it names no list")
        self.assert_refused(["test", "list.test.json", "--device", "device.json"],
                            "test: the cases name their devices: --device and --state-dir are not for it")

    def test_the_example_passes(self):
        example = pathlib.Path(YoxctlTest.__file__).parents[2] / "examples/lists/editor-8.test.json"
        shutil.copytree(example.parents[1], self.folder / "examples")
        done = self.run_program("test", "examples/lists/editor-8.test.json")
        self.assertEqual((done.stderr, done.returncode), (b"", 0), done.stdout)
        self.assertTrue(done.stdout.endswith(b"5 passed, 0 failed\n"))


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
