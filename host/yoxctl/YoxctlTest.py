#!/usr/bin/env python3
"""yoxctl as a person at a prompt meets it: what goes in, what comes out, and the exit code.

  YoxctlTest.py [EMULATOR...] YOXCTL
"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = []
MIB = 1 << 20

PROFILE = {
    "clock": {"now": "2026-03-01T12:00:00"},
    "client": {"version": "4.2.10.0"},
    "firmware": {"manufacturer": "Contoso", "serial_number": "C0FFEE12", "sku": "F14"},
    "os": {"version": "10.0.22631.4460", "caption": "Microsoft Windows 11 Pro", "architecture": 9},
    "region": {"country_code": "US", "language_code": "en-US"},
}


class Yoxctl(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.write("device.json", PROFILE)

    def write(self, name, document):
        data = document if isinstance(document, bytes) else json.dumps(document).encode()
        (self.folder / name).write_bytes(data)

    def run_program(self, *arguments, **options):
        return subprocess.run([*PROGRAM, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, timeout=60, **{"stdout": subprocess.PIPE, **options})

    def assert_answer(self, arguments, code, output):
        done = self.run_program(*arguments)
        self.assertEqual((done.stderr.decode(), done.stdout.decode(), done.returncode), ("", output, code))

    def assert_refused(self, arguments, message):
        done = self.run_program(*arguments)
        self.assertEqual((done.stderr.decode(), done.stdout, done.returncode),
                         (f"yoxctl: {message}\n", b"", 2))

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

    def test_state_is_kept_where_it_is_told(self):
        for arguments in (self.evaluate([]), ["evaluate", "filters.json"]):
            with self.subTest(arguments=arguments):
                state = self.folder / f"state-{len(arguments)}"
                done = self.run_program("--state-dir", state.name, *arguments)
                self.assertEqual((done.stderr, done.returncode), (b"", 0))
                self.assertTrue(list(state.rglob("MachineInformationCached.json")))


class BadInput(Yoxctl):
    def test_every_kind_of_malformed_document_is_named_with_its_place(self):
        for document, message in (
            (b"", "line 1, column 1: Syntax error: value, object or array expected"),
            (b"country=US", "line 1, column 1: Syntax error: value, object or array expected"),
            (b'[{"country": "US"}', "line 1, column 19: Missing ',' or ']' in array declaration"),
            (b'[{"country": "\xff"}]', "line 1, column 15: not well-formed UTF-8"),
            (b"[" * 100_000, "line 1, column 65: deeper than 64 values"),
            (b" " * (4 * MIB + 1), "longer than 4 MiB"),
            ("filters", "expected an object or an array, found a text"),
            ({"filters": [{}, {"contry": "US"}]}, "filters[1].contry: unknown key"),
            ([{"country": 7}], "[0].country: expected a text, found a number"),
        ):
            with self.subTest(message=message):
                self.assert_refused(self.evaluate(document), f"filters.json: {message}")

    def test_a_huge_file_is_refused_by_its_size(self):
        (self.folder / "filters.json").touch()
        os.truncate(self.folder / "filters.json", 100 * MIB)
        self.assert_refused(["evaluate", "filters.json"], "filters.json: longer than 4 MiB")

    def test_what_is_no_file(self):
        self.assert_refused(["evaluate", "absent.json"], "absent.json: no such file")
        self.assert_refused(["evaluate", "."], ".: is a directory")
        self.assert_refused(["evaluate", ""], '"": no such file')

    def test_a_profile_is_refused_with_its_path(self):
        self.write("filters.json", [])
        for profile, message in (
            ({"os": {"s_mode": "no"}}, "os.s_mode: expected true or false, found a text"),
            ({"os": {"mode": 1}}, "os.mode: unknown key"),
            ({"clock": {"time_zone": "Mars"}}, 'clock.time_zone: unknown time zone "Mars"'),
            ({"registry": {"HKLM\\A": {"V": {"type": "REG_DWORD", "data": -1}}}},
             'registry["HKLM\\A"].V.data: expected a whole number from 0 to 4294967295'),
        ):
            with self.subTest(message=message):
                self.write("bad.json", profile)
                self.assert_refused(["--device", "bad.json", "evaluate", "filters.json"], f"bad.json: {message}")

    def test_usage(self):
        usage = " (yoxctl --help tells the usage)"
        for arguments, message in (
            ([], "a command is missing" + usage),
            (["frob"], "The following argument was not expected: frob" + usage),
            (["--bogus"], "The following argument was not expected: --bogus" + usage),
            (["evaluate"], "FILTERS.json is required" + usage),
            (["evaluate", "a.json", "b.json"], "The following argument was not expected: b.json" + usage),
            (["--format", "xml", "evaluate", "a.json"], "--format: xml not in {text,json}" + usage),
            (["evaluate", "a.json", "--tag"], "--tag: 1 required KEY=VALUE missing" + usage),
            (["evaluate", "a.json", "--tag", "beta"], '--tag: expected KEY=VALUE, found "beta"'),
            (["evaluate", "a.json", "--tag", "=beta"], '--tag: expected KEY=VALUE, found "=beta"'),
        ):
            with self.subTest(arguments=arguments):
                self.assert_refused(arguments, message)

    def test_the_state_directory_has_to_be_one(self):
        self.write("filters.json", [])
        self.assert_refused(["--state-dir", "device.json", "evaluate", "filters.json"],
                            "device.json: is not a directory")


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

    def test_a_reader_that_has_gone_is_told(self):
        reader, writer = os.pipe()
        os.close(reader)
        try:
            done = self.run_program(*self.evaluate([]), stdout=writer)
        finally:
            os.close(writer)
        self.assertEqual(done.returncode, 2)
        self.assertRegex(done.stderr.decode(), r"\Ayoxctl: standard output: .*\n\Z")


if __name__ == "__main__":
    PROGRAM = sys.argv[1:]
    if not PROGRAM:
        sys.exit(__doc__)
    unittest.main(argv=sys.argv[:1])
