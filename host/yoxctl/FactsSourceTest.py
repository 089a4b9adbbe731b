#!/usr/bin/env python3
"""The inputs of many devices: lines, compressed lines, folders and standard input, whole and damaged.

  FactsSourceTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import gzip
import json
import random
import subprocess

import YoxctlTest
from YoxctlTest import MIB, PROFILE, PROGRAM, Yoxctl

MOMENT = "2026-03-01T12:00:00+01:00"


class FactsSource(Yoxctl):
    def setUp(self):
        super().setUp()
        self.write("list.json", [{"country": "US"}])

    def decide(self, *sources, arguments=(), data=b""):
        return subprocess.run([*PROGRAM, "fleet", "decide", "list.json", "--each", "--format", "json", "--at", MOMENT,
                               *arguments, *(option for source in sources for option in ("--facts", source))],
                              cwd=self.folder, input=data, capture_output=True, timeout=60)

    def decisions(self, *sources, complaint="", **options):
        done = self.decide(*sources, **options)
        self.assertEqual((done.stderr.decode(), done.returncode), (complaint, 0))
        return [(line["id"], line["applies"]) for line in map(json.loads, done.stdout.splitlines())]

    def assert_input_refused(self, message, *sources, **options):
        done = self.decide(*sources, **options)
        self.assertEqual((done.stderr.decode(), done.returncode), (f"yoxctl: {message}\n", 2))


class FactsLines(FactsSource):
    def test_lines_may_end_as_they_do_on_any_system(self):
        for name, text in {
                "plain": b'{"id":"a","country":"US"}\n{"id":"b"}\n',
                "no last line feed": b'{"id":"a","country":"US"}\n{"id":"b"}',
                "carriage returns": b'{"id":"a","country":"US"}\r\n{"id":"b"}\r\n',
                "blank lines": b'\n  \n{"id":"a","country":"US"}\n\n\t{"id":"b"} \n\n',
                "byte order mark": b'\xef\xbb\xbf{"id":"a","country":"US"}\n{"id":"b"}\n'}.items():
            with self.subTest(name):
                self.write("fleet.jsonl", text)
                self.assertEqual(self.decisions("fleet.jsonl"), [("a", True), ("b", None)])
                self.assertEqual(self.decisions("-", data=text), [("a", True), ("b", None)])

    def test_sources_come_one_after_the_other_in_any_number_of_threads(self):
        numbers = random.Random(3)
        lines, devices = [], []
        for number in range(3000):
            country = numbers.choice(["US", "DE"])
            # Of all lengths: some lines are longer than what is read at a time.
            tag = "x" * (300_000 if number % 700 == 5 else numbers.randrange(2000))
            devices.append((str(number), country == "US"))
            lines.append(json.dumps({"id": str(number), "country": country, "tags": {"a": tag}}) + "\n")
        self.write("one.jsonl", "".join(lines[:1500]).encode())
        self.write("two.jsonl.gz", gzip.compress("".join(lines[1500:]).encode()))
        for jobs in ("1", "2", "5"):
            self.assertEqual(self.decisions("one.jsonl", "two.jsonl.gz", arguments=["--jobs", jobs]), devices)

    def test_an_empty_input_has_no_devices(self):
        self.write("empty.jsonl", b"")
        self.assertEqual(self.decisions("empty.jsonl"), [])
        self.assertEqual(self.decisions("-"), [])

    def test_a_source_that_cannot_be_read_is_refused(self):
        self.assert_input_refused("none.jsonl: no such file", "none.jsonl")
        (self.folder / "folder").mkdir()
        self.assert_input_refused("folder: no .json file in the folder", "folder")


class BadFacts(FactsSource):
    def test_a_bad_line_has_file_line_column_and_path(self):
        for line, what in {
                b'{"country": 7}': "column 13: country: expected a string or null, found a number",
                b'{"tags": {"a": null}}': "column 16: tags.a: expected a string, found null",
                b'{"county": "US"}': 'column 2: county: unknown key (did you mean "country"?)',
                b'{"country": "US"': 'column 17: expected "," or "}", found the end of the document',
                b'{"country": "\xff"}': "column 14: not well-formed UTF-8",
                b"7": "column 1: expected an object, found a number"}.items():
            self.write("fleet.jsonl", b'{"id":"a"}\n\n' + line + b'\n{"id":"b"}\n')
            self.assert_input_refused(f"fleet.jsonl, line 3, {what}", "fleet.jsonl")

    def test_the_first_bad_line_is_named_with_any_number_of_threads(self):
        long, good = (json.dumps({"tags": {"a": "x" * size}}) + "\n" for size in (300_000, 1000))
        self.write("fleet.jsonl", (long + good * 1999 + "1\n" + good * 2000 + "2\n").encode())
        for jobs in ("1", "4"):
            self.assert_input_refused("fleet.jsonl, line 2001, column 1: expected an object, found a number",
                                      "fleet.jsonl", arguments=["--jobs", jobs])

    def test_what_is_left_out_is_counted_and_the_first_ten_are_named(self):
        self.write("fleet.jsonl", b'{"id":"a"}\n' + b"[]\n" * 12 + b'{"id":"b"}\n')
        named = "".join(f"yoxctl: fleet.jsonl, line {number}, column 1: expected an object, found an array\n"
                        for number in range(2, 12))
        self.assertEqual(self.decisions("fleet.jsonl", arguments=["--skip-bad"], complaint=(
            "yoxctl: 12 devices were left out, among them the first:\n" + named)), [("a", None), ("b", None)])

    def test_a_second_device_of_an_id_is_named(self):
        self.write("one.jsonl", b'{"id":"a"}\n{"id":"b"}\n{"country":"US"}\n{"country":"US"}\n')
        self.write("two.jsonl", b'{"id":"c"}\n{"id":"b"}\n')
        message = 'two.jsonl, line 2: the id "b" is that of an earlier device'
        self.assert_input_refused(message, "one.jsonl", "two.jsonl")
        done = self.decide("one.jsonl", "two.jsonl", arguments=["--skip-bad"])
        self.assertEqual((done.stderr.decode(), done.stdout.count(b"\n"), done.returncode),
                         (f"yoxctl: 1 device has the id of an earlier one:\nyoxctl: {message}\n", 6, 0))

    def test_a_line_that_is_longer_than_a_document_may_be(self):
        for size in (4 * MIB + 1, 9 * MIB):
            tag = b'{"tags":{"a":"' + b"x" * size + b'"}}'
            self.write("fleet.jsonl", b'{"id":"a"}\n' + tag + b'\n{"id":"b"}\n7\n')
            self.assert_input_refused("fleet.jsonl, line 2: longer than 4 MiB", "fleet.jsonl")
            self.assertEqual(self.decisions("fleet.jsonl", arguments=["--skip-bad"], complaint=(
                "yoxctl: 2 devices were left out, among them the first:\n"
                "yoxctl: fleet.jsonl, line 2: longer than 4 MiB\n"
                "yoxctl: fleet.jsonl, line 4, column 1: expected an object, found a number\n")),
                [("a", None), ("b", None)])
            self.write("fleet.jsonl", tag)
            self.assert_input_refused("fleet.jsonl, line 1: longer than 4 MiB", "fleet.jsonl")


class CompressedFacts(FactsSource):
    LINES = [b'{"id":"%d","country":"US"}\n' % number for number in range(2000)]
    ALL = [(str(number), True) for number in range(2000)]

    def test_all_members_are_read_wherever_a_line_is_cut(self):
        text = b"".join(self.LINES)
        for cuts in ([], [1000], [1, 2, 3, 20000], [len(text)]):
            edges = [0, *cuts, len(text)]
            members = [gzip.compress(text[begin:end]) for begin, end in zip(edges, edges[1:])]
            self.write("fleet.jsonl.gz", b"".join(members))
            self.assertEqual(self.decisions("fleet.jsonl.gz"), self.ALL)
            self.assertEqual(self.decisions("-", data=b"".join(members)), self.ALL)

    def test_a_file_that_is_cut_is_an_error_and_no_end(self):
        members = gzip.compress(b"".join(self.LINES[:1000])) + gzip.compress(b"".join(self.LINES[1000:]))
        first = len(gzip.compress(b"".join(self.LINES[:1000])))
        for size in (2, 5, first // 2, first - 8, first - 1, first + 1, first + 12, len(members) - 1):
            self.write("fleet.jsonl.gz", members[:size])
            for arguments in ([], ["--skip-bad"]):
                self.assert_input_refused("fleet.jsonl.gz: ends in the middle of a gzip member: the file is cut",
                                          "fleet.jsonl.gz", arguments=arguments)

    def test_what_is_damaged_is_refused(self):
        whole = bytearray(gzip.compress(b"".join(self.LINES)))
        whole[-6] ^= 1  # of the checksum
        self.write("fleet.jsonl.gz", bytes(whole))
        self.assert_input_refused("fleet.jsonl.gz: damaged gzip data: incorrect data check", "fleet.jsonl.gz")
        self.write("fleet.jsonl.gz", gzip.compress(b"".join(self.LINES)) + b"more")
        self.assert_input_refused("fleet.jsonl.gz: damaged gzip data: incorrect header check", "fleet.jsonl.gz")


class FactsFolders(FactsSource):
    def test_facts_and_profiles_of_a_folder_by_name(self):
        folder = self.folder / "fleet"
        (folder / "deeper.json").mkdir(parents=True)
        self.write("fleet/c.json", {**PROFILE})
        self.write("fleet/a.json", b'{"id": "first",\n "country": "US"}\n')
        self.write("fleet/b.json", {"country": "DE"})
        self.write("fleet/d.json", {"registry": {"HKLM\\A": {"B": "c"}}})
        self.write("fleet/e.json", {"os": {"version": "10.0"}})
        self.write("fleet/f.json", {"registry": {"HKLM\\A": {"B": {"type": "REG_SZ", "data": "c"}}}})
        self.write("fleet/read.me", b"no document")
        (folder / "deeper.json").rmdir()
        self.assertEqual(self.decisions("fleet"),
                         [("first", True), ("b", False), ("c", True), ("d", None), ("e", False), ("f", False)])
        self.assertEqual(self.decisions("fleet/c.json", "fleet/b.json"), [("c", True), ("b", False)])

    def test_a_profiles_registry_is_read_for_the_list(self):
        self.write("list.json", [{"registry": "HKLM\\A:B|c"}])
        self.write("device.json", {**PROFILE, "registry": {"HKLM\\A": {"B": {"type": "REG_SZ", "data": "c"}}}})
        self.assertEqual(self.decisions("device.json"), [("device", True)])

    def test_a_bad_document_of_a_folder_is_named(self):
        (self.folder / "fleet").mkdir()
        self.write("fleet/a.json", b'{"id": "a",\n "county": "US"}\n')
        self.write("fleet/b.json", {"client": {"versoin": ""}})
        self.write("fleet/c.json", {"id": "c"})
        self.assert_input_refused('fleet/a.json, line 2, column 2: county: unknown key (did you mean "country"?)', "fleet")
        done = self.decide("fleet", arguments=["--skip-bad"])
        self.assertEqual((done.stdout.count(b"\n"), done.returncode), (1, 0))
        self.assertIn(b"fleet/b.json, line 1, column ", done.stderr)


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
