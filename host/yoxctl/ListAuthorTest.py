#!/usr/bin/env python3
"""What yoxctl does for those who write filter lists and their tests.

  ListAuthorTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json
import pathlib
import signal
import xml.etree.ElementTree

import YoxctlTest
from YoxctlTest import Yoxctl

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


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
