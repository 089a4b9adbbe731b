#!/usr/bin/env python3
"""yoxctl fleet as a person at a prompt meets it.

  FleetTest.py [--cases CLASS] [EMULATOR...] YOXCTL
  FleetTest.py --evaluate DEVICES.jsonl LIST.json YOXCTL   compares every decision with that of evaluate
"""
import collections
import datetime
import gzip
import json
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import zoneinfo

import YoxctlTest
from YoxctlTest import MIB, PROGRAM, Yoxctl

EXAMPLE = pathlib.Path(YoxctlTest.__file__).parents[2] / "examples/fleet"
MOMENT = "2026-01-20T12:00:00Z"


def profile_of(facts, moment):
    """The profile of a device with the same values; what is unknown is missing."""
    known = lambda **names: {key: facts[name] for key, name in names.items() if facts.get(name) is not None}
    zone = facts.get("time_zone", "UTC")
    profile = {
        "clock": {"now": moment.astimezone(zoneinfo.ZoneInfo(zone)).strftime("%Y-%m-%dT%H:%M:%S"),
                  "time_zone": zone},
        "client": known(version="version"),
        "firmware": known(manufacturer="mfr", family="family", model_number="model", sku="sku",
                          serial_number="serial_number", enclosure_type="enclosure"),
        "os": {**known(version="os_version", caption="os_description"), "architecture": 9},
        "region": known(country_code="country", language_code="language"),
        "installed_apps": [{"key": f"{{{i}}}", "name": name, "version": version}
                           for i, (name, version) in enumerate(facts.get("installed_items", []))],
        "registry": {key: {name: {"type": "REG_SZ", "data": text} for name, text in values.items()
                           if text is not None}
                     for key, values in facts.get("registry", {}).items()},
    }
    if facts.get("realm"):
        profile["organisation"] = {"realm": facts["realm"]}
    return profile


def decisions_of_evaluate(program, folder, filters, devices, moment, expected):
    """Decides on every device as `evaluate --device` does, through `test`, which runs many in one process."""
    (folder / "list.json").write_text(json.dumps(filters), encoding="utf-8")
    when = datetime.datetime.fromisoformat(moment.replace("Z", "+00:00"))
    for start in range(0, len(devices), 1000):
        cases = [{"name": device["id"], "changes": profile_of(device, when), "tags": device.get("tags", {}),
                  "applies": bool(answer["applies"])}
                 for device, answer in zip(devices[start:start + 1000], expected[start:start + 1000])]
        (folder / "list.test.json").write_text(json.dumps({"cases": cases}), encoding="utf-8")
        done = subprocess.run([*program, "test", "--format", "json", "list.test.json"], cwd=folder,
                              stdout=subprocess.PIPE, timeout=1200)
        yield from json.loads(done.stdout)["files"][0]["cases"]


def compare_with_evaluate(program, filters, lines, moment):
    """Returns how many decisions were compared, by their verdict, and those that differ."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "devices.jsonl").write_bytes(b"".join(lines))
        (folder / "fleet.json").write_text(json.dumps(filters), encoding="utf-8")
        done = subprocess.run([*program, "fleet", "decide", "fleet.json", "--facts", "devices.jsonl", "--each", "--at",
                               moment, "--format", "json"], cwd=folder, check=True, stdout=subprocess.PIPE)
        answers = [json.loads(line) for line in done.stdout.splitlines()]
        devices = [json.loads(line) for line in lines]
        assert [answer["id"] for answer in answers] == [device["id"] for device in devices]
        differing, compared = [], collections.Counter()
        found = decisions_of_evaluate(program, folder, filters, devices, moment, answers)
        for device, answer, result in zip(devices, answers, found, strict=True):
            compared[answer["applies"]] += 1
            if answer["applies"] is None:
                continue  # some device of these facts would be decided either way
            # The first criterion that fails may be one whose fact is unknown.
            is_whole = "reason" in answer and {"tags", "registry", "os_version", "time_zone", "serial_number"} <= device.keys()
            compared["reason"] += is_whole
            if answer["applies"] != result["applies"] or is_whole and (
                    answer["reason"] != result["reason"] or answer.get("decided_by") != result.get("decided_by")):
                differing.append((answer, result))
        return compared, differing


class Fleet(Yoxctl):
    def setUp(self):
        super().setUp()
        for file in EXAMPLE.iterdir():
            shutil.copy(file, self.folder)

    def fleet(self, command, *arguments, code=0, moment=MOMENT, **options):
        done = self.run_program("fleet", command, *arguments, "--at", moment, **options)
        self.assertEqual((done.stderr.decode(), done.returncode), ("", code))
        return done.stdout.decode()

    def fleet_json(self, *arguments, **options):
        return json.loads(self.fleet(*arguments, "--format", "json", **options))

    def each(self, filters, facts, *arguments, **options):
        text = self.fleet("decide", filters, "--facts", facts, "--each", "--format", "json", *arguments, **options)
        return [json.loads(line) for line in text.splitlines()]

    def write_devices(self, name, devices):
        self.write(name, "".join(json.dumps(device) + "\n" for device in devices).encode())

    def devices(self):
        return [json.loads(line) for line in (EXAMPLE / "devices.jsonl").read_text(encoding="utf-8").splitlines()]

    def many(self, copies):
        """A file of several batches."""
        devices = self.devices()
        self.write_devices("many.jsonl", [{**device, "id": f"{copy}-{device['id']}"}
                                          for copy in range(copies) for device in devices])
        return "many.jsonl"


class FleetDecide(Fleet):
    def test_the_counts_are_those_of_the_single_decisions(self):
        counts = self.fleet_json("decide", "list-3.json", "--facts", "devices.jsonl")
        lines = self.each("list-3.json", "devices.jsonl")
        verdicts = collections.Counter(line["applies"] for line in lines)
        self.assertEqual((counts["devices"], counts["applies"], counts["does_not_apply"], counts["undetermined"]),
                         (1000, verdicts[True], verdicts[False], verdicts[None]))
        for filter in counts["filters"]:
            decided = sum(line.get("decided_by") == filter["filter"] for line in lines)
            self.assertEqual(filter["decided"], decided)
        needs = collections.Counter(fact for line in lines for fact in line.get("needs", []))
        self.assertEqual(counts["needs"], dict(needs))
        self.assertEqual(set(verdicts), {True, False, None})

    def test_the_lines_keep_the_order_of_the_input_with_any_number_of_threads(self):
        facts = self.many(20)
        texts = [self.fleet("decide", "list-1.json", "--facts", facts, "--each", "--jobs", jobs)
                 for jobs in ("1", "2", "7")]
        self.assertEqual(texts[1:], texts[:1] * 2)
        ids = [line.split("\t")[0] for line in texts[0].splitlines()]
        expected = [json.loads(line)["id"] for line in (self.folder / facts).read_text().splitlines()]
        self.assertEqual(ids, expected)

    def test_a_line_has_the_verdict_the_filter_and_the_reason_or_the_needs(self):
        self.write("two.json", [{"country": "US", "value": "false"}, {"tag": "Ring|pilot"}])
        self.write_devices("three.jsonl", [{"id": "a", "country": "US"}, {"id": "b", "country": "DE"},
                                           {"id": "c", "country": "DE", "tags": {"ring": "pilot"}}])
        self.assertEqual(self.each("two.json", "three.jsonl"), [
            {"id": "a", "applies": False, "decided_by": 0, "reason": "Filter [0]: value = false; "},
            {"id": "b", "applies": None, "needs": ["tags.Ring"]},
            {"id": "c", "applies": True, "decided_by": 1, "reason": "Filter [0]: country = false; Filter [1]: true; "}])
        self.assertEqual(self.fleet("decide", "two.json", "--facts", "three.jsonl", "--each"),
                         "a\tdoes not apply\tFilter [0]: value = false;\nb\tundetermined\ttags.Ring\n"
                         "c\tapplies\tFilter [0]: country = false; Filter [1]: true;\n")

    def test_a_device_is_one_line_whatever_its_id_is(self):
        self.write("list.json", [{"country": "DE"}])
        self.write_devices("odd.jsonl", [{"id": "a\nb\tc\u001b[31m", "country": "DE"}, {"id": "second", "country": "FR"}])
        lines = self.fleet("decide", "list.json", "--facts", "odd.jsonl", "--each").splitlines()
        self.assertEqual(len(lines), 2)
        self.assertNotIn("\x1b", lines[0])
        self.assertEqual([len(line.split("\t")) for line in lines], [3, 3])

    def test_the_text_says_who_is_excluded_by_what(self):
        self.write("one.json", [{"country": "US", "model": "A"}, {"country": "FR"}])
        self.write_devices("four.jsonl", [{"id": str(i), "country": country, "model": model} for i, (country, model)
                                          in enumerate((("US", "A"), ("US", "B"), ("DE", "A"), ("DE", "B")))])
        self.assertEqual(self.fleet("decide", "one.json", "--facts", "four.jsonl"), """\
4 devices
         1   25.00 %  apply
         3   75.00 %  do not apply
         0    0.00 %  undetermined

filter [0], applies: reached by 4, decided 1
  excluded by              first      only
    country                    2         1
    model                      1         1

filter [1], applies: reached by 3, decided 0  <- decides no device
  excluded by              first      only
    country                    3         3
""")

    def test_moment_and_target_version_are_the_questions(self):
        self.write("dated.json", [{"date_range": "2026-03-01|2026-03-01", "target_version": ">=2.0"}])
        self.write_devices("one.jsonl", [{"id": "a", "time_zone": "Asia/Tokyo"}])
        for moment, version, applies in (("2026-02-28T15:00:00Z", "2.0", True), ("2026-02-28T14:59:59Z", "2.0", False),
                                         ("2026-03-01T23:59:59+09:00", "2.1", True),
                                         ("2026-03-01T12:00:00+09:00", "1.9", False)):
            with self.subTest(moment=moment, version=version):
                line, = self.each("dated.json", "one.jsonl", "--target-version", version, moment=moment)
                self.assertIs(line["applies"], applies)
        self.assert_refused(
            ["fleet", "decide", "dated.json", "--facts", "one.jsonl", "--at", "2026-03-01T12:00:00"],
            '--at: expected a date and time with an offset, such as 2026-03-01T12:00:00+01:00, '
            'found "2026-03-01T12:00:00"')

    def test_the_devices_are_those_of_the_facts(self):
        self.assert_refused(["--device", "device.json", "fleet", "decide", "list-1.json", "--facts", "devices.jsonl"],
                            "fleet: --facts names the devices: --device and --state-dir are not for it")

    def test_compressed_and_standard_input_give_the_same(self):
        expected = self.fleet("decide", "list-1.json", "--facts", "devices.jsonl")
        data = (EXAMPLE / "devices.jsonl").read_bytes()
        self.write("devices.jsonl.gz", gzip.compress(data))
        self.assertEqual(self.fleet("decide", "list-1.json", "--facts", "devices.jsonl.gz"), expected)
        done = subprocess.run([*PROGRAM, "fleet", "decide", "list-1.json", "--facts", "-", "--at", MOMENT],
                              cwd=self.folder, input=data, capture_output=True, timeout=60)
        self.assertEqual((done.stdout.decode(), done.stderr, done.returncode), (expected, b"", 0))

    def test_a_bad_line_is_refused_and_nothing_is_decided(self):
        self.write("bad.jsonl", b'{"id": "a", "country": "US"}\n{"id": "b", "country": 7}\n')
        for command in (["decide", "list-1.json"], ["decide", "list-1.json", "--each"],
                        ["diff", "list-1.json", "list-2.json"], ["rollout", "list-1.json"],
                        ["report", "list-1.json", "--html", "page.html"]):
            with self.subTest(command=command):
                done = self.run_program("fleet", *command, "--facts", "bad.jsonl")
                self.assertEqual((done.stdout, done.returncode), (b"", 2))
                self.assertTrue(done.stderr.startswith(b"yoxctl: bad.jsonl, line 2"), done.stderr)
        self.assertFalse((self.folder / "page.html").exists())
        done = self.run_program("fleet", "decide", "list-1.json", "--facts", "bad.jsonl", "--skip-bad", "--format", "json")
        self.assertEqual((json.loads(done.stdout)["devices"], done.returncode), (1, 0))
        self.assertIn(b"bad.jsonl, line 2", done.stderr)


class FleetDiff(Fleet):
    def test_the_mistake_of_the_second_version_is_shown(self):
        mistake = self.fleet_json("diff", "list-1.json", "list-2.json", "--facts", "devices.jsonl", code=1)
        by = {(group["from"]["filter"], group["from"].get("criterion"), group["to"]["filter"]): group["gain"]
              for group in mistake["by"]}
        # Old systems that nobody meant come in through filter 2.
        self.assertEqual(by, {(2, "os_version", 2): 28, (3, "country", 3): 5})
        meant = self.fleet_json("diff", "list-1.json", "list-3.json", "--facts", "devices.jsonl", code=1)
        self.assertEqual([(group["from"], group["gain"]) for group in meant["by"]],
                         [({"filter": 3, "criterion": "country"}, 5)])

    def test_the_groups_are_those_of_the_single_decisions(self):
        before, after = (self.each(name, "devices.jsonl") for name in ("list-1.json", "list-2.json"))
        moves = collections.Counter((old["applies"], new["applies"]) for old, new in zip(before, after, strict=True))
        found = self.fleet_json("diff", "list-1.json", "list-2.json", "--facts", "devices.jsonl", code=1)
        self.assertEqual((found["gain"], found["lose"], found["same"], found["devices"]),
                         (moves[False, True], moves[True, False], moves[True, True] + moves[False, False], 1000))
        gained = [new["id"] for old, new in zip(before, after) if (old["applies"], new["applies"]) == (False, True)]
        self.assertEqual(found["gain"], sum(group["gain"] for group in found["by"]))
        self.assertTrue(all(set(group["examples"]) <= set(gained) for group in found["by"]))
        backwards = self.fleet_json("diff", "list-2.json", "list-1.json", "--facts", "devices.jsonl", code=1)
        self.assertEqual((backwards["gain"], backwards["lose"]), (found["lose"], found["gain"]))

    def test_verdicts_that_become_or_were_undetermined_are_changes(self):
        self.write_devices("one.jsonl", [{"id": "a"}])
        for filters, name in (([{"country": "DE"}], "open.json"), ([{"default": "true"}], "all.json"),
                              ([{"default": "false"}], "none.json")):
            self.write(name, filters)
        for before, after, words, code in (
                ("open.json", "all.json", "  were undetermined, and apply now", 1),
                ("open.json", "none.json", "  were undetermined, and do not apply now", 1),
                ("all.json", "open.json", "  applied, and are undetermined now", 1),
                ("none.json", "open.json", "  did not apply, and are undetermined now", 1)):
            text = self.fleet("diff", before, after, "--facts", "one.jsonl", code=code)
            self.assertEqual(text.splitlines()[5:], ["         1  100.00 %  " + words], (before, after))
        self.assertEqual(len(self.fleet("diff", "open.json", "open.json", "--facts", "one.jsonl").splitlines()), 5)

    def test_the_largest_group_is_first_and_names_five(self):
        self.write("old.json", [{"country": "DE"}, {"country": "FR"}])
        self.write("new.json", [{"country": "IT"}, {"country": "ES"}])
        self.write_devices("few.jsonl", [{"id": f"{country}{number}", "country": country}
                                         for country, count in (("IT", 2), ("ES", 7), ("FR", 1)) for number in range(count)])
        groups = self.fleet_json("diff", "old.json", "new.json", "--facts", "few.jsonl", code=1)["by"]
        self.assertEqual([(group["gain"], group["lose"], group["examples"]) for group in groups],
                         [(7, 0, ["ES0", "ES1", "ES2", "ES3", "ES4"]), (2, 0, ["IT0", "IT1"]), (0, 1, ["FR0"])])

    def test_equal_lists_end_with_0(self):
        self.assertIn("1000 devices", self.fleet("diff", "list-1.json", "list-1.json", "--facts", "devices.jsonl"))


class FleetRollout(Fleet):
    def test_each_day_has_as_many_as_the_decisions_at_its_noon(self):
        devices = [{**device, "time_zone": "UTC"} for device in self.devices()]
        self.write_devices("utc.jsonl", devices)
        rollout = self.fleet_json("rollout", "list-1.json", "--facts", "utc.jsonl", "--days", "30",
                                  moment="2026-01-04T00:00:00Z")
        self.assertEqual((rollout["devices"], len(rollout["days"]), rollout["days"][0]["date"]), (1000, 30, "2026-01-04"))
        for day in rollout["days"]:
            counts = self.fleet_json("decide", "list-1.json", "--facts", "utc.jsonl", moment=day["date"] + "T12:00:00Z")
            self.assertEqual((day["in"], day["at_most"]), (counts["applies"], counts["applies"] + counts["undetermined"]),
                             day["date"])
        self.assertGreater(rollout["days"][-1]["in"], rollout["days"][0]["in"] + 20)

    def test_a_day_is_that_of_the_devices_own_calendar(self):
        self.write("list.json", [{"date_range": "2026-03-29|2026-03-30"}])
        self.write_devices("zones.jsonl", [{"id": zone, "time_zone": zone} for zone in
                                           ("Pacific/Auckland", "Pacific/Honolulu", "Europe/Berlin")] + [{"id": "none"}])
        rollout = self.fleet_json("rollout", "list.json", "--facts", "zones.jsonl", "--days", "4",
                                  moment="2026-03-28T12:00:00Z")
        self.assertEqual([(day["date"], day["in"], day["at_most"]) for day in rollout["days"]],
                         [("2026-03-28", 0, 0), ("2026-03-29", 4, 4), ("2026-03-30", 4, 4), ("2026-03-31", 0, 0)])

    def test_the_curve_goes_from_the_first_to_the_last_day(self):
        done = self.run_program("fleet", "rollout", "list-1.json", "--facts", "devices.jsonl", "--format", "json")
        days = json.loads(done.stdout)["days"]
        self.assertEqual((days[0]["date"], days[-1]["date"], len(days)), ("2026-01-05", "2026-02-01", 28))
        self.assert_refused(["fleet", "rollout", "list-1.json", "--facts", "devices.jsonl", "--days", "0"],
                            "--days: expected a number from 1 to 36525")

    def test_a_roll_out_of_more_than_a_century_needs_a_number_of_days(self):
        self.write("long.json", [{"date_function": "2026-01-05|40000|linear"}])
        command = ["fleet", "rollout", "long.json", "--facts", "devices.jsonl"]
        self.assert_refused(command, "long.json: its roll-outs take more than 36525 days: choose fewer with --days")
        done = self.run_program(*command, "--days", "2", "--format", "json")
        self.assertEqual([day["date"] for day in json.loads(done.stdout)["days"]], ["2026-01-05", "2026-01-06"])

    def test_a_list_without_a_roll_out_shows_four_weeks_from_the_moment(self):
        self.write("plain.json", [{"country": "DE"}])
        days = self.fleet_json("rollout", "plain.json", "--facts", "devices.jsonl")["days"]
        self.assertEqual((days[0]["date"], len(days)), (MOMENT[:10], 28))
        self.assertEqual(len({(day["in"], day["at_most"]) for day in days}), 1)

    def test_after_the_last_day_of_a_roll_out_four_weeks_are_shown(self):
        for moment, last in (("2026-02-02T12:00:00Z", "2026-03-01"), ("2026-02-01T12:00:00Z", "2026-02-01")):
            days = self.fleet_json("rollout", "list-1.json", "--facts", "devices.jsonl", moment=moment)["days"]
            self.assertEqual((days[0]["date"], days[-1]["date"]), (moment[:10], last))


class FleetEvaluate(Fleet):
    def test_every_decision_is_that_of_evaluate_on_a_profile_of_the_same_values(self):
        filters = json.loads((EXAMPLE / "list-3.json").read_text())
        lines = (EXAMPLE / "devices.jsonl").read_bytes().splitlines(keepends=True)
        compared, differing = compare_with_evaluate(PROGRAM, filters, lines, MOMENT)
        self.assertEqual(differing, [])
        self.assertGreater(compared["reason"], 850)
        self.assertGreater(compared[True], 50)


class FleetStreams(Fleet):
    def test_a_reader_that_has_enough_ends_it_quietly(self):
        facts = self.many(20)
        with open(self.folder / "errors", "wb") as errors:
            program = subprocess.Popen([*PROGRAM, "fleet", "decide", "list-1.json", "--facts", facts, "--each"],
                                       cwd=self.folder, stdout=subprocess.PIPE, stderr=errors)
            self.assertTrue(program.stdout.readline())
            program.stdout.close()
            self.assertEqual(program.wait(60), 0)
        self.assertEqual(self.errors(), b"")

    def test_an_interrupt_ends_it_at_once(self):
        if len(PROGRAM) > 1:
            self.skipTest("a signal would reach the emulator alone")
        program = subprocess.Popen([*PROGRAM, "fleet", "decide", "list-1.json", "--facts", "-", "--each"],
                                   cwd=self.folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        with program:
            program.stdin.write((EXAMPLE / "devices.jsonl").read_bytes())
            program.stdin.flush()
            self.assertTrue(program.stdout.readline())  # it is at work, and waits for more
            program.send_signal(signal.SIGINT)
            self.assertEqual(program.wait(10), -signal.SIGINT)

    def test_progress_is_shown_on_a_terminal(self):
        if len(PROGRAM) > 1:
            self.skipTest("the emulator has no terminal of the kind")
        facts = self.many(1)
        data = (self.folder / facts).read_bytes()
        terminal, errors = pty.openpty()
        program = subprocess.Popen([*PROGRAM, "fleet", "decide", "list-1.json", "--facts", "-", "--skip-bad"],
                                   cwd=self.folder, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=errors)
        os.close(errors)
        shown = b""
        with program:
            until = time.monotonic() + 60
            while b"per second" not in shown and time.monotonic() < until:
                program.stdin.write(data)
                program.stdin.flush()
                while select.select([terminal], [], [], 0)[0]:
                    shown += os.read(terminal, 4096)
            program.kill()
        os.close(terminal)
        self.assertRegex(shown, rb"\r\d+ devices, \d+ per second")

    def test_memory_does_not_grow_with_the_number_of_devices(self):
        if len(PROGRAM) > 1 or not sys.platform.startswith("linux") or YoxctlTest.is_sanitized(PROGRAM[-1]):
            self.skipTest("the emulator's or the sanitizer's memory would be measured")

        def peak(facts, *arguments):
            """Of the program's own memory: what wait4 gives counts the memory of this test before exec."""
            with open(os.devnull, "wb") as nowhere:
                program = subprocess.Popen([*PROGRAM, "fleet", *arguments, "--facts", "-", "--jobs", "2"],
                                           cwd=self.folder, stdin=subprocess.PIPE, stdout=nowhere)
            with program:
                program.stdin.write((self.folder / facts).read_bytes())
                program.stdin.flush()  # all but the last batches are read, and it waits for more
                status = pathlib.Path(f"/proc/{program.pid}/status").read_text()
                program.stdin.close()
            self.assertIn(program.returncode, (0, 1))
            return int(re.search(r"VmHWM:\s*(\d+) kB", status)[1]) * 1024

        small, large = self.many(10), self.folder / "large.jsonl"
        shutil.copy(self.folder / small, self.folder / "small.jsonl")
        shutil.copy(self.folder / self.many(80), large)
        for command in (["decide", "list-1.json"], ["decide", "list-1.json", "--each"],
                        ["diff", "list-1.json", "list-2.json"], ["rollout", "list-1.json"]):
            with self.subTest(command=command):
                # 70,000 more devices, of which 16 bytes are kept.
                self.assertLess(peak("large.jsonl", *command), peak("small.jsonl", *command) + 4 * MIB)


def main():
    if sys.argv[1:2] == ["--evaluate"]:
        devices, filters, *program = sys.argv[2:]
        lines = pathlib.Path(devices).read_bytes().splitlines(keepends=True)
        compared, differing = compare_with_evaluate(program, json.loads(pathlib.Path(filters).read_text()), lines, MOMENT)
        print(dict(compared), f"{len(differing)} differ", *differing[:5], sep="\n")
        return 1 if differing else 0
    YoxctlTest.run(__doc__)
    return 0


if __name__ == "__main__":
    sys.exit(main())
