#!/usr/bin/env python3
"""What yoxctl says of a device as a facts document, and what it decides on one.

  FactsTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json
import subprocess

import YoxctlTest
from YoxctlTest import EVERY_CRITERION, PROFILE, PROGRAM, Yoxctl

APP = "HKLM\\SOFTWARE\\Contoso\\App"
DEVICE = {**PROFILE, "clock": {"now": "2026-03-01T12:00:00", "time_zone": "Europe/Berlin"},
          "organisation": {"realm": "contoso", "subscriptions": ["1b4e28ba"]},
          "devices": [{"instance_id": "A\\1", "hardware_ids": ["PCI\\VEN_8086"]}],
          "installed_apps": [{"key": "{1234}", "name": "Contoso Editor", "version": "7.1.0"}],
          "registry": {APP: {"Channel": {"type": "REG_SZ", "data": "beta"},
                             "Level": {"type": "REG_DWORD", "data": 10}}}}


class Facts(Yoxctl):
    def setUp(self):
        super().setUp()
        self.write("device.json", DEVICE)

    def facts(self, *arguments):
        done = self.run_program("--device", "device.json", "facts", *arguments)
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        self.assertEqual(done.stdout.count(b"\n"), 1)
        return json.loads(done.stdout)

    def test_a_device_in_one_line(self):
        facts = self.facts("--id", "0007f3")
        self.assertEqual(list(facts)[:3], ["id", "time_zone", "country"])
        self.assertEqual((facts["id"], facts["time_zone"]), ("0007f3", "Europe/Berlin"))
        self.assertEqual((facts["serial_number"], facts["realm"]), ("C0FFEE12", "contoso"))
        self.assertEqual(facts["installed_items"], [["{1234}", "7.1.0"], ["Contoso Editor", "7.1.0"]])
        self.assertNotIn("registry", facts)

    def test_registry_values_that_are_asked_for(self):
        self.write("list.json", [{"registry": f"{APP}:Level|>5"}, {"registry": f"{APP}:Gone|x"}])
        self.assertEqual(self.facts("--for", "list.json", "--registry", APP + ":Channel")["registry"],
                         {APP: {"Channel": "beta", "Level": "10", "Gone": None}})

    def test_a_list_takes_exactly_what_it_needs(self):
        for filters, needed in (([], set()), ([{"country": "DE", "model": "x"}, {"default": "true"}], {"country", "model"}),
                                ([{"sn_hash": "0"}], {"serial_number"}), ([{"org_hash": "0"}], {"realm"}),
                                ([{"date_range": "2026-01-01|*"}], {"time_zone"}),
                                ([{"date_function": "2026-01-05|28|linear"}], {"time_zone", "serial_number"}),
                                ([{"tag": "a|b", "hardware_id": "PCI\\A"}], {"tags", "hardware_ids"}),
                                ([{"target_version": ">1", "version": ">1", "os_version": ">1"}], {"version", "os_version"}),
                                ([{"installed_items": "a|b", "device_subscription": "x"}],
                                 {"installed_items", "device_subscription"}),
                                ([{"registry": f"{APP}:Level|>5"}], {"registry"})):
            self.write("list.json", filters)
            # The operating system has one name everywhere.
            self.assertEqual(set(self.facts("--for", "list.json")) - {"os"}, needed, filters)
        self.write("list.json", [{"sn_hash": "0"}])
        self.write("other.json", [{"country": "DE"}])
        self.assertEqual(set(self.facts("--for", "list.json", "--for", "other.json", "--anonymous")) - {"os"},
                         {"country", "sn_hash", "rollout_bucket"})

    def test_anonymous_facts_name_nobody(self):
        facts = self.facts("--anonymous")
        self.assertFalse({"serial_number", "realm"} & set(facts))
        self.assertEqual(len(facts["sn_hash"]) + len(facts["org_hash"]), 128)
        self.assertNotIn("C0FFEE12", json.dumps(facts))
        self.assertIn(facts["rollout_bucket"], range(4096))

    def test_without_firmware_and_organisation(self):
        self.write("device.json", {"clock": DEVICE["clock"]})
        facts = self.facts()
        self.assertEqual((facts["firmware"], facts["realm"], facts["device_subscription"]), (False, None, None))

    def test_a_value_that_no_list_can_ask_for_is_refused(self):
        for value in ("A:B", APP, "HKLM\\A:B,C", "HKLM\\A:B|c", ""):
            self.assert_refused(["facts", "--registry", value],
                                "--registry: expected a value such as HKLM\\SOFTWARE\\Contoso:Channel, "
                                f'as a list asks for it, found "{value}"')

    def test_decisions_on_the_document_are_those_on_the_device(self):
        answers = {}
        for name, options in (("named.json", []), ("anonymous.json", ["--anonymous"])):
            self.write(name, self.facts(*options, "--registry", APP + ":Channel", "--registry", APP + ":Level"))
        for criterion, texts in EVERY_CRITERION.items():
            for text in texts:
                if criterion == "registry" and "Contoso\\App" not in text:
                    continue
                self.write("filters.json", [{criterion: text, "value": "true"}])
                self.write("needed.json", self.facts("--for", "filters.json"))
                command = ["evaluate", "filters.json", "--target-version", "2.0"]
                on_device = self.run_program("--device", "device.json", *command)
                self.assertEqual(on_device.stderr, b"")
                answers[criterion, text] = on_device.returncode
                for name in ("named.json", "anonymous.json", "needed.json"):
                    on_facts = self.run_program(*command, "--facts", name, "--now", "2026-03-01T12:00:00+01:00")
                    self.assertEqual((on_facts.stdout, on_facts.stderr, on_facts.returncode),
                                     (on_device.stdout, b"", on_device.returncode), (criterion, text))
        self.assertEqual(set(answers.values()), {0, 1})

    def test_this_machine_decides_as_its_facts(self):
        done = self.run_program("--state-dir", "state", "facts")
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        self.write("facts.json", done.stdout)
        facts = json.loads(done.stdout)
        for criterion in ("country", "os_version", "enclosure", "mfr"):
            self.write("filters.json", [{criterion: facts.get(criterion) or "nothing"}])
            here = self.run_program("--state-dir", "state", "evaluate", "filters.json")
            there = self.run_program("evaluate", "filters.json", "--facts", "facts.json")
            self.assertEqual((here.stdout, here.returncode), (there.stdout, there.returncode), criterion)


class EvaluateFacts(Yoxctl):
    def on(self, facts, filters, *arguments):
        self.write("facts.json", facts)
        self.write("filters.json", filters)
        return ["evaluate", "filters.json", "--facts", "facts.json", *arguments]

    def test_undetermined_is_a_third_answer(self):
        filters = [{"tag": "Ring|pilot", "country": "DE", "registry": f"{APP}:Channel|beta"}]
        self.assert_answer(self.on({"country": "DE"}, filters), 1,
                           f"undetermined\nneeds registry.{APP}.Channel, tags.Ring\n")
        done = self.run_program("--format", "json", *self.on({"country": "DE"}, filters))
        self.assertEqual((json.loads(done.stdout), done.returncode),
                         ({"applies": None, "needs": [f"registry.{APP}.Channel", "tags.Ring"]}, 1))

    def test_what_does_not_hang_on_the_unknown_is_decided(self):
        filters = [{"tag": "Ring|pilot", "country": "DE"}]
        self.assert_answer(self.on({"country": "US"}, filters), 1, "does not apply\nFilter [0]: country = false; \n")
        self.assert_answer(self.on({"country": "DE", "tags": {"ring": "Pilot"}}, filters), 0,
                           "applies\nFilter [0]: true; \n")
        self.assert_answer(self.on({"country": "DE", "tags": None}, filters), 1,
                           "does not apply\nFilter [0]: tag = false; \n")
        self.assert_answer(self.on({"country": "DE", "tags": {}}, filters, "--tag", "Ring=pilot"), 0,
                           "applies\nFilter [0]: true; \n")

    def test_the_moment_and_the_target_version_are_of_the_question(self):
        filters = [{"date_range": "2026-03-02|2026-03-02", "target_version": ">=2.0"}]
        zone = {"time_zone": "Asia/Tokyo"}
        for now, code in (("2026-03-02", 0), ("2026-03-02T00:30:00", 0), ("2026-03-01T15:30:00+00:00", 0),
                          ("2026-03-01T14:30:00+00:00", 1), ("2026-03-01", 1)):
            done = self.run_program(*self.on(zone, filters, "--now", now, "--target-version", "2.1"))
            self.assertEqual((done.stderr, done.returncode), (b"", code), now)
        self.assert_answer(self.on(zone, filters, "--now", "2026-03-02"), 1, "does not apply\nFilter [0]: \n")
        self.assert_answer(self.on({}, filters, "--now", "2026-03-02T12:00:00+00:00", "--target-version", "2.1"), 1,
                           "undetermined\nneeds time_zone\n")

    def test_a_moment_without_an_offset_needs_the_zone(self):
        self.assert_refused(self.on({}, [], "--now", "2026-03-02"),
                            "--now: the facts name no time zone: expected an offset as in "
                            '2026-03-01T12:00:00+01:00, found "2026-03-02"')
        self.assert_refused(self.on({}, [], "--now", "soon"),
                            "--now: expected a local time YYYY-MM-DDThh:mm:ss")

    def test_an_explanation_says_what_is_not_known(self):
        arguments = self.on({"country": "DE"}, [{"country": "DE", "tag": "Ring|pilot"}], "--explain")
        done = self.run_program(*arguments)
        self.assertTrue(done.stdout.decode().startswith("undetermined\nneeds tags.Ring\n"), done.stdout)
        self.assertIn("not known", done.stdout.decode())
        done = self.run_program("--format", "json", *arguments)
        self.assertEqual(json.loads(done.stdout)["explain"][0]["outcome"], "undetermined")

    def test_standard_input_is_a_document_too(self):
        self.write("filters.json", [{"country": "DE"}])
        done = subprocess.run([*PROGRAM, "evaluate", "filters.json", "--facts", "-"], cwd=self.folder,
                              input=b'{"country": "DE"}', capture_output=True, timeout=60)
        self.assertEqual((done.stdout, done.stderr, done.returncode), (b"applies\nFilter [0]: true; \n", b"", 0))

    def test_what_is_no_facts_document_is_refused_with_its_place(self):
        self.assert_refused(self.on(b'{"id": "a",\n "county": "DE"}', []),
                            'facts.json: line 2, column 2: county: unknown key (did you mean "country"?)')
        self.assert_refused(self.on(b'{"tags": {"Ring": 1}}', []),
                            "facts.json: line 1, column 19: tags.Ring: expected a string, found a number")

    def test_facts_are_the_device(self):
        for option in (["--device", "device.json"], ["--state-dir", "state"]):
            self.assert_refused([*option, *self.on({}, [])],
                                "--facts: the facts are the device: --device and --state-dir are not for it")


class TestFacts(Yoxctl):
    def cases(self, *cases):
        self.write("list.json", [{"country": "DE", "tag": "Ring|pilot", "date_range": "2026-03-01|*"}])
        self.write("list.test.json", {"cases": list(cases)})
        return ["test", "list.test.json"]

    def test_cases_whose_device_is_a_facts_document(self):
        self.write("pilot.json", {"time_zone": "UTC", "country": "DE", "tags": {"Ring": "pilot"}})
        self.assert_answer(self.cases(
            {"name": "pilot", "facts": "pilot.json", "now": "2026-03-01T12:00:00", "applies": True, "decided_by": 0},
            {"name": "early", "facts": "pilot.json", "now": "2026-02-01T12:00:00", "applies": False},
            {"name": "unknown", "facts": {"country": "DE"}, "now": "2026-03-05T12:00:00+00:00", "applies": None},
            {"name": "elsewhere", "facts": {"country": "FR"}, "applies": False}),
            0, "list.test.json\n  ok    [0] pilot\n  ok    [1] early\n  ok    [2] unknown\n  ok    [3] elsewhere\n"
               "4 passed, 0 failed\n")

    def test_a_failed_case_says_what_would_settle_it(self):
        done = self.run_program(*self.cases({"name": "a", "facts": {"country": "DE"}, "applies": True,
                                             "now": "2026-03-05T12:00:00+00:00"}))
        self.assertEqual(done.returncode, 1)
        self.assertIn("expected: applies\n        found:    undetermined, needs tags.Ring", done.stdout.decode())
        self.assertIn("not known", done.stdout.decode())
        done = self.run_program("--format", "json", *self.cases({"facts": {"country": "FR"}, "applies": None}))
        case = json.loads(done.stdout)["files"][0]["cases"][0]
        self.assertEqual((case["passed"], case["expected"], case["applies"]), (False, {"applies": None}, False))

    def test_bad_facts_are_refused_before_any_case_is_run(self):
        good = {"facts": {"country": "DE"}, "applies": False}
        self.write("bad.json", b'{"id": 1}')
        self.assert_refused(self.cases(good, {"facts": "bad.json", "applies": True}),
                            "list.test.json: cases[1].facts: bad.json: line 1, column 8: id: expected a string, "
                            "found a number")
        self.assert_refused(self.cases(good, {"facts": "none.json", "applies": True}),
                            "list.test.json: cases[1].facts: none.json: no such file")
        self.assert_refused(self.cases(good, {"facts": {}, "now": "2026-03-01T12:00:00", "applies": True}),
                            "list.test.json: cases[1].now: the facts name no time zone: expected an offset as in "
                            '2026-03-01T12:00:00+01:00, found "2026-03-01T12:00:00"')


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
