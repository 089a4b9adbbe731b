#!/usr/bin/env python3
"""yoxctl as a person at a prompt meets it: what goes in, what comes out, and the exit code.

  YoxctlTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import base64
import contextlib
import errno
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import unittest
import urllib.parse
import xml.etree.ElementTree

PROGRAM = []
MIB = 1 << 20

PROFILE = {
    "clock": {"now": "2026-03-01T12:00:00"},
    "client": {"version": "4.2.10.0"},
    "firmware": {"manufacturer": "Contoso", "serial_number": "C0FFEE12", "sku": "F14"},
    "os": {"version": "10.0.22631.4460", "caption": "Microsoft Windows 11 Pro", "architecture": 9},
    "region": {"country_code": "US", "language_code": "en-US"},
}


def is_sanitized(program):
    """Whether a sanitizer's runtime is in the program: its memory and its threads are its own."""
    return re.search(rb"__[at]san_init", pathlib.Path(program).read_bytes()) is not None


class Yoxctl(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.write("device.json", PROFILE)

    def write(self, name, document):
        data = document if isinstance(document, bytes) else json.dumps(document).encode()
        (self.folder / name).write_bytes(data)

    def run_program(self, *arguments, given=None, **options):
        """A run with `given` on standard input."""
        standard_input = {"stdin": subprocess.DEVNULL} if given is None else {"input": given}
        return subprocess.run([*PROGRAM, *arguments], cwd=self.folder, stderr=subprocess.PIPE, timeout=60,
                              **{"stdout": subprocess.PIPE, **standard_input, **options})

    def commands(self, *group):
        """Every command, as a list of words, with its help; groups are left out."""
        page = self.run_program(*group, "--help").stdout.decode().replace("\r", "")
        _, is_group, names = page.partition("\nSubcommands:\n")
        if not is_group:
            return [(list(group), page)]
        return [found for name in re.findall(r"^  ([a-z][a-z-]*)", names.split("\n\n")[0], re.MULTILINE)
                for found in self.commands(*group, name)]

    def start_program(self, *arguments, stdin=subprocess.DEVNULL):
        """A program that goes on until the test ends it; what it complains of goes into a file."""
        with open(self.folder / "errors", "wb") as errors:
            program = subprocess.Popen([*PROGRAM, *arguments], cwd=self.folder, stdin=stdin,
                                       stdout=subprocess.PIPE, stderr=errors)
        self.addCleanup(program.communicate)
        self.addCleanup(program.kill)
        return program

    def errors(self):
        return (self.folder / "errors").read_bytes()

    def until_told(self, program, complaint):
        while complaint not in self.errors():
            self.assertIsNone(program.poll(), self.errors())
            self.run_program("--version")  # takes a while

    def end(self, program, how):
        if len(PROGRAM) > 1:
            return  # a signal would reach the emulator alone
        program.send_signal(how)
        program.communicate(timeout=60)
        self.assertEqual((self.errors(), program.returncode), (b"", 0))

    def assert_answer(self, arguments, code, output):
        done = self.run_program(*arguments)
        self.assertEqual((done.stderr.decode(), done.stdout.decode(), done.returncode), ("", output, code))

    def assert_refused(self, arguments, message):
        done = self.run_program(*arguments)
        self.assertEqual((done.stderr.decode(), done.stdout, done.returncode),
                         (f"yoxctl: {message}\n", b"", 2))

    def assert_refused_at_a_place(self, arguments, name, message):
        """The message is behind the file's name, a line and a column."""
        done = self.run_program(*arguments)
        self.assertRegex(done.stderr.decode(), rf"\Ayoxctl: {re.escape(name)}: line \d+, column \d+: ")
        self.assertEqual((re.sub(r"line \d+, column \d+: ", "", done.stderr.decode(), count=1), done.stdout, done.returncode),
                         (f"yoxctl: {name}: {message}\n", b"", 2))

    def assert_former_file_stays(self, name, room, arguments):
        """The command would write more into the file than there is room on the disk."""
        if len(PROGRAM) > 1:
            self.skipTest("the emulator writes files of its own")
        self.write(name, b"former")
        before = sorted(self.folder.iterdir())
        done = self.run_program(*arguments, restore_signals=False,
                                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (room, room)))
        self.assertEqual((done.stderr.decode(), done.stdout, done.returncode),
                         (f"yoxctl: {name}: cannot be written\n", b"", 2))
        self.assertEqual((self.folder / name).read_bytes(), b"former")
        self.assertEqual(sorted(self.folder.iterdir()), before)

    def evaluate(self, filters, *arguments):
        self.write("filters.json", filters)
        return ["--device", "device.json", "evaluate", "filters.json", *arguments]


class Evaluate(Yoxctl):
    def test_a_list_that_applies(self):
        self.assert_answer(self.evaluate([{"country": "US,CA", "version": ">=4.2"}]), 0,
                           "applies\nFilter [0]: true; \n")

    def test_a_list_that_does_not_apply(self):
        self.assert_answer(self.evaluate({"filters": [{"country": "DE"}, {"default": "false"}]}), 1,
                           "does not apply\nFilter [0]: country = false; Filter [1]: default = false; \n")

    def test_json_is_one_document(self):
        for country, code in (("US", 0), ("DE", 1)):
            done = self.run_program("--format", "json", *self.evaluate([{"country": country}]))
            self.assertEqual((done.stderr, done.returncode), (b"", code))
            reason = "Filter [0]: true; " if code == 0 else "Filter [0]: country = false; "
            self.assertEqual(json.loads(done.stdout), {"applies": code == 0, "reason": reason})

    def test_the_profile_gives_date_firmware_and_client_version(self):
        self.assert_answer(self.evaluate([{
            "date_range": "2026-03-01|2026-03-01", "mfr": "contoso", "sku": "F14", "version": "4.2.10.0",
            "os_bitness": "64", "os_description": "*11 Pro", "language": "en*"}]), 0,
            "applies\nFilter [0]: true; \n")

    def test_tags_of_the_caller(self):
        filters = [{"tag": "Ring|beta,Größe|>5"}]
        self.assert_answer(self.evaluate(filters, "--tag", "Ring=beta", "--tag", "Größe=7"), 0,
                           "applies\nFilter [0]: true; \n")
        self.assert_answer(self.evaluate(filters, "--tag", "Ring=beta", "--tag", "Größe=5"), 1,
                           "does not apply\nFilter [0]: tag = false; \n")
        self.assert_answer(self.evaluate([{"tag": "a|b=c"}], "--tag=a=b=c"), 0,
                           "applies\nFilter [0]: true; \n")

    def test_the_target_version(self):
        filters = [{"target_version": ">=2.0"}]
        self.assert_answer(self.evaluate(filters, "--target-version", "2.1"), 0,
                           "applies\nFilter [0]: true; \n")
        self.assert_answer(self.evaluate(filters, "--target-version", "1.9"), 1,
                           "does not apply\nFilter [0]: target_version = false; \n")
        self.assert_answer(self.evaluate(filters), 1, "does not apply\nFilter [0]: \n")

    def test_options_of_the_program_may_stand_behind_the_command(self):
        self.write("filters.json", [])
        self.assert_answer(["evaluate", "filters.json", "--device", "device.json"], 0, "applies\n\n")

    def test_this_machine_answers_without_a_device(self):
        self.write("filters.json", [{"default": "true"}])
        self.assert_answer(["evaluate", "filters.json"], 0, "applies\n\n")
        self.write("filters.json", [{"country": "no such country"}])
        self.assert_answer(["evaluate", "filters.json"], 1, "does not apply\nFilter [0]: country = false; \n")

    def test_the_first_decision_of_the_readme_is_the_programs(self):
        root = pathlib.Path(__file__).resolve().parents[2]
        readme = (root / "README.md").read_text(encoding="utf-8")
        arguments, answer = re.search(r"^\$ scripts/run (.*)\n((?:.*\n)*?)```", readme, re.MULTILINE).groups()
        done = subprocess.run([*PROGRAM, *arguments.split()], cwd=root, capture_output=True, timeout=60)
        self.assertEqual((done.stderr, done.stdout.decode(), done.returncode), (b"", answer, 1))

    def test_names_of_files_are_unicode(self):
        self.write("Gerät 設備.json", PROFILE)
        self.write("filters.json", [{"country": "US"}])
        self.assert_answer(["--device", "Gerät 設備.json", "evaluate", "filters.json"], 0,
                           "applies\nFilter [0]: true; \n")
        self.assert_refused(["--device", "Gerät 装置.json", "evaluate", "filters.json"],
                            "Gerät 装置.json: no such file")

    def test_nothing_is_left_behind(self):
        (self.folder / "temporary").mkdir()
        environment = {**os.environ, "TMPDIR": str(self.folder / "temporary"),
                       "HOME": str(self.folder), "XDG_STATE_HOME": str(self.folder)}
        self.run_program(*self.evaluate([{"registry": "HKLM\\SOFTWARE\\Contoso:Level|1"}]), env=environment)
        self.assertEqual(sorted(os.listdir(self.folder)), ["device.json", "filters.json", "temporary"])
        self.assertEqual(os.listdir(self.folder / "temporary"), [])

    def test_a_device_is_read_from_its_profile_alone(self):
        if len(PROGRAM) > 1 or not shutil.which("strace") or subprocess.call(["strace", "-o", os.devnull, "true"]):
            self.skipTest("nobody tells what the program asks the system for")
        self.write("device.json", {
            **PROFILE, "organisation": {"realm": "contoso", "subscriptions": ["1b4e28ba-2fa1"]}, "devices": [KEY],
            "installed_apps": [{"key": "{1}", "name": "Contoso Editor", "version": "7.1.0"}]})
        filters = {criterion: "*" for criterion in EVERY_CRITERION}
        filters.update({"date_range": "*|*", "date_function": "2020-01-05|28|linear", "version": "!0.0",
                        "os_version": "!0.0", "target_version": "!0.0",
                        "registry": "HKLM\\SOFTWARE\\Tervan\\YOX\\Organisation:Realm|contoso"})
        arguments = self.evaluate([filters], "--target-version", "2.0")
        (self.folder / "temporary").mkdir()
        (self.folder / "openssl.cnf").touch()
        done = subprocess.run(
            ["strace", "-f", "-qq", "-e", "trace=%file,%network", "-o", "calls", *PROGRAM, *arguments],
            cwd=self.folder, capture_output=True, timeout=60,
            env={**os.environ, "TMPDIR": str(self.folder / "temporary"), "ASAN_OPTIONS": "detect_leaks=0",
                 "OPENSSL_CONF": str(self.folder / "openssl.cnf")})
        self.assertEqual((done.stderr, done.stdout), (b"", b"applies\nFilter [0]: true; \n"))
        calls = (self.folder / "calls").read_text().splitlines()
        own = re.compile(r'"(filters\.json|device\.json|%s/temporary[^"]*|/proc/self/[^"]*|State|Shared|\w+Cached\.json|\.|)"'
                         % re.escape(str(self.folder)))
        begin = next(number for number, call in enumerate(calls) if '"filters.json", {' in call)
        loaded = [call for call in calls[:begin] if re.search(r" open\w*\(|socket", call)
                  and not re.search(r'\.so\b|/ld\.so|"/proc/self/|/tsan\.', call)]
        self.assertEqual(loaded + [call for call in calls[begin:] if "(" in call and not own.search(call)], [])

    def test_state_is_kept_where_it_is_told(self):
        for arguments in (self.evaluate([]), ["evaluate", "filters.json"]):
            with self.subTest(arguments=arguments):
                state = self.folder / f"state-{len(arguments)}"
                done = self.run_program("--state-dir", state.name, *arguments)
                self.assertEqual((done.stderr, done.returncode), (b"", 0))
                self.assertTrue(list(state.rglob("MachineInformationCached.json")))


class Lint(Yoxctl):
    def lint(self, filters, *arguments):
        self.write("list.json", filters)
        return ["lint", "list.json", *arguments]

    def test_of_a_million_mistakes_the_first_are_shown(self):
        if len(PROGRAM) > 1 or is_sanitized(PROGRAM[-1]):
            self.skipTest("an emulator and a sanitizer need memory of their own")
        limit = 1 << 30
        done = self.run_program("--format", "json", *self.lint([{"country": "," * 1_000_000}]), preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_AS, (limit, limit)))
        self.assertEqual((done.stderr, done.returncode), (b"", 1))
        findings = json.loads(done.stdout)["findings"]
        self.assertEqual(len(findings), 100)
        self.assertIn("(the text is not checked after this)", findings[-1]["message"])

    def test_a_good_list(self):
        self.assert_answer(self.lint([{"country": "US"}, {"default": "false"}]), 0, "nothing found\n")

    def test_findings_stand_at_their_places(self):
        self.assert_answer(self.lint(b'[{"country": "US", "value": "false"},\n {"family": "a*b"}]'), 1,
                           'list.json:2:14: error: filter [1]: family: "a*b": a `*` that is at no end matches '
                           'every value [inner-star]\n'
                           '    put `*` at the beginning or the end, or write the texts out\n'
                           '1 error, 0 warnings\n')

    def test_warnings_alone_are_no_failure(self):
        done = self.run_program(*self.lint([{"family": "Falcon *"}]))
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertTrue(done.stdout.endswith(b"\n0 errors, 1 warning\n"))
        self.assertEqual(self.run_program(*self.lint([{"family": "Falcon *"}], "--strict")).returncode, 1)
        self.assertEqual(self.run_program(*self.lint([{"family": "Falcon*"}], "--strict")).returncode, 0)

    def test_json_names_file_filter_criterion_and_column(self):
        self.write("good.json", [{"country": "US"}])
        done = self.run_program("--format", "json", *self.lint([{"country": "US"}, {"tag": "a,b|<"}]), "good.json")
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        answer = json.loads(done.stdout)
        self.assertEqual((answer["errors"], answer["warnings"]), (1, 0))
        finding, = answer["findings"]
        self.assertEqual({key: finding[key] for key in finding if key not in ("message", "remedy")},
                         {"file": "list.json", "filter": 1, "criterion": "tag", "line": 1, "column": 34,
                          "offset": 4, "length": 1, "rule": "number-unreadable", "severity": "error"})

    def test_today_is_the_devices(self):
        filters = [{"date_range": "*|2026-02-28"}]
        self.assertIn(b"[window-past]", self.run_program("--device", "device.json", *self.lint(filters)).stdout)
        self.write("device.json", {"clock": {"now": "2026-02-28T23:00:00"}})
        self.assert_answer(["--device", "device.json", *self.lint(filters)], 0, "nothing found\n")

    def test_what_is_no_list_is_refused(self):
        self.assert_refused(self.lint([{"contry": "US"}]), "list.json: line 1, column 3: [0].contry: unknown key "
                            '(did you mean "country"?)')
        self.assert_refused(["lint", "none.json"], "none.json: no such file")
        self.write("good.json", [])

    def test_one_bad_file_does_not_silence_the_others(self):
        self.write("good.json", [{"country": "US"}])
        self.write("bad.json", [{"country": "USA"}])
        done = self.run_program("lint", "good.json", "none.json", "bad.json")
        self.assertEqual((done.stderr, done.returncode), (b"yoxctl: none.json: no such file\n", 2))
        self.assertIn(b'bad.json:1:15: error: filter [0]: country: "USA": no country has this code (did you mean "US"?) '
                      b"[country-unknown]\n", done.stdout)

    def test_a_directory_is_the_lists_below_it(self):
        (self.folder / "lists/more").mkdir(parents=True)
        self.write("lists/b.json", [{"country": "USA"}])
        self.write("lists/more/a.json", {"filters": [{"country": "UK"}]})
        self.write("lists/device.json", PROFILE)
        self.write("lists/b.test.json", {"cases": [{"applies": True}]})
        found = json.loads(self.run_program("--format", "json", "lint", "lists").stdout)["findings"]
        self.assertEqual([pathlib.PurePath(one["file"]).as_posix() for one in found],
                         ["lists/b.json", "lists/more/a.json"])
        (self.folder / "none").mkdir()
        self.assert_refused(["lint", "none"], "none: no such documents below it")

    def test_standard_input(self):
        done = subprocess.run([*PROGRAM, "lint", "-"], input=b'[{"model": "a*b"}]', capture_output=True, timeout=60)
        self.assertEqual((done.stderr, done.returncode), (b"", 1))
        self.assertTrue(done.stdout.startswith(b"-:1:13: error: "), done.stdout)
        done = subprocess.run([*PROGRAM, "lint", "-"], input=b"[", capture_output=True, timeout=60)
        self.assertEqual((done.stderr, done.returncode), (
            b"yoxctl: -: line 1, column 2: expected a value, found the end of the document\n", 2))

    def test_now_is_the_day_of_the_check(self):
        filters = [{"date_range": "*|2026-02-28"}]
        for now, found in (("2026-02-28", b"nothing found\n"), ("2026-03-01T00:00:00", b"[window-past]")):
            self.assertIn(found, self.run_program("--now", now, *self.lint(filters)).stdout)
        self.assert_refused(["--now", "soon", *self.lint(filters)],
                            "--now: expected a local time YYYY-MM-DDThh:mm:ss")

    def test_what_a_comment_allows_is_counted_and_no_failure(self):
        filters = [{"model": "a*b", "comment": "lint: allow inner-star: the model has one"}, {"default": "false"}]
        self.assertEqual(self.run_program(*self.lint(filters)).returncode, 1)  # unreachable
        filters[1] = {"comment": "lint: allow unreachable: as above", **filters[1]}
        self.assert_answer(self.lint(filters), 0, "nothing found, 2 allowed\n")
        answer = json.loads(self.run_program("--format", "json", *self.lint(filters)).stdout)
        self.assertEqual((answer["errors"], answer["findings"]), (0, []))
        self.assertEqual([one["reason"] for one in answer["allowed"]], ["the model has one", "as above"])

    def test_sarif_has_rules_places_and_what_is_allowed(self):
        filters = [{"model": "a*b", "comment": "lint: allow inner-star: a, b"}, {"country": "DE,UK"}]
        done = self.run_program("--format", "sarif", *self.lint(filters))
        log = json.loads(done.stdout)
        run, = log["runs"]
        self.assertEqual((log["version"], done.returncode), ("2.1.0", 1))
        rules = run["tool"]["driver"]["rules"]
        for result in run["results"]:
            self.assertEqual(rules[result["ruleIndex"]]["id"], result["ruleId"])
        unknown, = [one for one in run["results"] if one["ruleId"] == "country-unknown"]
        place = unknown["locations"][0]["physicalLocation"]
        self.assertEqual(place["artifactLocation"]["uri"], "list.json")
        column = json.dumps(filters).index("UK") + 1
        self.assertEqual(place["region"], {"startLine": 1, "startColumn": column, "endLine": 1, "endColumn": column + 2})
        self.assertEqual([one["suppressions"] for one in run["results"] if "suppressions" in one],
                         [[{"kind": "inSource", "justification": "a, b"}]])

    def test_sarif_names_a_file_by_a_reference(self):
        name = "a b%ä.json"
        (self.folder / name).write_text('[{"country": "USA"}]', encoding="utf-8")
        quoted = urllib.parse.quote(name)
        for argument, start in ((name, ""), (str(self.folder / name), "file:///" if len(PROGRAM) == 1 else "")):
            log = json.loads(self.run_program("--format", "sarif", "lint", argument).stdout)
            uri = log["runs"][0]["results"][0]["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
            self.assertTrue(uri.startswith(start) and uri.endswith(quoted), uri)
            self.assertNotRegex(uri, "[^-A-Za-z0-9._~/:%]")

    def test_github_reads_one_command_for_each_finding(self):
        self.write("a,b.json", [{"model": "50%*x"}])
        self.assertRegex(self.run_program("--format", "github", "lint", "a,b.json").stdout.decode(),
                         r"\A::error file=a%2Cb.json,line=1,col=13,endLine=1,endColumn=18,title=inner-star"
                         r"::filter \[0\]: model: \"50%25\*x\": [^\n]*%0A[^\n]*\n\Z")


class Fmt(Yoxctl):
    UGLY = b'{"filters":[{"value":"false","country":"US","comment":["why"]},{"default":"true"}]}'
    LAID_OUT = (b'{\n  "filters": [\n    { "value": "false", "country": "US", "comment": ["why"] },\n'
                b'    { "default": "true" }\n  ]\n}\n')

    def test_a_file_is_laid_out_once(self):
        self.write("list.json", self.UGLY)
        self.assert_answer(["fmt", "list.json"], 0, "list.json\n")
        self.assertEqual((self.folder / "list.json").read_bytes(), self.LAID_OUT)
        self.assert_answer(["fmt", "list.json"], 0, "")

    def test_check_and_diff_write_nothing(self):
        self.write("list.json", self.UGLY)
        self.write("good.json", self.LAID_OUT)
        self.assert_answer(["fmt", "--check", "list.json", "good.json"], 1, "list.json\n")
        done = self.run_program("fmt", "--diff", "list.json", "good.json")
        self.assertEqual((done.stderr, done.returncode), (b"", 1))
        self.assertEqual((self.folder / "list.json").read_bytes(), self.UGLY)
        self.assert_answer(["fmt", "--check", "--diff", "good.json"], 0, "")
        if shutil.which("patch"):
            subprocess.run(["patch", "-s", "list.json"], input=done.stdout, cwd=self.folder, check=True, timeout=60)
            self.assertEqual((self.folder / "list.json").read_bytes(), self.LAID_OUT)

    def test_the_diff_has_hunks_with_three_lines_around_them(self):
        lines = [f'  {{ "model": "A{i}" }}' for i in range(30)]
        before = list(lines)
        before[5] = before[5].replace("{ ", "{")
        before[25] = before[25].replace(": ", ":")
        self.write("list.json", ("[\n" + ",\n".join(before) + "\n]\n").encode())
        diff = self.run_program("fmt", "--diff", "list.json").stdout.decode()
        self.assertEqual([line for line in diff.splitlines() if line.startswith("@@")],
                         ["@@ -4,7 +4,7 @@", "@@ -24,7 +24,7 @@"])
        self.assertEqual([line for line in diff.splitlines()[2:] if line[0] in "-+"],
                         ["-" + before[5] + ",", "+" + lines[5] + ",", "-" + before[25] + ",", "+" + lines[25] + ","])

    def test_standard_input_goes_to_standard_output(self):
        done = subprocess.run([*PROGRAM, "fmt", "-"], input=self.UGLY, capture_output=True, timeout=60)
        self.assertEqual((done.stdout, done.stderr, done.returncode), (self.LAID_OUT, b"", 0))

    def test_the_examples_are_laid_out(self):
        examples = pathlib.Path(__file__).parents[2] / "examples"
        self.assert_answer(["fmt", "--check", str(examples)], 0, "")

    def test_a_directory_and_a_bad_file(self):
        (self.folder / "lists").mkdir()
        self.write("lists/a.json", self.UGLY)
        self.write("lists/a.test.json", {"cases": [{"applies": True}]})
        self.write("lists/device.json", b'{"os":{}}')
        self.write("bad.json", b"[{]")
        done = self.run_program("fmt", "bad.json", "lists")
        self.assertEqual(done.returncode, 2)
        self.assertEqual(done.stderr, b'yoxctl: bad.json: line 1, column 3: expected a key or "}", found "]"\n')
        self.assertEqual([pathlib.PurePath(name).as_posix() for name in done.stdout.decode().splitlines()],
                         ["lists/a.json", "lists/a.test.json"])
        self.assertEqual((self.folder / "lists/device.json").read_bytes(), b'{"os":{}}')


class Fields(Yoxctl):
    def test_a_field_has_meaning_form_examples_and_the_devices_value(self):
        self.assert_answer(["--device", "device.json", "explain-field", "country"], 0,
                           "country   the device's country code, of ISO 3166-1\n"
                           "form      text alternatives separated by commas: `text`, `text*`, `*text`,\n"
                           "          `*text*`, and `!` before any of these for the opposite; letter\n"
                           "          case is ignored\n"
                           'example   "country": "US,CA"\nexample   "country": "!DE"\n'
                           "device    US (region)\n")

    def test_every_field_of_the_schema_is_explained(self):
        schema = pathlib.Path(__file__).parents[2] / "schemas/filter-list.schema.json"
        fields = json.loads(schema.read_text(encoding="utf-8"))["$defs"]["filter"]["properties"]
        for field in fields.keys() - {"comment"}:
            done = self.run_program("--device", "device.json", "--format", "json", "explain-field", field)
            self.assertEqual((done.stderr, done.returncode), (b"", 0), field)
            answer = json.loads(done.stdout)
            self.assertEqual(bool(answer["device"]), field not in ("default", "value"), field)
            for example in answer["examples"]:
                self.write("list.json", [{"model": "A1", "value": "false"}, {"model": "A2"}, {field: example}])
                self.assertEqual(self.run_program("--now", "2026-01-20", "lint", "--strict", "list.json").stdout,
                                 b"nothing found\n", (field, example))

    def test_another_name_is_answered_with_the_nearest(self):
        self.assert_refused(["explain-field", "contry"],
                            'explain-field: there is no field "contry" (did you mean "country"?)')

    def test_a_hash_is_that_of_the_criterion(self):
        text, = json.loads(self.run_program("--format", "json", "hash", "C0FFEE12").stdout)["hashes"]
        self.assertEqual(int(text["hash"][:3], 16), text["bucket"])
        for required, code in ((text["hash"], 0), (text["hash"][:12] + "*", 0), ("0" * 64, 1)):
            done = self.run_program(*self.evaluate([{"sn_hash": required}]))
            self.assertEqual(done.returncode, code, done)
        self.assert_answer(["hash", "C0FFEE12", "C0FFEE12"], 0, f"{text['hash']}  C0FFEE12\n" * 2)


class Rollout(Yoxctl):
    FUNCTION = "2026-02-20|10|linear"

    def rollout(self, *arguments):
        return ["--device", "device.json", "rollout", *arguments]

    def answer(self, *arguments):
        done = self.run_program("--format", "json", *self.rollout(*arguments))
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        return json.loads(done.stdout)

    def test_the_share_of_each_day_and_today(self):
        self.assert_answer(self.rollout("--function", "2026-03-01|2|linear"), 0,
                           "2026-03-01|2|linear\n2 days, by device; is at day 1, 50.00 %\n\n"
                           "  day  date           share  buckets\n"
                           "    1  2026-03-01   50.00 %     2048  <- today\n"
                           "    2  2026-03-02  100.00 %     4096\n")

    def test_every_function_of_a_list(self):
        self.write("list.json", [{"date_function": "2026-03-02|3|linear"}, {"country": "US"},
                                 {"date_function": "2026-01-01|4|cubic|tenant"}])
        first, second = self.answer("list.json")["rollouts"]
        self.assertEqual((first["filter"], first["by"], first["today"], len(first["forecast"])), (0, "device", 0, 3))
        self.assertEqual((second["filter"], second["by"], second["today"]), (2, "organisation", 60))
        self.assertEqual([day["share"] for day in second["forecast"]], [0, 0, 0, 1])
        only, = self.answer("list.json", "--filter", "2")["rollouts"]
        self.assertEqual(only, second)
        self.write("list.json", [{"country": "US"}])
        self.assert_answer(self.rollout("list.json"), 1, "no roll-out in the list\n")

    def test_the_first_day_is_that_of_the_decision(self):
        for growth, option, changed in (("linear", "--serial-number", {"firmware": {"serial_number": "C0FFEE12"}}),
                                        ("linear|tenant", "--organisation", {"organisation": {"realm": "C0FFEE12"}})):
            function = f"2026-02-20|10|{growth}"
            self.write("filters.json", [{"date_function": function}])
            rollout, = self.answer("--function", function, option, "C0FFEE12")["rollouts"]
            first = rollout["first_day"]
            self.assertEqual(rollout["forecast"][first["day"] - 1]["date"], first["date"])
            days = {1, first["day"] - 1, first["day"], rollout["days"]} - {0}
            for day in (rollout["forecast"][day - 1] for day in sorted(days)):
                self.write("now.json", {**changed, "clock": {"now": day["date"] + "T12:00:00"}})
                done = self.run_program("--device", "now.json", "evaluate", "filters.json")
                self.assertEqual(done.returncode, 0 if day["day"] >= first["day"] else 1, day)

    def test_profiles_are_counted_as_they_are_decided(self):
        (self.folder / "fleet").mkdir()
        fleet = [{"firmware": {"serial_number": f"SN{number}"}} for number in range(4)]
        fleet.append({"organisation": {"realm": "contoso"}})
        for number, profile in enumerate(fleet):
            self.write(f"fleet/{number}.json", profile)
        self.write("fleet/notes.txt", b"no profile")
        self.write("filters.json", [{"date_function": self.FUNCTION}])
        answer = self.answer("--function", self.FUNCTION, "--profiles", "fleet")
        self.assertEqual(answer["profiles"], len(fleet))
        for day in answer["rollouts"][0]["forecast"][::4]:
            counted = 0
            for profile in fleet:
                self.write("now.json", {**profile, "clock": {"now": day["date"] + "T12:00:00"}})
                counted += self.run_program("--device", "now.json", "evaluate", "filters.json").returncode == 0
            self.assertEqual(day["profiles"], counted, day)

    def test_a_list_is_decided_as_a_whole_on_each_day(self):
        (self.folder / "fleet").mkdir()
        fleet = [{"clock": {"now": "2026-02-01T12:00:00", "time_zone": "UTC"},
                  "firmware": {"serial_number": f"SN{number}"},
                  "region": {"country_code": ("DE", "FR", "US")[number % 3], "language_code": "en-US"},
                  "registry": {"HKLM\\SOFTWARE\\Contoso": {"Ring": {"type": "REG_SZ", "data": f"ring {number % 2}"}}}}
                 for number in range(9)]
        for number, profile in enumerate(fleet):
            self.write(f"fleet/{number}.json", profile)
        self.write("filters.json", [{"country": "FR", "value": "false"},
                                    {"date_function": self.FUNCTION, "date_range": "2026-02-22|2026-02-27",
                                     "registry": "HKLM\\SOFTWARE\\Contoso:Ring|ring 0"},
                                    {"default": "false"}])
        rollout, = self.answer("filters.json", "--profiles", "fleet")["rollouts"]
        counts = []
        for day in rollout["forecast"]:
            counts.append(0)
            for profile in fleet:
                now = {**profile["clock"], "now": day["date"] + "T12:00:00"}
                self.write("now.json", {**profile, "clock": now})
                counts[-1] += self.run_program("--device", "now.json", "evaluate", "filters.json").returncode == 0
        self.assertEqual([day["profiles"] for day in rollout["forecast"]], counts)
        self.assertGreater(max(counts), 0)
        self.assertEqual((counts[0], counts[-1]), (0, 0))

    def plot(self, *arguments):
        self.assertEqual(self.run_program(*self.rollout(*arguments, "--plot", "plot.svg")).returncode, 0)
        return xml.etree.ElementTree.fromstring((self.folder / "plot.svg").read_bytes())

    def test_a_plot_is_well_formed_and_shows_days_share_and_today(self):
        (self.folder / "fleet").mkdir()
        self.write("fleet/one.json", PROFILE)
        svg = self.plot("--function", self.FUNCTION, "--serial-number", "<&\">\x7f\uffff", "--profiles", "fleet")
        self.assertEqual(svg.get("viewBox"), "0 0 720 400")
        texts = [text.text for text in svg.iter("{http://www.w3.org/2000/svg}text")]
        for text in (self.FUNCTION, "0 %", "100 %", "2026-02-20", "day 1", "day 9", "dotted: 1 profiles",
                     "today, 2026-03-01: 100.00 %"):
            self.assertIn(text, texts)
        self.assertTrue([text for text in texts if text.startswith('<&">\\u007f')], texts)
        # The curve goes from the left to the right and never back or down.
        curve = [path.get("d") for path in svg.iter("{http://www.w3.org/2000/svg}path")][1]
        across = [float(x) for x in re.findall(r"[MH]([\d.]+)", curve)]
        up = [float(y) for y in re.findall(r"(?:M[\d.]+ |V)([\d.]+)", curve)]
        self.assertEqual((across, up), (sorted(across), sorted(up, reverse=True)))
        self.assertEqual((len(up), across[0], across[-1], up[-1]), (10, 60, 696, 112))

    def test_a_plot_that_does_not_fit_leaves_the_former_file(self):
        self.assert_former_file_stays("plot.svg", 1024, self.rollout("--function", "2026-03-01|28|linear",
                                                                         "--plot", "plot.svg"))

    def test_a_plot_says_when_today_is_outside(self):
        for function, words in (("2026-03-02|5|linear", "today, 2026-03-01: begins in 1 day"),
                                ("2025-03-02|5|linear", "today, 2026-03-01: complete")):
            self.assertIn(words, [text.text for text in self.plot("--function", function).iter()])

    def test_a_plots_colours_stand_out_on_white_and_on_dark_pages(self):
        self.plot("--function", self.FUNCTION, "--serial-number", "C0FFEE12", "--profiles", ".")
        colours = set(re.findall(rb"#[0-9a-f]{6}", (self.folder / "plot.svg").read_bytes()))
        self.assertEqual(len(colours), 5)

        def luminance(colour):
            parts = [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]
            linear = [c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4 for c in parts]
            return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

        for colour in colours:
            light = 1.05 / (luminance(colour) + 0.05)
            dark = (luminance(colour) + 0.05) / (luminance(b"#0d1117") + 0.05)
            self.assertGreater(min(light, dark), 4, colour)

    def test_what_cannot_be_forecast_is_refused(self):
        self.write("list.json", [{}, {"date_function": "2026-01-01|0|linear"}])
        self.write("two.json", [{"date_function": self.FUNCTION}, {"date_function": self.FUNCTION}])
        self.write("long.json", [{"date_function": "2026-01-01|36525|linear"}] * 28)
        (self.folder / "empty").mkdir()
        for arguments, message in (
                (["long.json"], "long.json: the roll-outs take more than 1000000 days together: "
                                "choose one with --filter"),
                ([], "expected either a LIST.json or --function"),
                (["list.json", "--function", self.FUNCTION], "expected either a LIST.json or --function"),
                (["--function", "soon|2|linear"],
                 "--function: expected a first day YYYY-MM-DD, found \"soon\""),
                (["list.json"], "list.json: filter [1]: date_function: expected a number of days, found \"0\""),
                (["two.json", "--plot", "p.svg"],
                 "--plot: the list has 2 roll-outs: choose one with --filter"),
                (["two.json", "--filter", "2"], "--filter: the list has no date_function in filter 2"),
                (["--function", self.FUNCTION, "--filter", "2"], "--filter: there is no list"),
                (["--function", self.FUNCTION, "--profiles", "empty"], "empty: has no profile, *.json"),
                (["--function", self.FUNCTION, "--plot", "none/p.svg"], "none/p.svg: cannot be written"),
                (["none.json"], "none.json: no such file")):
            with self.subTest(arguments=arguments):
                self.assert_refused(self.rollout(*arguments), message)


class CasesOfLists(Yoxctl):
    """The cases of a test file are decided one after another in one process."""

    RICH = {"client": {"version": "4.2.10.0"}, "join": {"domain": True}, "services": {"ccmexec": "running"},
            "firmware": {"manufacturer": "Contoso", "family": "Falcon", "model_number": "FA14", "sku": "S1",
                         "serial_number": "C0FFEE12", "enclosure_type": "Notebook"},
            "os": {"version": "10.0.22631", "caption": "Contoso OS", "architecture": 12, "edition_id": "Enterprise"},
            "region": {"country_code": "US", "language_code": "en-US"},
            "registry": {"HKLM\\SOFTWARE\\Contoso": {"Ring": {"type": "REG_SZ", "data": "beta"}},
                         "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags": {
                             "Ring": {"type": "REG_SZ", "data": "pilot"}}},
            "devices": [{"instance_id": "USB\\VID_1050\\1", "hardware_ids": ["USB\\VID_1050"]}],
            "display_adapters": [{"description": "Contoso Graphics 7", "software": False,
                                  "dedicated_video_memory": 1, "dedicated_system_memory": 0,
                                  "shared_system_memory": 0}],
            "installed_apps": [{"key": "{1}", "name": "Contoso Editor", "version": "7.1"}],
            "store_apps": {"Contoso.Notes": "2.0"},
            "organisation": {"realm": "contoso", "subscriptions": ["1b4e28ba-2fa1-11d2-883f-0016d3cca427"]}}
    # What holds on that device and on no bare one.
    CRITERIA = {"country": "US", "device_subscription": "1b4e*", "enclosure": "Notebook", "family": "Falcon",
                "hardware_id": "USB/VID_1050", "language": "en*", "mfr": "Contoso", "model": "FA14",
                "os_bitness": "ARM64", "os_description": "Contoso OS", "os_version": ">=10.0",
                "registry": "HKLM\\SOFTWARE\\Contoso:Ring|beta", "version": ">=4.2", "tag": "Ring|pilot",
                "installed_items": "Contoso Editor,Contoso.Notes"}

    def test_no_case_sees_the_device_of_another(self):
        self.write("rich.json", self.RICH)
        lists = {**{name: {name: text} for name, text in self.CRITERIA.items()},
                 "store": {"installed_items": "Contoso.Notes"}, "managed": {"tag": "Device.Usage.IsManagedDevice|true"},
                 "graphics": {"tag": "Device.Hardware.Gpu.Exists"}}
        for name, criterion in lists.items():
            self.write(f"{name}.json", [criterion])
            rich, bare = {"name": "rich", "profile": "rich.json"}, {"name": "bare"}
            applies = self.run_program("--device", "rich.json", "evaluate", f"{name}.json").returncode == 0
            self.assertTrue(applies, name)
            self.write(f"{name}.test.json", {"cases": [{**rich, "applies": True}, {**bare, "applies": False},
                                                       {**rich, "applies": True}, {**bare, "applies": False}]})
        done = self.run_program("test", *[f"{name}.test.json" for name in lists])
        self.assertEqual((done.returncode, done.stderr), (0, b""), done.stdout.decode())


class Device(Yoxctl):
    def device(self, *arguments):
        done = self.run_program("--format", "json", *arguments)
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        return json.loads(done.stdout)

    def test_facts_stand_in_groups_with_their_sources(self):
        facts = self.device("--device", "device.json", "device")
        self.assertEqual(sorted(facts), ["accelerators", "applications", "hardware", "identity", "management",
                                         "operating_system", "region"])
        self.assertEqual(facts["hardware"]["device_manufacturer"],
                         {"value": "Contoso", "source": "firmware, system"})
        self.assertEqual(facts["identity"]["system_serial_number"]["value"], "C0FFEE12")
        self.assertEqual(facts["identity"]["architecture"]["value"], 9)
        self.assertEqual(facts["region"]["country_code"]["value"], "US")
        self.assertIs(facts["management"]["managed"]["value"], False)

    def test_the_text_is_a_table(self):
        done = self.run_program("--device", "device.json", "device")
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        lines = done.stdout.decode().splitlines()
        self.assertEqual(lines[0], "Hardware and firmware")
        self.assertRegex(lines[2], r"^  device_manufacturer +Contoso +\[firmware, system\]$")
        self.assertIn("Management", lines)

    def test_what_was_collected_is_kept_until_a_refresh(self):
        state = ["--state-dir", "state", "--device", "device.json", "device"]
        self.device(*state)
        self.write("device.json", {**PROFILE, "os": {"caption": "Changed"}})
        caption = lambda facts: facts["operating_system"]["os_description"]["value"]
        self.assertEqual(caption(self.device(*state)), "Microsoft Windows 11 Pro")
        self.assertEqual(caption(self.device(*state, "--refresh")), "Changed")
        self.assertEqual(caption(self.device(*state)), "Changed")

    def test_an_empty_cache_file_is_told_until_a_refresh(self):
        state = ["--state-dir", "state", "--device", "device.json"]
        self.device(*state, "device")
        [cache] = self.folder.rglob("MachineInformationCached.json")
        cache.write_bytes(b"")
        for command in (["device"], ["tags"], ["evaluate", "filters.json"]):
            self.write("filters.json", [{"mfr": "Contoso"}])
            done = self.run_program(*state, *command)
            self.assertEqual(done.stderr.decode().splitlines(),
                             [f"yoxctl: {cache}: empty or not JSON, so the device's facts are empty "
                              "(device --refresh reads them)"])
        self.device(*state, "device", "--refresh")
        self.assertEqual(self.run_program(*state, "evaluate", "filters.json").returncode, 0)

    def test_this_machine_answers(self):
        facts = self.device("--state-dir", "state", "device")
        self.assertNotEqual(facts["operating_system"]["os_name"]["value"], "")
        self.assertIn(facts["identity"]["architecture"]["value"], [0, 5, 6, 9, 12])

    @unittest.skipUnless(hasattr(socket, "AF_UNIX"), "needs Unix sockets")
    def test_a_source_that_hangs_is_told_and_given_up(self):
        if len(PROGRAM) > 1:
            self.skipTest("the program's system has no message bus")
        with socket.socket(socket.AF_UNIX) as bus:
            bus.bind(str(self.folder / "bus"))
            bus.listen()
            address = f"unix:path={self.folder / 'bus'}"
            done = self.run_program("--state-dir", "state", "device",
                                    env={**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": address})
        self.assertEqual((done.stderr.decode(), done.returncode), ("yoxctl: still reading the device\n", 0))


# For each criterion a text that a device is likely to match and one that it is not.
EVERY_CRITERION = {
    "mfr": ["", "Nobody"], "family": ["Falcon*", "Nothing"], "model": ["FA*", "!FA*"],
    "sku": ["F14", "!F14"], "tag": ["Lab|yes", "!Lab|yes"], "country": ["US,DE,FR", "!US,DE,FR"],
    "language": ["en-US", "!en-US"], "os": ["*Windows*,*Linux*", "BeOS"], "os_bitness": ["64", "ARM64"],
    "enclosure": ["Notebook", "!Notebook"], "os_description": ["*Windows*", "*Linux*"],
    "device_subscription": ["1b4e28ba*", "!1b4e28ba*"], "version": [">=0.1", ">=9.0"],
    "os_version": [">=10.0", ">=99.0"], "target_version": [">=1.0", ">=3.0"], "sn_hash": ["0|50", "51|99"],
    "org_hash": ["0|50", "51|99"], "date_range": ["2020-01-01|2099-01-01", "2020-01-01|2021-01-01"],
    "date_function": ["2020-01-05|28|linear", "2098-01-05|28|linear"],
    "installed_items": ["Contoso*|*", "!Contoso*|*"],
    "registry": ["HKLM\\SOFTWARE\\Tervan\\YOX\\Organisation:Realm|contoso", "HKLM\\SOFTWARE\\None:A|b"],
    "hardware_id": ["*VEN_*", "NOTHING"],
}


KEY = {"instance_id": "USB\\VID_1050&PID_0120\\1-2", "hardware_ids": ["USB\\VID_1050&PID_0120&REV_0512",
                                                                       "USB\\VID_1050&PID_0120"]}


class HardwareIds(Yoxctl):
    def test_present_devices_are_listed_with_their_ids(self):
        self.write("device.json", {"devices": [KEY]})
        listing = ["--device", "device.json", "device", "--hardware-ids"]
        self.assert_answer(listing, 0, "".join(
            [KEY["instance_id"], "\n", *(f"    {name}\n" for name in KEY["hardware_ids"])]))
        done = self.run_program(*listing, "--format", "json")
        self.assertEqual(json.loads(done.stdout), {"devices": [KEY]})

    def test_a_list_decides_against_them(self):
        self.write("device.json", {"devices": [KEY]})
        self.assert_answer(self.evaluate([{"hardware_id": "usb/vid_1050*"}]), 0,
                           "applies\nFilter [0]: true; \n")
        self.assert_answer(self.evaluate([{"hardware_id": "usb/vid_0bda*"}]), 1,
                           "does not apply\nFilter [0]: hardware_id = false; \n")

    def test_this_machine_answers(self):
        done = self.run_program("device", "--hardware-ids", "--format", "json")
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        for device in json.loads(done.stdout)["devices"]:
            self.assertTrue(device["instance_id"] and device["hardware_ids"])


class Watch(Yoxctl):
    def watch(self, *options):
        return self.start_program("--device", "device.json", *options, "watch")

    def edit(self, devices):
        # As editors do: never half written.
        self.write("edited.json", {"devices": devices})
        os.replace(self.folder / "edited.json", self.folder / "device.json")

    def test_what_comes_and_goes_is_told_until_a_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.write("device.json", {"devices": []})
            program = self.watch("--format", "json")
            self.assertEqual(json.loads(program.stdout.readline()), {"event": "watching", "devices": 0})
            self.edit([KEY])
            self.assertEqual(json.loads(program.stdout.readline()), {"event": "arrived", **KEY})
            self.edit([])
            self.assertEqual(json.loads(program.stdout.readline()), {"event": "removed", **KEY})
            self.end(program, number)

    def test_the_text_is_a_line_for_each(self):
        self.write("device.json", {"devices": []})
        program = self.watch()
        self.assertEqual(program.stdout.readline(), b"watching 0 devices\n")
        self.edit([KEY])
        self.assertEqual(program.stdout.readline().decode(),
                         "  ".join(["arrived " + KEY["instance_id"], *KEY["hardware_ids"]]) + "\n")

    def test_a_profile_that_cannot_be_read_is_told_and_the_next_one_taken(self):
        program = self.watch()
        program.stdout.readline()
        self.write("device.json", b"{")
        self.until_told(program, b"yoxctl: device.json: ")
        self.edit([KEY])
        self.assertTrue(program.stdout.readline().startswith(b"arrived "))


class Registry(Yoxctl):
    KEY = "HKCU\\Software\\YoxctlTest"

    def setUp(self):
        super().setUp()
        self.state = ["--state-dir", "state", "registry"]

    def tearDown(self):
        self.run_program(*self.state, "delete", self.KEY)

    def set(self, *arguments):
        self.assert_answer([*self.state, "set", self.KEY, *arguments], 0, "")

    def test_what_is_set_is_there_for_the_next_process(self):
        for name, arguments, text in (
            ("Text", ["größer \\ \"x\""], "größer \\ \"x\"\n"), ("", ["default"], "default\n"),
            ("Number", ["0x10", "--type", "REG_DWORD"], "16\n"),
            ("Big", ["5000000000", "--type", "REG_QWORD"], "5000000000\n"),
            ("Bytes", ["01aB", "--type", "REG_BINARY"], "01ab\n"),
            ("Several", ["a", "b", "--type", "REG_MULTI_SZ"], "a\nb\n"),
        ):
            with self.subTest(name=name):
                self.set(name, *arguments)
                self.assert_answer([*self.state, "get", self.KEY, name], 0, text)
        self.assert_answer([*self.state, "list", self.KEY], 0,
                           "@  REG_SZ  default\nBig  REG_QWORD  5000000000\nBytes  REG_BINARY  01ab\n"
                           "Number  REG_DWORD  16\nSeveral  REG_MULTI_SZ  a|b\nText  REG_SZ  größer \\ \"x\"\n")
        done = self.run_program("--format", "json", *self.state, "get", self.KEY, "Several")
        self.assertEqual(json.loads(done.stdout), {"type": "REG_MULTI_SZ", "data": ["a", "b"]})

    def test_what_is_not_there_is_told(self):
        for arguments, what in ((["get", self.KEY, "Missing"], ":Missing"), (["list", self.KEY], ""),
                                (["delete", self.KEY], ""), (["delete", self.KEY, "Missing"], ":Missing"),
                                (["export", self.KEY], ""), (["watch", self.KEY], "")):
            with self.subTest(arguments=arguments):
                done = self.run_program(*self.state, *arguments)
                self.assertEqual((done.stdout, done.returncode), (b"", 1))
                self.assertEqual(done.stderr.decode(), f"yoxctl: {self.KEY}{what}: not found\n")

    def test_what_is_exported_can_be_imported(self):
        self.set("Name", "x")
        for options in ([], ["--utf16"]):
            with self.subTest(options=options):
                self.assert_answer([*self.state, "export", self.KEY, "file.reg", *options], 0, "")
                self.assert_answer([*self.state, "delete", self.KEY], 0, "")
                self.assert_answer([*self.state, "import", "file.reg"], 0, "")
                self.assert_answer([*self.state, "get", self.KEY, "Name"], 0, "x\n")

    def test_an_export_restores_names_with_control_characters_and_commands_no_terminal(self):
        injected = f'K]\n"IsManagedDevice"=dword:00000001'
        for name in (injected, "\x1b[2J", "a\r", "\x9b\x85", " -=@\""):
            self.assert_answer([*self.state, "set", f"{self.KEY}\\{name}", name, name], 0, "")
        def content():
            key = self.run_program("--format", "json", *self.state, "list", self.KEY).stdout
            return [self.run_program("--format", "json", *self.state, "list", f"{self.KEY}\\{name}").stdout
                    for name in json.loads(key)["keys"]]
        before = content()
        self.assertEqual(len(before), 5)
        exported = self.run_program(*self.state, "export", self.KEY).stdout.decode()
        self.assertEqual([c for c in exported.replace("\r\n", "") if ord(c) < 32 or 127 <= ord(c) < 160], [])
        for options in ([], ["--utf16"]):
            with self.subTest(options=options):
                self.assert_answer([*self.state, "export", self.KEY, "file.reg", *options], 0, "")
                self.assert_answer([*self.state, "delete", self.KEY], 0, "")
                self.assert_answer([*self.state, "import", "file.reg"], 0, "")
                self.assertEqual(content(), before)

    def test_an_export_that_does_not_fit_leaves_the_former_file(self):
        self.set("Name", "x" * 100_000)
        self.assert_former_file_stays("file.reg", 65536, [*self.state, "export", self.KEY, "file.reg"])

    def test_an_export_goes_through_a_link_and_into_what_is_no_file(self):
        self.set("Name", "x")
        self.assert_refused([*self.state, "export", self.KEY, "."], ".: cannot be written")
        self.assert_refused([*self.state, "export", self.KEY, "no/file.reg"], "no/file.reg: cannot be written")
        if len(PROGRAM) > 1:
            return  # what follows is of this system
        self.write("file.reg", b"former")
        (self.folder / "link.reg").symlink_to("file.reg")
        self.assert_answer([*self.state, "export", self.KEY, "link.reg"], 0, "")
        self.assertTrue((self.folder / "link.reg").is_symlink())
        exported = (self.folder / "file.reg").read_bytes().decode()
        self.assertIn('"Name"="x"', exported)
        self.assert_answer([*self.state, "export", self.KEY, "/dev/stdout"], 0, exported)

    def test_a_malformed_file_changes_nothing(self):
        self.write("bad.reg", f"Windows Registry Editor Version 5.00\n[{self.KEY}]\n\"N\"=\"x\"\n\"M\"=1\n".encode())
        self.assert_refused([*self.state, "import", "bad.reg"],
                            'bad.reg: line 4: expected a string, "dword:", "hex:", "hex(TYPE):" or "-"')
        self.assertEqual(self.run_program(*self.state, "list", self.KEY).returncode, 1)
        self.assert_refused([*self.state, "import", "missing.reg"], "missing.reg: no such file")
        self.assert_refused([*self.state, "import", "."], ".: is a directory")

    def test_malformed_arguments(self):
        for arguments, message in (
            (["get", "HKCR\\A"], 'KEY: expected HKLM\\..., HKCU\\... or HKU\\..., found "HKCR\\A"'),
            (["set", self.KEY, "N", "x", "--type", "REG_DWORD"], 'DATA: expected a number of the type, found "x"'),
            (["set", self.KEY, "N", "4294967296", "--type", "REG_DWORD"],
             'DATA: expected a number of the type, found "4294967296"'),
            (["set", self.KEY, "N", "abc", "--type", "REG_BINARY"], "DATA: expected two hexadecimal digits for each byte"),
            (["set", self.KEY, "N", "a", "b"], "DATA: only REG_MULTI_SZ takes several strings"),
            (["delete", "HKLM"], "HKLM: not possible in a registry"),
        ):
            with self.subTest(arguments=arguments):
                self.assert_refused([*self.state, *arguments], message)

    def test_a_watch_tells_what_another_process_changes(self):
        self.set("Name", "1")
        watch = self.start_program("--format", "json", *self.state, "watch", self.KEY, "--count", "2")
        self.until_told(watch, f"yoxctl: watching {self.KEY}\n".encode())
        self.set("Name", "2")
        self.assertEqual(json.loads(watch.stdout.readline()), {"action": "set value", "key": "", "name": "Name"})
        self.assert_answer([*self.state, "delete", self.KEY, "Name"], 0, "")
        self.assertEqual(json.loads(watch.communicate(timeout=30)[0]),
                         {"action": "delete value", "key": "", "name": "Name"})
        self.assertEqual(watch.returncode, 0)


class UnreadableRegistry(Yoxctl):
    """A registry that cannot be read is not taken for an empty one."""
    KEY = "HKLM\\SOFTWARE\\Contoso"

    def setUp(self):
        super().setUp()
        if len(PROGRAM) > 1:
            self.skipTest("that system keeps its registry itself")
        self.place = f"registry {self.folder.resolve()}/state/registry.db"
        self.write("filters.json", [{"registry": f"{self.KEY}:Name|x"}])
        self.assert_answer(["--state-dir", "state", "registry", "set", self.KEY, "Name", "x"], 0, "")

    def execute(self, statement):
        with contextlib.closing(sqlite3.connect(self.folder / "state/registry.db")) as database:
            database.execute(statement)
            database.commit()

    def garbage(self):
        for file in (self.folder / "state").glob("registry.db*"):
            file.write_bytes(b"x" * 5000 if file.name == "registry.db" else b"")
        return "the file is damaged (file is not a database)"

    def later_format(self):
        self.execute("PRAGMA user_version = 2")
        return "it was written by a later version (its format is 2, this version reads format 1)"

    def missing_table(self):
        self.execute("DROP TABLE value")
        return "the file is damaged (no such table: value)"

    def test_every_command_says_which_file_and_why(self):
        for cause in (self.garbage, self.later_format, self.missing_table):
            shutil.rmtree(self.folder / "state")
            self.run_program("--state-dir", "state", "registry", "set", self.KEY, "Name", "x")
            reason = cause()
            complaint = f"yoxctl: {self.place} cannot be read: {reason}\n"
            for arguments, code in ((["evaluate", "filters.json"], 1), (["tags"], 0), (["capture"], 0), (["device"], 0)):
                with self.subTest(cause=cause.__name__, arguments=arguments):
                    done = self.run_program("--state-dir", "state", *arguments)
                    # On a busy machine capture also says that it goes on.
                    said = done.stderr.decode().replace("yoxctl: still reading the device\n", "")
                    self.assertEqual((said, done.returncode), (complaint, code))
                    self.assertNotEqual(done.stdout, b"")
            with self.subTest(cause=cause.__name__, arguments="watch"):
                watch = self.start_program("--state-dir", "state", "watch", "filters.json")
                self.until_told(watch, complaint.encode())
                watch.kill()
                watch.wait()

    def test_the_registry_command_says_so_in_one_line(self):
        reason = self.garbage()
        read, written = f"{self.place} cannot be read: {reason}", f"{self.place} cannot be written: {reason}"
        self.write("file.reg", f"Windows Registry Editor Version 5.00\n[{self.KEY}]\n".encode())
        for arguments, message in (
            (["get", self.KEY, "Name"], f"{self.KEY}:Name: {read}"), (["list", self.KEY], f"{self.KEY}: {read}"),
            (["export", self.KEY], f"{self.KEY}: {read}"), (["watch", self.KEY], f"{self.KEY}: {read}"),
            (["set", self.KEY, "Name", "y"], f"{self.KEY}:Name: {written}"),
            (["delete", self.KEY], f"{self.KEY}: {written}"), (["import", "file.reg"], f"file.reg: {written}"),
        ):
            with self.subTest(arguments=arguments):
                self.assert_refused(["--state-dir", "state", "registry", *arguments], message)

    def test_what_is_created_is_the_owners_alone_whatever_the_umask(self):
        for umask in (0, 0o277):
            shutil.rmtree(self.folder / "state")
            done = self.run_program("--state-dir", "state", "registry", "set", self.KEY, "Name", "x",
                                    preexec_fn=lambda: os.umask(umask))
            self.assertEqual((done.stderr, done.returncode), (b"", 0))
            for path, mode in [(self.folder / "state", 0o700),
                               *((file, 0o600) for file in (self.folder / "state").glob("registry.*"))]:
                with self.subTest(umask=umask, path=path):
                    self.assertEqual(path.stat().st_mode & 0o777, mode)

    def test_a_short_count_of_commits_blocks_nothing(self):
        for count in (b"", b"x", b"1234567"):
            with self.subTest(count=count):
                (self.folder / "state/registry.changed").write_bytes(count)
                self.assert_answer(["--state-dir", "state", "registry", "set", self.KEY, "Name", "x" + count.decode()], 0, "")
                self.assert_answer(["--state-dir", "state", "registry", "get", self.KEY, "Name"], 0, f"x{count.decode()}\n")


class Tags(Yoxctl):
    def test_tags_stand_in_the_order_of_the_filters(self):
        key = "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags"
        self.write("device.json", {"registry": {key: {"Channel": {"type": "REG_SZ", "data": "beta"}}},
                                   "display_adapters": [{"description": "Intel(R) Arc(TM)", "software": False,
                                                         "dedicated_video_memory": 1 << 30}]})
        self.assert_answer(["--device", "device.json", "tags"], 0,
                           "Channel=beta\nDevice.Hardware.Gpu.Exists=\nDevice.Hardware.Gpu.Intel=\n"
                           "Device.Usage.IsManagedDevice=false\n")
        self.assert_answer(self.evaluate([{"tag": "Channel|beta,Device.Hardware.Gpu.Intel"}]), 0,
                           "applies\nFilter [0]: true; \n")


class ControlCharacters(Yoxctl):
    TEXT = "a\x1b[31m\nb\x9b0m\x7f\x85\u200b\u202e\u2028"
    SHOWN = "a\\u001b[31m\\u000ab\\u009b0m\\u007f\\u0085\\u200b\\u202e\\u2028"

    def test_a_line_of_text_stays_one_and_tells_the_terminal_nothing(self):
        key = "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags"
        self.write("device.json", {
            "registry": {key: {self.TEXT: {"type": "REG_SZ", "data": self.TEXT}}, f"{key}\\{self.TEXT}": {}},
            "devices": [{"instance_id": self.TEXT, "hardware_ids": [self.TEXT]}]})
        for arguments, answer in (
            (["tags"], f"{self.SHOWN}={self.SHOWN}\nDevice.Usage.IsManagedDevice=false\n"),
            (["registry", "list", key], f"{self.SHOWN}\\\n{self.SHOWN}  REG_SZ  {self.SHOWN}\n"),
            (["registry", "get", key, self.TEXT], f"{self.SHOWN}\n"),
            (["device", "--hardware-ids"], f"{self.SHOWN}\n    {self.SHOWN}\n"),
        ):
            with self.subTest(arguments=arguments):
                self.assert_answer(["--device", "device.json", *arguments], 0, answer)

    def test_a_fact_of_the_device_is_shown_whole_on_one_line(self):
        self.write("device.json", {"firmware": {"manufacturer": self.TEXT + 200 * "x"}})
        done = self.run_program("--device", "device.json", "device")
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        self.assertIn(f"{self.SHOWN}{200 * 'x'}\n", done.stdout.decode())

    def test_a_complaint_shows_them_as_escapes(self):
        self.assert_refused(self.evaluate([{self.TEXT: "x"}]),
                            f'filters.json: line 1, column 3: [0]["{self.SHOWN}"]: unknown key')
        self.assert_refused(["evaluate", "filters.json", "--tag", self.TEXT],
                            f'--tag: expected KEY=VALUE, found "{self.SHOWN}"')


class Notification(Yoxctl):
    def read(self, document, *arguments):
        self.write("notification.json", document)
        return ["notification", "read", "notification.json", *arguments]

    def build(self, *arguments):
        done = self.run_program("notification", "build", *arguments)
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        return done.stdout

    def fields(self, *arguments):
        done = self.run_program(*arguments)
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        return json.loads(done.stdout)

    def test_an_envelope_is_read_with_its_payload(self):
        payload = self.build("device-registration", "--success", "--device-id", "d1", "--delay", "30")
        self.assertEqual(
            self.fields(*self.read(self.build("envelope", "--topic", "7", "--event", "-3", "--payload",
                                              payload.decode().strip()))),
            {"topic_id": 7, "event_state": -3, "payload": payload.decode().strip(),
             "fields": {"has_registration_attempted_success": True, "registration_trigger_type": "",
                        "registration_trigger_source": "", "device_id": "d1", "delay": 30}})

    def test_a_payload_may_be_any_text(self):
        self.assertEqual(self.fields(*self.read({"topicId": 1, "payload": "caf\u00e9"})),
                         {"topic_id": 1, "event_state": 0, "payload": "caf\u00e9"})

    def test_an_alert_is_read_as_a_channel_document(self):
        alert = self.build("device-action-state", "--value", "3", "--action-cmd", "reboot")
        answer = self.fields(*self.read(alert, "--channel"))
        self.assertEqual((answer["message_type"], answer["device_action_state"]), ("deviceactionstate", "3"))
        self.assertEqual(answer["fields"]["action_cmd"], "reboot")

    def test_every_builder_makes_json(self):
        for arguments, document in (
                (["policy-change", "--mqtt-scope-change", "--mqtt-scope-value", "s"],
                 {"policy_change": {
                     "device_path_change": False, "device_subscription_change": False, "mqtt_scope_change": True,
                     "mqtt_connect_frequency_change": False, "device_path_value": "",
                     "device_subscription_value": "", "mqtt_scope_value": "s",
                     "mqtt_connect_frequency_value": ""}}),
                (["config-change", "--startup"], {"config_change": {"is_trigger_source_startup": True}}),
                (["config-fetch", "--minutes", "4294967295"],
                 {"config_fetch": {"pull_trigger_in_minutes": 4294967295}}),
                (["package-event", "--id", "i", "--type", "t", "--name", "n", "--version", "v", "--trigger", "g"],
                 {"PackageId": "i", "PackageType": "t", "PackageName": "n", "PackageVersion": "v",
                  "PackageTrigger": "g"}),
                (["invoke-command", "--param", "a=1", "--param", "b=x=y"], {"a": "1", "b": "x=y"}),
                (["alert", "--notify", "kind", "--param", "a=1"],
                 {"kxp-message": {"alert": {"notify": "kind", "param": {"a": "1"}}}})):
            with self.subTest(arguments):
                self.assertEqual(json.loads(self.build(*arguments)), document)

    def test_malformed_documents_are_refused_in_one_line(self):
        for document in (b"", b"{", b"[1]", b'{"topicId": "5"}', b'{"topicId": 4294967296}', b'{"payload": 5}',
                         b"[" * 100000, b'{"payload": "\\ud800"}', b'{"topicId": 1, "topicId": 2}', b"\xff"):
            with self.subTest(document[:30]):
                done = self.run_program(*self.read(document))
                self.assertEqual((done.stdout, done.returncode), (b"", 2))
                self.assertRegex(done.stderr.decode(), r"\Ayoxctl: [^\n]+\n\Z")

    def test_a_payload_of_a_known_kind_is_read_as_strictly(self):
        for payload, message in (
            ('{"device_registration": {"delay": "soon"}}', "device_registration.delay: expected an integer, found a string"),
            ('{"device_registration": {"device_id": 5}}', "device_registration.device_id: expected a string, found a number"),
            ('{"policy_change": {"mqtt_scope_value": 5}}',
             "policy_change.mqtt_scope_value: expected a string, found a number"),
            ('{"policy_change": 5}', "policy_change: expected an object, found a number"),
            ('{"config_change": {"is_trigger_source_startup": "true"}}',
             "config_change.is_trigger_source_startup: expected true or false, found a string"),
            ('{"config_fetch": {"pull_trigger_in_minutes": -1}}',
             "config_fetch.pull_trigger_in_minutes: expected an integer of 0 or more, found a number"),
            ('{"PackageId": "i", "PackageName": []}', "PackageName: expected a string, found an array"),
        ):
            with self.subTest(message=message):
                self.assert_refused(self.read({"topicId": 1, "payload": payload}),
                                    f"notification.json: payload: {message}")
        self.assertEqual(self.fields(*self.read({
            "topicId": 1, "payload": '{"device_registration": {"delay": "-30"}}'}))["fields"]["delay"], -30)

    def test_a_document_of_another_kind_is_refused(self):
        for document, message in (
            ({"filters": []}, 'the key "topicId" is missing'),
            ({"notification_type": "nope", "topicId": 1}, 'notification_type: expected "yox" or "kxp"'),
            ({"topicId": 1, "cmd": "reboot"}, "cmd: expected null, found a string"),
        ):
            with self.subTest(message=message):
                self.assert_refused_at_a_place(self.read(document), "notification.json", message)
        for document, message in (
            ({"filters": []}, 'the key "kxp-message" is missing'),
            ({"kxp-message": {}}, '["kxp-message"]: expected either "alert" or "action"'),
            ({"kxp-message": {"alert": {}, "action": {}}}, '["kxp-message"]: expected either "alert" or "action"'),
            ({"kxp-message": {"alert": "x"}}, '["kxp-message"].alert: expected an object, found a string'),
            ({"kxp-message": {"alert": {"notify": 5}}}, '["kxp-message"].alert.notify: expected a string, found a number'),
            ({"kxp-message": {"alert": {"param": []}}}, '["kxp-message"].alert.param: expected an object, found an array'),
            ({"kxp-message": {"alert": {"param": {"value": 3}}}},
             '["kxp-message"].alert.param.value: expected a string, found a number'),
            ({"kxp-message": {"action": {"cmd": []}}}, '["kxp-message"].action.cmd: expected a string, found an array'),
        ):
            with self.subTest(message=message):
                self.assert_refused_at_a_place(self.read(document, "--channel"), "notification.json", message)

    def test_arguments_are_checked(self):
        for arguments in (["config-fetch"], ["config-fetch", "--minutes", "-1"], ["alert", "--param", "x"],
                          ["envelope", "--topic", "1"], ["nothing"], []):
            with self.subTest(arguments):
                done = self.run_program("notification", "build", *arguments)
                self.assertEqual((done.stdout, done.returncode), (b"", 2))
                self.assertRegex(done.stderr.decode(), r"\Ayoxctl: [^\n]+\n\Z")


class BadInput(Yoxctl):
    def test_every_kind_of_malformed_document_is_named_with_its_place(self):
        for document, message in (
            (b"", "line 1, column 1: expected a value, found the end of the document"),
            (b"country=US", 'line 1, column 1: expected a value, found "country"'),
            (b'[{"country": "US"}', 'line 1, column 19: expected "," or "]", found the end of the document'),
            (b'[{"country": "\xff"}]', "line 1, column 15: not well-formed UTF-8"),
            (b"[" * 100_000, "line 1, column 65: deeper than 64 values"),
            (b" " * (4 * MIB + 1), "longer than 4 MiB"),
            ("filters", "expected an object or an array, found a string"),
            ({"filters": [{}, {"contry": "US"}]}, 'filters[1].contry: unknown key (did you mean "country"?)'),
            ([{"country": 7}], "[0].country: expected a string, found a number"),
            ([{"k" * 1000: "x"}], f"[0].{'k' * 120}...: unknown key"),
            (b"[" + b"9" * 1000 + b"]", f'line 1, column 2: the number "{"9" * 120}..." is out of range'),
        ):
            with self.subTest(message=message):
                if message.startswith("l"):
                    self.assert_refused(self.evaluate(document), f"filters.json: {message}")
                else:
                    self.assert_refused_at_a_place(self.evaluate(document), "filters.json", message)

    def test_a_huge_file_is_refused_by_its_size(self):
        (self.folder / "filters.json").touch()
        os.truncate(self.folder / "filters.json", 100 * MIB)
        self.assert_refused(["evaluate", "filters.json"], "filters.json: longer than 4 MiB")

    def test_what_is_no_file(self):
        self.assert_refused(["evaluate", "absent.json"], "absent.json: no such file")
        self.assert_refused(["evaluate", "."], ".: no such documents below it")
        self.assert_refused(["evaluate", ""], '"": no such file')

    def test_a_profile_is_refused_with_its_path(self):
        self.write("filters.json", [])
        for profile, message in (
            ({"os": {"s_mode": "no"}}, "os.s_mode: expected true or false, found a string"),
            ({"os": {"mode": 1}}, 'os.mode: unknown key (did you mean "s_mode"?)'),
            ({"clock": {"time_zone": "Mars"}}, 'clock.time_zone: unknown time zone "Mars"'),
            ({"registry": {"HKLM\\A": {"V": {"type": "REG_DWORD", "data": -1}}}},
             'registry["HKLM\\A"].V.data: expected a whole number from 0 to 4294967295'),
        ):
            with self.subTest(message=message):
                self.write("bad.json", profile)
                self.assert_refused_at_a_place(["--device", "bad.json", "evaluate", "filters.json"], "bad.json", message)

    def test_every_command_that_is_misspelt_has_the_right_one_named(self):
        """One letter is left out, doubled, or exchanged with the next."""
        commands = [command for command, _ in self.commands()]
        self.assertGreater(len(commands), 30)
        for *groups, name in commands:
            at = len(name) // 2
            for typo in (name[:at] + name[at + 1:], name[:at] + name[at] + name[at:],
                         name[:at - 1] + name[at] + name[at - 1] + name[at + 1:]):
                if [*groups, typo] in commands:
                    continue
                done = self.run_program(*groups, typo)
                self.assertEqual((done.returncode, done.stderr.decode().strip()), (
                    2, f'yoxctl: The following argument was not expected: {typo} (did you mean "{name}"?) '
                       "(see yoxctl --help)"))

    def test_usage(self):
        usage = " (see yoxctl --help)"
        for arguments, message in (
            ([], "a command is missing" + usage),
            (["frob"], "The following argument was not expected: frob" + usage),
            (["--bogus"], "The following argument was not expected: --bogus" + usage),
            (["evaluat", "a.json"], "The following argument was not expected: evaluat (did you mean \"evaluate\"?)" + usage),
            (["explan", "country"],
             'The following argument was not expected: explan (did you mean "explain-field"?)' + usage),
            (["dif"], 'The following argument was not expected: dif (did you mean "fleet diff"?)' + usage),
            (["chek"], 'The following argument was not expected: chek (did you mean "provision check"?)' + usage),
            (["evalute", "--help"],
             'The following argument was not expected: evalute (did you mean "evaluate"?)' + usage),
            (["help"], 'The following argument was not expected: help (did you mean "--help"?)' + usage),
            (["registry", "frob"], "The following argument was not expected: frob" + usage),
            (["evaluate", "--explane"], "The following argument was not expected: --explane (did you mean \"--explain\"?)" + usage),
            (["registry", "lst"], "The following argument was not expected: lst (did you mean \"list\"?)" + usage),
            (["lint", "a.json", "--devise", "b"],
             "The following argument was not expected: --devise (did you mean \"--device\"?)" + usage),
            (["--format", "sarif", "evaluate", "a.json"], "--format: sarif not in {text,json}" + usage),
            (["--format", "jsn", "evaluate", "a.json"],
             '--format: jsn not in {text,json} (did you mean "json"?)' + usage),
            (["registry"], "A subcommand is required" + usage),
            (["evaluate"], "FILTERS.json is required" + usage),
            (["--format", "xml", "evaluate", "a.json"], "--format: xml not in {text,json}" + usage),
            (["evaluate", "a.json", "--tag"], "--tag: 1 required KEY=VALUE missing" + usage),
            (["evaluate", "a.json", "--tag", "beta"], '--tag: expected KEY=VALUE, found "beta"'),
            (["evaluate", "a.json", "--tag", "=beta"], '--tag: expected KEY=VALUE, found "=beta"'),
        ):
            with self.subTest(arguments=arguments):
                self.assert_refused(arguments, message)

    def test_numbers(self):
        usage = " (see yoxctl --help)"
        whole = "expected a whole number from"
        for number in ("-1", "", "18446744073709551616", "1.5", "0x1", "1 "):
            for arguments, option in ((["rollout", "a.json", "--filter", number], "--filter"),
                                      (["registry", "watch", "HKLM\\A", "--count", number], "--count")):
                with self.subTest(arguments=arguments):
                    self.assert_refused(
                        arguments, f'{option}: {whole} 0 to 18446744073709551615, found "{number}"' + usage)
        for number in ("-18446744073709551615", "4294967296", ""):
            self.assert_refused(["notification", "build", "config-fetch", "--minutes", number],
                                f'--minutes: {whole} 0 to 4294967295, found "{number}"' + usage)
        done = self.run_program("notification", "build", "config-fetch", "--minutes", "010")
        self.assertEqual(json.loads(done.stdout), {"config_fetch": {"pull_trigger_in_minutes": 10}})

    def test_a_parameter_given_twice(self):
        for kind in ("alert", "invoke-command"):
            self.assert_refused(["notification", "build", kind, "--param", "a=1", "--param", "a=2"],
                                '--param: "a" is given twice')

    def test_the_state_directory_has_to_be_one(self):
        self.write("filters.json", [])
        self.assert_refused(["--state-dir", "device.json", "evaluate", "filters.json"],
                            "device.json: is not a directory")
        if len(PROGRAM) == 1:  # the emulator's arguments are text
            self.assert_refused(["--state-dir", b"\xff", "tags"], "--state-dir: not well-formed UTF-8")
            self.assert_refused(["provision", "check", b"\xff.json"], "FILE: not well-formed UTF-8")
        done = self.run_program("--state-dir", "device.json/state", "evaluate", "filters.json")
        self.assertEqual((done.stdout, done.returncode), (b"", 2))
        self.assertRegex(done.stderr.decode(), r"\Ayoxctl: device\.json/state: cannot be made: [^\n]+\n\Z")

    def test_the_folder_of_temporary_files_has_to_be_there(self):
        if len(PROGRAM) > 1:
            self.skipTest("the emulator has a folder of its own")
        done = self.run_program("--device", "device.json", "device",
                                env={**os.environ, "TMPDIR": str(self.folder / "absent")})
        self.assertEqual((done.stdout, done.returncode), (b"", 2))
        self.assertEqual(done.stderr.decode(),
                         f"yoxctl: the folder of temporary files: {os.strerror(errno.ENOENT)}\n")


class Policy(Yoxctl):
    def policy(self, name, wrapped=True, **fields):
        self.write(name, {"yox_config": {"platform_policy": fields}} if wrapped else fields)
        return name

    def shown(self, *arguments):
        done = self.run_program("--format", "json", "policy", *arguments)
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        return json.loads(done.stdout)

    def test_show_tells_what_stands(self):
        self.assert_answer(["policy", "show", self.policy(
            "p.json", uri={"api_baseuri": "https://größe"}, validation={"tls_leaf_cn_list": ["a\nb", "c"]})], 0,
            "api_baseuri: https://größe\ntls_leaf_cn_list: a\\u000ab\ntls_leaf_cn_list: c\n"
            "allow_self_signed_cert: false\n"
            "platform_policy_url: /configuration-service/v1/platform-policy\n")

    def test_show_cuts_no_value(self):
        key = "MFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAE" * 20
        done = self.run_program("policy", "show", self.policy("p.json", validation={"jws_pubkey": [key]}))
        self.assertIn(f"jws_pubkey: {key}\n".encode(), done.stdout)
        done = self.run_program("policy", "accumulate", "--built-in", "p.json")
        self.assertRegex(done.stdout.decode(), r"-----BEGIN PUBLIC KEY-----\\u000a[A-Za-z0-9+/=]+"
                         r"\\u000a-----END PUBLIC KEY-----\n")

    def test_forms(self):
        self.assertEqual(self.shown("show", "--form", "flat", self.policy(
            "p.json", wrapped=False, device_auth_type="type"))["device_auth_type"], "type")
        self.assertEqual(self.shown("show", "--form", "response", self.policy(
            "p.json", validation={"tls_thumbprint_list": ["aa"]}))["tls_rootca_thumbprint_list"], ["aa"])

    def test_accumulate(self):
        first = self.policy("1.json", uri={"api_baseuri": "one"}, validation={"tls_leaf_cn_list": ["a"]})
        second = self.policy("2.json", uri={"api_baseuri": "two"}, validation={"tls_leaf_cn_list": ["a", "b"]})
        merged = self.shown("accumulate", first, second)
        self.assertEqual((merged["api_baseuri"], merged["tls_leaf_cn_list"]), ("one", ["a", "b"]))
        merged = self.shown("accumulate", "--override-uris", "--built-in", first, second)
        self.assertEqual((merged["api_baseuri"], len(merged["tls_rootca_thumbprint_list"])), ("two", 33))

    def test_unreadable_policies(self):
        self.write("list.json", [1])
        for command in ("show", "accumulate"):
            self.assert_refused_at_a_place(["policy", command, "list.json"], "list.json",
                                           "expected an object, found an array")
        self.assert_refused(["policy", "show", "none.json"], "none.json: no such file")
        self.assert_refused(["policy", "update-certificates", "--form", "response", self.policy("p.json")],
                            "--form: a response has no certificate chain")

    def test_a_document_that_is_no_policy_deletes_no_chain(self):
        update = ["--device", "device.json", "--state-dir", "state", "policy", "update-certificates"]
        chain = self.policy("p.json", validation={"mqtt_chain_pem64": "Zm9v"})
        self.assertEqual(self.run_program(*update, chain).returncode, 1)  # stored, but not usable
        wrapper = "yox_config.platform_policy"
        for document, message in (
            (PROFILE, 'has no "yox_config" (see --form)'),
            ({"yox_config": {}}, 'yox_config: has no "platform_policy" (see --form)'),
            ({"yox_config": 5}, "yox_config: expected an object, found a number"),
            ({"yox_config": {"platform_policy": []}}, f"{wrapper}: expected an object, found an array"),
            ({"yox_config": {"platform_policy": {"uri": 5}}}, f"{wrapper}.uri: expected an object, found a number"),
            ({"yox_config": {"platform_policy": {"uri": {"api_baseuri": {}}}}},
             f"{wrapper}.uri.api_baseuri: expected a string, found an object"),
            ({"yox_config": {"platform_policy": {"validation": {"jws_pubkey": ["a", 1]}}}},
             f"{wrapper}.validation.jws_pubkey[1]: expected a string, found a number"),
            ({"yox_config": {"platform_policy": {"validation": {"allow_self_signed_cert": "true"}}}},
             f"{wrapper}.validation.allow_self_signed_cert: expected true or false, found a string"),
        ):
            with self.subTest(message=message):
                self.write("bad.json", document)
                self.assert_refused_at_a_place([*update, "bad.json"], "bad.json", message)
        for document, message in (
            ({"validation": {"tls_leaf_cn_list": "x"}},
             "validation.tls_leaf_cn_list: expected an array, found a string"),
            ({"yox_config": {"platform_policy": {"device_subscription_list": [1]}}},
             f"{wrapper}.device_subscription_list[0]: expected a string, found a number"),
        ):
            with self.subTest(message=message):
                self.write("bad.json", document)
                self.assert_refused_at_a_place([*update, "--form", "flat", "bad.json"], "bad.json", message)
        self.assertEqual([path.read_bytes() for path in self.folder.rglob("mqtt-bridge.pem")], [b"foo"])

    def chain(self, *parts):
        material = (pathlib.Path(__file__).parents[2] / "tests/trust/Material.h").read_text()
        pem = "".join(re.search(rf'k{part} = R"\((.*?)\)"', material, re.DOTALL).group(1) for part in parts)
        return self.policy("p.json", validation={"mqtt_chain_pem64": base64.b64encode(pem.encode()).decode()})

    UPDATE = ["--device", "device.json", "--state-dir", "state", "policy", "update-certificates"]

    def test_certificates_of_a_simulated_device_stay_in_its_folder(self):
        done = self.run_program("--format", "json", *self.UPDATE, self.chain("RootACertificate"))
        answer = json.loads(done.stdout)
        self.assertEqual((done.returncode, answer.pop("combined_file") != ""), (0, True))
        self.assertEqual(answer, {"updated": True, "stored": True, "combined_file_built": True, "chain_included": True,
                                  "private_keys_left_out": False, "cleaned": True})
        self.assertEqual(len(list(self.folder.rglob("mqtt-bridge.pem"))), 1)
        done = self.run_program(*self.UPDATE, self.policy("empty.json"))
        self.assertEqual((done.returncode, list(self.folder.rglob("mqtt-bridge.pem"))), (0, []))
        self.assert_answer([*self.UPDATE, "empty.json"], 1, "not updated\n")

    def test_a_chain_that_is_left_out_is_told(self):
        done = self.run_program(*self.UPDATE, self.policy("p.json", validation={"mqtt_chain_pem64": "Zm9v"}))
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"without the document's chain, which is not a usable PEM file\n", done.stdout)
        self.assertEqual([path.read_bytes() for path in self.folder.rglob("mqtt.pem")], [b""])
        self.assertEqual([path.read_bytes() for path in self.folder.rglob("mqtt-bridge.pem")], [b"foo"])

    def test_private_keys_that_are_left_out_are_told(self):
        done = self.run_program(*self.UPDATE, self.chain("RootACertificate", "ServerKey"))
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"without the private keys of the document's chain\n", done.stdout)
        [combined] = self.folder.rglob("mqtt.pem")
        self.assertNotIn(b"PRIVATE KEY", combined.read_bytes())

    def test_a_combined_file_that_cannot_be_written_is_told(self):
        self.assertEqual(self.run_program(*self.UPDATE, self.chain("RootACertificate")).returncode, 0)
        [combined] = self.folder.rglob("mqtt.pem")
        combined.unlink()
        (combined / "inside").mkdir(parents=True)
        done = self.run_program(*self.UPDATE, self.chain("RootACertificate"))
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"the combined file could not be written", done.stdout)
        done = self.run_program("--format", "json", *self.UPDATE, self.chain("RootACertificate"))
        self.assertEqual((done.returncode, json.loads(done.stdout)["combined_file_built"]), (1, False))


class Provision(Yoxctl):
    def test_a_refused_token_is_told_without_its_text(self):
        self.write("provision.json", {"provision_token": "SECRET.SECRET.SECRET!", "config_policy": "SECRET"})
        done = self.run_program("--device", "device.json", "provision", "check", "provision.json")
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assertIn(b"the token is refused: a part is not base64url\n", done.stdout)
        done = self.run_program("--device", "device.json", "--format", "json", "provision", "check",
                                "provision.json")
        answer = json.loads(done.stdout)
        self.assertEqual((done.returncode, answer["token_valid"], answer["reason"]),
                         (1, False, "a part is not base64url"))
        self.assertNotIn(b"SECRET", done.stdout + done.stderr)

    def test_without_a_file(self):
        self.assert_refused(["--device", "device.json", "provision", "check"], "there is no provision file")

    def test_files_that_cannot_be_read(self):
        check = ["--device", "device.json", "provision", "check"]
        for content, message in (
            (b"[1]", "line 1, column 1: expected an object, found an array"),
            (b'{\n"provision_token": ', "line 2, column 20: expected a value, found the end of the document"),
            (b"", "line 1, column 1: expected a value, found the end of the document"),
            (b"\xef\xbb\xbf{}", "cannot be read (a byte order mark is not allowed)"),
            (b'{"provision_token": 5}', "line 1, column 21: provision_token: expected a string, found a number"),
            (b'{"config_policy": {}}', "line 1, column 19: config_policy: expected a string, found an object"),
            (b'{"a": 1, "a": 2}', 'line 1, column 10: the key "a" is given twice'),
            (b'{"a": 1,}', 'line 1, column 9: expected a key, found "}"'),
            (b"{}" + b" " * MIB, "longer than 1 MiB"),
        ):
            with self.subTest(message=message):
                self.write("provision.json", content)
                self.assert_refused([*check, "provision.json"], f"provision.json: {message}")
        self.assert_refused([*check, "absent.json"], "absent.json: no such file")
        self.assert_refused([*check, ""], '"": no such file')
        self.assert_refused([*check, "."], ".: is a directory")


class Output(Yoxctl):
    def test_version_and_help(self):
        done = self.run_program("--version")
        self.assertRegex(done.stdout.decode(), r"\Ayoxctl \d+\.\d+\.\d+\n\Z")
        self.assertEqual(done.returncode, 0)
        for arguments, words in ((["--help"], ["evaluate", "--device", "--state-dir", "--format", "Exit codes"]),
                                 (["evaluate", "--help"], ["yoxctl evaluate", "--tag", "--target-version"])):
            done = self.run_program(*arguments)
            self.assertEqual((done.stderr, done.returncode), (b"", 0))
            for word in words:
                self.assertIn(word, done.stdout.decode())

    def test_a_full_disk_is_told(self):
        with open("/dev/full", "wb") as full:
            done = self.run_program(*self.evaluate([]), stdout=full)
        self.assertEqual(done.returncode, 2)
        self.assertRegex(done.stderr.decode(), r"\Ayoxctl: standard output: .*\n\Z")

    def test_a_closed_pipe_ends_the_program_quietly(self):
        for arguments in (self.evaluate([{"default": "false"}]), ["--help"], ["--device", "device.json", "watch"]):
            with self.subTest(arguments=arguments):
                reader, writer = os.pipe()
                os.close(reader)
                try:
                    done = self.run_program(*arguments, stdout=writer)
                finally:
                    os.close(writer)
                self.assertEqual((done.stderr, done.returncode), (b"", 0))

    def test_a_limit_of_the_file_size_is_told(self):
        if len(PROGRAM) > 1:
            self.skipTest("the emulator itself has the limit")
        # Appended to a file that has the allowed size already: a sanitizer writes a file before main.
        with open(os.path.join(self.folder, "answer"), "wb") as answer:
            answer.truncate(2048 * 512)
        done = subprocess.run(["sh", "-c", 'ulimit -f 2048; exec "$@" >>answer', "sh", *PROGRAM, *self.evaluate([])],
                              cwd=self.folder, capture_output=True, timeout=60)
        self.assertEqual((done.stderr.decode(), done.returncode),
                         (f"yoxctl: standard output: {os.strerror(errno.EFBIG)}\n", 2))

    def test_colours_can_be_chosen(self):
        plain, red = "does not apply\n", "\x1b[31mdoes not apply\x1b[0m\n"
        arguments = [*self.evaluate([{"default": "false"}]), "--explain"]
        for colour, environment, first_line in (
            ("auto", {}, plain), ("never", {}, plain), ("always", {}, red), ("always", {"NO_COLOR": "1"}, red),
        ):
            with self.subTest(colour=colour, environment=environment):
                done = self.run_program("--color", colour, *arguments, env={**os.environ, **environment})
                self.assertEqual(done.stdout.decode().splitlines(True)[0], first_line)
        self.write("list.json", [{"country": "USA"}, {"country": "de", "language": "de"}, {"default": "false"}])
        done = self.run_program("--color", "always", "lint", "list.json")
        self.assertEqual([re.sub(".*: \x1b", "\x1b", line)[:len(word)] for line, word in zip(
            done.stdout.decode().splitlines()[::2], ("\x1b[31merror\x1b[0m:", "\x1b[33mwarning\x1b[0m:"))],
            ["\x1b[31merror\x1b[0m:", "\x1b[33mwarning\x1b[0m:"])
        self.assertNotIn(b"\x1b", self.run_program("lint", "list.json").stdout)
        self.assert_refused(["--color", "red", *arguments],
                            "--color: red not in {auto,always,never} (see yoxctl --help)")

    def test_what_is_closed_is_told_and_no_file_takes_its_place(self):
        if len(PROGRAM) > 1:
            self.skipTest("the emulator opens what is closed")
        closed = os.strerror(errno.EBADF)
        for arguments in (self.evaluate([{"default": "true"}]), ["--device", "device.json", "watch"]):
            with self.subTest(arguments=arguments):
                done = subprocess.run(["sh", "-c", 'exec "$@" >&-', "sh", *PROGRAM, *arguments],
                                      cwd=self.folder, capture_output=True, timeout=60)
                self.assertEqual((done.stderr.decode(), done.returncode),
                                 (f"yoxctl: standard output: {closed}\n", 2))


def run(usage):
    cases = []
    if sys.argv[1:] == ["--list"]:  # the classes of cases, for CTest
        print(*(name for name, value in vars(sys.modules["__main__"]).items()
                if isinstance(value, type) and issubclass(value, Yoxctl) and any(n.startswith("test") for n in vars(value))),
              sep=";")
        return
    if sys.argv[1:2] == ["--cases"]:
        cases = sys.argv[2:3]
        del sys.argv[1:3]
    PROGRAM[:] = sys.argv[1:]
    if not PROGRAM:
        sys.exit(usage)
    unittest.main(argv=[*sys.argv[:1], *cases])


if __name__ == "__main__":
    run(__doc__)
