#!/usr/bin/env python3
"""What yoxctl does for those who write filter lists and their tests.

  ListAuthorTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json
import os
import pathlib
import re
import signal
import subprocess
import unittest
import xml.etree.ElementTree

import YoxctlTest
from YoxctlTest import PROGRAM, Yoxctl

LIST = [{"country": "US", "mfr": "Contoso"}, {"tag": "Ring|beta", "value": "false"}, {"default": "true"}]
CASES = [{"name": "US Contoso", "profile": "device.json", "applies": True, "decided_by": 0},
         {"name": "de & <beta>", "profile": "device.json", "changes": {"region": {"country_code": "DE"}},
          "tags": {"Ring": "beta"}, "applies": False, "decided_by": 1}]


class TestRuns(Yoxctl):
    def setUp(self):
        super().setUp()
        self.write("list.json", LIST)
        self.write("list.test.json", {"cases": CASES})

    def test_a_directory_is_the_tests_below_it_and_a_bad_one_does_not_silence_them(self):
        (self.folder / "more").mkdir()
        self.write("more/other.json", LIST)
        self.write("more/other.test.json", {"cases": [{"applies": True}]})
        self.write("more/bad.test.json", {"cases": [{"aplies": True}]})
        done = self.run_program("test", "more", "list.test.json")
        bad = pathlib.PurePath("more/bad.test.json")
        self.assertEqual(done.stderr.decode().replace("\\", "/"),
                         f'yoxctl: {bad.as_posix()}: line 1, column 13: cases[0].aplies: unknown key '
                         '(did you mean "applies"?)\n')
        self.assertEqual(done.returncode, 2)
        self.assertTrue(done.stdout.endswith(b"3 passed, 0 failed\n"), done.stdout)

    def test_cases_are_chosen_by_name(self):
        for patterns, passed in ((["us*"], 1), (["*beta*"], 1), (["US*", "de*"], 2), (["*n*o*"], 1), (["US"], 0)):
            arguments = [argument for pattern in patterns for argument in ("--name", pattern)]
            done = self.run_program("test", "list.test.json", *arguments)
            self.assertTrue(done.stdout.endswith(f"\n{passed} passed, 0 failed\n".encode()), (patterns, done))

    def test_junit(self):
        self.write("list.test.json", {"cases": [*CASES, {"name": "wrong", "applies": False}]})
        done = self.run_program("--format", "junit", "test", "list.test.json")
        self.assertEqual((done.stderr, done.returncode), (b"", 1))
        suites = xml.etree.ElementTree.fromstring(done.stdout)
        self.assertEqual((suites.tag, suites.get("tests"), suites.get("failures")), ("testsuites", "3", "1"))
        suite, = suites
        self.assertEqual([case.get("name") for case in suite], ["[0] US Contoso", "[1] de & <beta>", "[2] wrong"])
        self.assertEqual([case.find("failure") is not None for case in suite], [False, False, True])
        self.assertIn("Filter [2]: default", suite[2].find("failure").text)

    def test_junit_has_no_character_that_xml_refuses(self):
        self.write("list.test.json", {"cases": [{**CASES[0], "name": "a\ufffeb\u0001"}]})
        done = self.run_program("--format", "junit", "test", "list.test.json")
        case = xml.etree.ElementTree.fromstring(done.stdout)[0][0]
        self.assertEqual(case.get("name"), "[0] a?b\\u0001")

    def test_coverage_names_what_no_case_reaches(self):
        self.assert_answer(["test", "--coverage", "list.test.json"], 0,
                           "list.test.json\n  ok    [0] US Contoso\n  ok    [1] de & <beta>\n"
                           "coverage of list.test.json: 3 of 6 (50 %)\n"
                           "  in no case: filter [0]: mfr is the first that fails\n"
                           "  in no case: filter [1]: tag is the first that fails\n"
                           "  in no case: filter [2] decides\n"
                           "2 passed, 0 failed\n")
        answer = json.loads(self.run_program("--format", "json", "test", "--coverage", "list.test.json").stdout)
        self.assertEqual(answer["files"][0]["coverage"],
                         {"goals": 6, "reached": 3, "missing": [{"filter": 0, "criterion": "mfr"},
                                                                {"filter": 1, "criterion": "tag"}, {"filter": 2}]})

    def test_a_threshold_decides_the_exit_code(self):
        for percent, code, complaint in (("50", 0, b""), ("51", 1, b"yoxctl: the coverage is below 51 %\n")):
            done = self.run_program("test", "--least-coverage", percent, "list.test.json")
            self.assertEqual((done.returncode, done.stderr), (code, complaint))

    def test_suggested_cases_pass_and_cover_all(self):
        done = self.run_program("test", "--suggest", "list.json")
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        self.write("list.test.json", done.stdout)
        done = self.run_program("test", "--least-coverage", "100", "list.test.json")
        self.assertEqual((done.stderr, done.returncode), (b"", 0), done.stdout)
        self.assertIn(b"coverage of list.test.json: 6 of 6 (100 %)\n3 passed, 0 failed\n", done.stdout)
        self.assert_answer(["fmt", "--check", "list.test.json"], 0, "")

    def test_what_no_case_reaches_is_said(self):
        self.write("list.json", [{"country": "US"}, {"country": "US", "mfr": "A"}])
        done = self.run_program("test", "--suggest", "list.json")
        self.assertEqual((done.stderr.decode(), done.returncode),
                         ("yoxctl: list.json: no device was found for: filter [1] decides\n"
                          "yoxctl: list.json: no device was found for: filter [1]: mfr is the first that fails\n", 1))

    def test_watching_runs_the_cases_again_after_an_edit(self):
        program = self.start_program("test", "--watch", "list.test.json")
        lines = iter(program.stdout.readline, b"")
        self.assertEqual([next(lines) for _ in range(4)][-1], b"2 passed, 0 failed\n")
        self.write("list.json", [{"default": "false"}])  # a file that the test names
        self.assertEqual(next(lines), b"list.test.json\n")
        for line in lines:
            if line.endswith(b" failed\n"):
                self.assertEqual(line, b"0 passed, 2 failed\n")
                break
        self.end(program, signal.SIGTERM)


class ManyInputs(Yoxctl):
    """Several files, directories and standard input, one of them bad."""

    def setUp(self):
        super().setUp()
        (self.folder / "lists").mkdir()
        self.write("lists/a.json", [{"country": "US"}])
        self.write("lists/b.json", [{"country": "DE"}, {"default": "false"}])
        self.write("bad.json", [{"contry": "US"}])

    def test_evaluate_decides_each_and_says_what_is_bad(self):
        done = self.run_program("--device", "device.json", "evaluate", "bad.json", "lists")
        a, b = (str(pathlib.PurePath("lists") / name) for name in ("a.json", "b.json"))
        self.assertEqual([line.rstrip() for line in done.stdout.decode().replace("\\", "/").splitlines()], [
            "lists/a.json:", "applies", "Filter [0]: true;", "", "lists/b.json:", "does not apply",
            "Filter [0]: country = false; Filter [1]: default = false;"])
        self.assertEqual((done.stderr.decode(), done.returncode), (
            'yoxctl: bad.json: line 1, column 3: [0].contry: unknown key (did you mean "country"?)\n', 2))
        done = self.run_program("--format", "json", "--device", "device.json", "evaluate", a, b)
        self.assertEqual([(one["file"], one["applies"]) for one in json.loads(done.stdout)], [(a, True), (b, False)])
        self.assertEqual(done.returncode, 1)
        self.assertEqual(self.run_program("--device", "device.json", "evaluate", a, a).returncode, 0)

    def test_standard_input_is_a_list(self):
        done = self.run_program("--device", "device.json", "evaluate", "-", given=b'[{"country": "US"}]')
        self.assertEqual((done.stdout.splitlines()[0], done.returncode), (b"applies", 0))
        done = self.run_program("--device", "device.json", "evaluate", "-", given=b'[{"contry": "US"}]')
        self.assertIn(b"yoxctl: -: line 1, column 3: ", done.stderr)
        done = self.run_program("--device", "device.json", "evaluate", "-", "-", given=b"[]")
        self.assertEqual((done.stderr, done.returncode), (b"yoxctl: standard input: can be read only once\n", 2))

    def test_the_device_may_be_on_standard_input(self):
        profile = {"region": {"country_code": "DE"}}
        done = self.run_program("--device", "-", "evaluate", "lists/b.json", given=json.dumps(profile).encode())
        self.assertEqual((done.stdout.splitlines()[0], done.returncode), (b"applies", 0))

    def test_rollout_forecasts_each(self):
        self.write("lists/a.json", [{"date_function": "2026-03-01|1|linear"}])
        done = self.run_program("--device", "device.json", "rollout", "lists", "bad.json")
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"a.json:\nfilter [0]: 2026-03-01|1|linear\n", done.stdout)
        self.assertIn(b"b.json:\nno roll-out in the list\n", done.stdout)
        done = self.run_program("--device", "device.json", "--format", "json",
                          "rollout", "-", given=b'[{"date_function": "2026-03-01|2|linear"}]')
        self.assertEqual(json.loads(done.stdout)["rollouts"][0]["days"], 2)
        self.assert_refused(["--device", "device.json", "rollout", "lists", "--plot", "a.svg"],
                            "--plot: draws the curve of one list")

    def test_facts_are_what_all_lists_of_a_directory_ask_for(self):
        done = self.run_program("--device", "device.json", "facts", "--for", "lists")
        self.assertEqual(json.loads(done.stdout), {"country": "US"})
        self.write("lists/c.json", [{"mfr": "Contoso"}])
        done = self.run_program("--device", "device.json", "facts", "--for", "lists")
        self.assertEqual(set(json.loads(done.stdout)), {"country", "mfr"})

    def test_policy_notification_and_provision_read_each(self):
        self.write("p.json", {"yox_config": {"platform_policy": {"uri": {"api_baseuri": "one"}}}})
        self.write("n.json", {"topicId": 7, "payload": "x"})
        self.write("t.json", {"provision_token": "a.b.c"})
        for command, good in ((["policy", "show"], "p.json"), (["notification", "read"], "n.json"),
                              (["--device", "device.json", "--state-dir", "state", "provision", "check"], "t.json")):
            with self.subTest(command=command):
                done = self.run_program("--format", "json", *command, "bad.json", good, good)
                self.assertEqual(done.returncode, 2)
                self.assertRegex(done.stderr, rb"\Ayoxctl: bad\.json: line 1, column 1: [^\n]*\n\Z")
                files = [pathlib.PurePath(one["file"]).name for one in json.loads(done.stdout)]
                self.assertEqual(files, [good, good])
        self.assertEqual(self.run_program("policy", "show", "-", given=(self.folder / "p.json").read_bytes()).returncode, 0)
        done = self.run_program("notification", "read", "-", given=b'{"topicId": 7}')
        self.assertEqual(json.loads(done.stdout)["topic_id"], 7)

    def test_now_is_the_moment_of_this_machine_too(self):
        for now, first, last, applies in (("2031-05-06", "2031-05-06", "2031-05-06", True),
                                          ("2031-05-06T23:59:59", "2031-05-06", "2031-05-06", True),
                                          ("2031-05-07T00:00:00", "*", "2031-05-06", False),
                                          ("2019-01-01T12:00:00", "2019-01-01", "2019-01-01", True)):
            self.write("list.json", [{"date_range": f"{first}|{last}"}, {"default": "false"}])
            done = self.run_program("--now", now, "--state-dir", "state", "evaluate", "list.json")
            self.assertEqual((done.stdout.splitlines()[0], done.stderr), (
                b"applies" if applies else b"does not apply", b""), (now, done))
        done = self.run_program("--now", "2026-03-02", "--state-dir", "state", "rollout", "--function",
                                "2026-03-01|3|linear")
        self.assertIn(b"is at day 2, ", done.stdout)
        done = self.run_program("--now", "soon", "--state-dir", "state", "tags")
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertRegex(done.stderr, rb"\Ayoxctl: --now: [^\n]*\n\Z")

    def test_now_is_the_moment_of_cases_that_name_none(self):
        self.write("list.json", [{"date_range": "2031-05-06|2031-05-06"}, {"default": "false"}])
        facts = {"time_zone": "UTC"}
        cases = [{"name": "profile", "profile": "device.json", "applies": True}, {"facts": facts, "applies": True},
                 {"name": "of its own", "profile": "device.json", "now": "2031-05-07T12:00:00", "applies": False}]
        self.write("list.test.json", {"cases": cases})
        for now, passed in (("2031-05-06", 3), ("2031-05-06T23:59:59", 3), ("2031-05-08", 1)):
            done = self.run_program("--now", now, "test", "list.test.json")
            self.assertTrue(done.stdout.endswith(f"\n{passed} passed, {3 - passed} failed\n".encode()), (now, done))
        done = self.run_program("--now", "soon", "test", "list.test.json")
        self.assertEqual((done.returncode, done.stdout), (2, b""))

    def test_now_is_the_moment_for_a_fleet(self):
        self.write("list.json", [{"date_range": "2031-05-06|2031-05-06"}, {"default": "false"}])
        self.write("facts.jsonl", b'{"time_zone": "UTC"}\n')
        for moment, applies in (("2031-05-06T12:00:00+00:00", 1), ("2031-05-08T12:00:00+00:00", 0)):
            for option in ("--now", "--at"):
                done = self.run_program("--format", "json", "fleet", "decide", "list.json", "--facts", "facts.jsonl",
                                        option, moment)
                self.assertEqual(json.loads(done.stdout)["applies"], applies, (option, moment))
        self.assert_refused(["--now", "2031-05-06", "fleet", "decide", "list.json", "--facts", "facts.jsonl",
                             "--at", "2031-05-06T12:00:00Z"], "--at: is a moment as --now is; give one of them")

    def test_an_offset_of_now_counts(self):
        self.write("list.json", [{"date_range": "*|*"}])
        early, late = (json.loads(self.run_program(
            "--format", "json", "--now", now, "--state-dir", "state", "rollout", "--function",
            "2026-03-01|9|linear").stdout)["rollouts"][0]["today"]
            for now in ("2026-03-04T12:00:00+12:00", "2026-03-04T12:00:00-12:00"))
        self.assertEqual(late - early, 1)


class StandardInput(Yoxctl):
    """Every command that reads a document reads it from standard input."""

    # The arguments, of which {} is the document, and the document.
    LIST = b'[{"country": "US", "registry": "HKLM\\\\SOFTWARE\\\\A:B=C"}, {"default": "false"}]'
    POLICY = b'{"yox_config": {"platform_policy": {"uri": {"api_baseuri": "one"}}}}'
    FACTS = b'{"id": "d1", "country": "US"}\n{"id": "d2", "country": "DE"}\n'
    TEST = b'{"list": "list.json", "cases": [{"name": "a", "applies": false}]}'
    ROWS = {
        "evaluate FILTERS.json": (["--device", "device.json", "evaluate", "{}"], LIST),
        "evaluate --facts": (["--now", "2026-03-01T12:00:00+00:00", "evaluate", "list.json", "--facts", "{}"],
                             b'{"country": "DE"}'),
        "lint LIST.json": (["lint", "{}"], LIST),
        "lint --facts": (["lint", "list.json", "--facts", "{}"], FACTS),
        "fmt FILE.json": (["fmt", "--check", "{}"], LIST),
        "rollout LIST.json": (["--device", "device.json", "rollout", "{}"], LIST),
        "facts --for": (["--device", "device.json", "facts", "--for", "{}"], LIST),
        "test LIST.test.json": (["test", "{}"], TEST),
        "test --suggest": (["test", "--suggest", "{}"], b'[{"country": "US"}, {"default": "false"}]'),
        "policy show POLICY.json": (["policy", "show", "{}"], POLICY),
        "policy accumulate POLICY.json": (["policy", "accumulate", "{}"], POLICY),
        "policy update-certificates POLICY.json": (
            ["--device", "device.json", "--state-dir", "state", "policy", "update-certificates", "{}"], POLICY),
        "provision check FILE": (["--device", "device.json", "provision", "check", "{}"],
                                 b'{"provision_token": "a.b.c"}'),
        "registry import FILE.reg": (
            ["--device", "device.json", "registry", "import", "{}"],
            b'Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\r\n"B"="C"\r\n'),
        "notification read FILE.json": (["notification", "read", "{}"], b'{"topicId": 7, "payload": "x"}'),
        "fleet decide LIST.json": (["fleet", "decide", "{}", "--facts", "facts.jsonl"], LIST),
        "fleet decide --facts": (["fleet", "decide", "list.json", "--facts", "{}"], FACTS),
        "fleet diff OLD.json": (["fleet", "diff", "{}", "list.json", "--facts", "facts.jsonl"], LIST),
        "fleet diff NEW.json": (["fleet", "diff", "list.json", "{}", "--facts", "facts.jsonl"], LIST),
        "fleet rollout LIST.json": (["fleet", "rollout", "{}", "--facts", "facts.jsonl"], LIST),
        "fleet report LIST.json": (["fleet", "report", "{}", "--facts", "facts.jsonl", "--html", "page.html"], LIST),
        "--device": (["--device", "{}", "evaluate", "list.json"], b'{"region": {"country_code": "US"}}')}
    # Positional arguments that are no documents, or are read as long as the program runs.
    OTHERS = {"explain-field NAME", "hash TEXT", "registry get KEY", "registry get NAME", "registry set KEY",
              "registry set NAME", "registry set DATA", "registry delete KEY", "registry delete NAME",
              "registry list KEY", "registry watch KEY", "registry export KEY", "registry export FILE.reg",
              "watch FILTERS.json", "fleet import SOURCE", "notification build"}

    def test_it_is_read_as_a_file_is(self):
        self.write("list.json", [{"country": "DE"}, {"default": "false"}])
        self.write("facts.jsonl", self.FACTS)
        for row, (arguments, document) in self.ROWS.items():
            with self.subTest(row):
                name = ("document.jsonl" if document == self.FACTS else
                        "document.test.json" if "test.json" in row else "document.json")
                self.write(name, document)
                of_file = self.run_program(*(argument.replace("{}", name) for argument in arguments))
                done = self.run_program(*(argument.replace("{}", "-") for argument in arguments), given=document)

                def plain(output):
                    """Without the names of the document, with their folders or not."""
                    text = re.sub(rb'[^\s"]*\b' + re.escape(name.encode()), b"-", output)
                    return text.replace(b"standard input", b"-").replace(b"standard output", b"-")

                self.assertNotIn(b"usage", of_file.stderr.lower())
                self.assertIn(of_file.returncode, (0, 1), of_file)
                self.assertEqual((done.returncode, plain(done.stdout), plain(done.stderr)),
                                 (of_file.returncode, plain(of_file.stdout), plain(of_file.stderr)))

    def test_the_rows_are_all_commands_that_take_documents(self):
        named = {" ".join([*command, name]) for command, page in self.commands()
                 for name in re.findall(r"^  ([A-Z][A-Za-z.]*) ", page.split("Options:")[0], re.MULTILINE)}
        rows = {row for row in self.ROWS if "--" not in row}
        self.assertEqual(named - self.OTHERS, rows)

    def test_the_list_to_watch_is_read(self):
        self.write("list.json", [{"country": "US"}])
        with open(self.folder / "list.json", "rb") as document:
            program = self.start_program("--device", "device.json", "watch", "-", stdin=document)
        self.assertEqual(program.stdout.readline().rstrip(), b"watching 0 devices")
        self.assertEqual(program.stdout.readline().rstrip(), b"applies: Filter [0]: true;")
        self.end(program, signal.SIGTERM)

    def test_a_provision_file_is_held_to_the_same_limits(self):
        for document, complaint in ((b"\xef\xbb\xbf{}", b"yoxctl: -: line 1, column 1: "),
                                    (b" " * (1 << 20) + b"{}", b"standard input: "), (b"{", b"-: line 1, column 2: ")):
            done = self.run_program("--device", "device.json", "provision", "check", "-", given=document)
            self.assertEqual(done.returncode, 2)
            self.assertIn(complaint, done.stderr)

    def test_what_cannot_be_read_again_cannot_be_watched(self):
        self.assert_refused(["test", "--watch", "-"], "--watch: standard input can be read only once")


@unittest.skipIf(os.name == "nt" or len(PROGRAM) > 1, "needs a terminal of its own")
class Terminal(Yoxctl):
    def test_tables_are_as_wide_as_the_terminal(self):
        import fcntl
        import pty
        import struct
        import termios
        self.write("list.json", [{"tag": "A|b", "mfr": "Contoso", "date_function": "2026-03-01|14|linear"}])
        def longest(columns, *arguments):
            main, other = pty.openpty()
            fcntl.ioctl(other, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            program = subprocess.Popen([*PROGRAM, "--color", "never", "--device", "device.json", *arguments],
                                       cwd=self.folder, stdout=other, stderr=subprocess.DEVNULL)
            os.close(other)
            output = b""
            try:
                while piece := os.read(main, 65536):
                    output += piece
            except OSError:  # the other side is closed
                pass
            os.close(main)
            program.wait(timeout=60)
            return max(len(line) for line in output.decode().replace("\r", "").splitlines()[2:])

        for arguments in (["evaluate", "list.json", "--explain"], ["device"], ["explain-field", "hardware_id"]):
            with self.subTest(arguments):
                for columns in (80, 120) if arguments == ["device"] else (60, 120):  # a word stays whole
                    self.assertLessEqual(longest(columns, *arguments), columns)
        self.assertGreater(longest(120, "evaluate", "list.json", "--explain"), 76)
        self.assertGreater(longest(120, "device"), 80)


class LintOfFacts(Yoxctl):
    def setUp(self):
        super().setUp()
        facts = [{"id": f"d{number}", "country": "DE", "mfr": "Contoso Ltd.", "tags": {"Ring": "beta"}}
                 for number in range(812)]
        self.write("fleet.jsonl", b"".join(json.dumps(one).encode() + b"\n" for one in facts))

    def test_what_no_device_has_is_said_with_the_nearest(self):
        self.write("list.json", [{"mfr": "Contoso", "tag": "Rng|beta"}, {"country": "DE,SE"}, {"default": "false"}])
        self.assert_answer(["lint", "--facts", "fleet.jsonl", "list.json"], 0, (
            'list.json:1:11: warning: filter [0]: mfr: "Contoso": no device of the facts documents has this '
            '(did you mean "Contoso Ltd.": 812 devices) [no-device]\n'
            "    write what devices have, or wait until some have it\n"
            'list.json:1:29: warning: filter [0]: tag: "Rng|beta": no device of the facts documents has this '
            '(did you mean "Ring": 812 devices) [no-device]\n'
            "    write what devices have, or wait until some have it\n"
            'list.json:1:57: warning: filter [1]: country: "SE": no device of the facts documents has this [no-device]\n'
            "    write what devices have, or wait until some have it\n"
            "0 errors, 3 warnings\n"))
        found = json.loads(self.run_program("--format", "json", "lint", "--facts", "fleet.jsonl", "list.json").stdout)
        self.assertEqual(found["findings"][0]["fix"], {"offset": 0, "length": 7, "replacement": "Contoso Ltd."})
        self.assertEqual(self.run_program("lint", "--strict", "--facts", "fleet.jsonl", "list.json").returncode, 1)

    def test_several_lists_are_checked_in_one_reading(self):
        self.write("a.json", [{"country": "SE"}, {"default": "false"}])
        self.write("b.json", [{"country": "DE"}, {"default": "false"}])
        answer = json.loads(self.run_program("--format", "json", "lint", "--facts", "fleet.jsonl", "a.json", "b.json").stdout)
        self.assertEqual([one["file"] for one in answer["findings"]], ["a.json"])

    def test_a_line_that_is_no_facts_document_is_left_out_and_said(self):
        with open(self.folder / "fleet.jsonl", "ab") as fleet:
            fleet.write(b'{"contry": "SE"}\n')
        self.write("list.json", [{"country": "DE"}, {"default": "false"}])
        done = self.run_program("lint", "--facts", "fleet.jsonl", "list.json")
        self.assertEqual((done.stdout, done.returncode), (b"nothing found\n", 0))
        self.assertIn(b"fleet.jsonl, line 813", done.stderr)


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
