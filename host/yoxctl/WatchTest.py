#!/usr/bin/env python3
"""A watch of yoxctl over tags and decisions, with another process at work.

  WatchTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json
import os
import signal

import YoxctlTest
from YoxctlTest import Yoxctl

TAGS = "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags"


class Watcher:
    def watch(self, *arguments):
        return self.start_program("--format", "json", *arguments)

    def until(self, program, event, **fields):
        """The first document of the event with these fields; the process's end fails."""
        for line in program.stdout:
            document = json.loads(line)
            if document["event"] == event and fields.items() <= document.items():
                return document
        self.fail(f"no {event} {fields}: {self.errors()}")


class WatchProfile(Watcher, Yoxctl):
    def edit(self, profile):
        self.write("edited.json", profile)
        os.replace(self.folder / "edited.json", self.folder / "device.json")

    def test_an_edit_flips_the_decision_and_the_criterion_is_named(self):
        self.write("device.json", {"installed_apps": []})
        self.write("filters.json", [{"os": "Linux"}, {"installed_items": "Contoso Editor|>=8.0"}])
        program = self.watch("--device", "device.json", "watch", "filters.json")
        self.assertEqual(self.until(program, "decision"), {
            "event": "decision", "applies": False,
            "reason": "Filter [0]: os = false; Filter [1]: installed_items = false; "})
        self.edit({"installed_apps": [{"key": "{1}", "name": "Contoso Editor", "version": "8.1"}]})
        self.assertEqual(self.until(program, "decision"), {
            "event": "decision", "applies": True, "criterion": "installed_items", "filter": 1,
            "reason": "Filter [0]: os = false; Filter [1]: true; "})
        self.edit({})
        self.assertEqual(self.until(program, "decision", applies=False)["criterion"], "installed_items")
        self.end(program, signal.SIGTERM)

    def test_a_registry_value_flips_it_too(self):
        self.write("device.json", {})
        self.write("filters.json", [{"registry": "HKLM\\SOFTWARE\\Contoso:Ring|beta"}])
        program = self.watch("--device", "device.json", "watch", "filters.json")
        self.assertFalse(self.until(program, "decision")["applies"])
        self.edit({"registry": {"HKLM\\SOFTWARE\\Contoso": {"Ring": {"type": "REG_SZ", "data": "beta"}}}})
        self.assertEqual(self.until(program, "decision", applies=True)["criterion"], "registry")
        self.end(program, signal.SIGINT)

    def test_every_edit_of_the_profile_is_followed(self):
        serial = {"firmware": {"serial_number": "C0FFEE12"}}
        realm = {"organisation": {"realm": "contoso"}}
        # The criterion, what it asks for, and the edit after which the device has it.
        edits = [
            ("country", "DE", {"region": {"country_code": "DE"}}),
            ("language", "de-DE", {"region": {"language_code": "de-DE"}}),
            ("mfr", "Fabrikam", {"firmware": {"manufacturer": "Fabrikam"}}),
            ("family", "Falcon", {"firmware": {"family": "Falcon"}}),
            ("model", "FA14", {"firmware": {"model_number": "FA14"}}),
            ("sku", "F14", {"firmware": {"sku": "F14"}}),
            ("enclosure", "Notebook", {"firmware": {"enclosure_type": "Notebook"}}),
            ("os_version", ">=10.0", {"os": {"version": "10.0.22631"}}),
            ("version", ">=4.2", {"client": {"version": "4.2.10"}}),
            ("sn_hash", self.actual("sn_hash", serial), serial),
            ("org_hash", self.actual("org_hash", realm), realm),
            ("device_subscription", "1b4e28ba", {"organisation": {"subscriptions": ["1b4e28ba"]}}),
            ("tag", "Device.Usage.IsManagedDevice|true",
             {"registry": {"HKLM\\SOFTWARE\\Policies\\Tervan\\YOX":
                           {"IsManagedDevice": {"type": "REG_DWORD", "data": 1}}}}),
            ("date_range", "2030-01-01|2030-12-31", {"clock": {"now": "2030-05-05T12:00:00"}}),
            ("date_range", "2026-03-02|2026-03-02",
             {"clock": {"now": "2026-03-02T00:30:00", "time_zone": "Asia/Tokyo"}}),
        ]
        before = {"clock": {"now": "2026-03-01T12:00:00"}, "firmware": {"sku": "other"},
                  "organisation": {"realm": "other"}}
        self.write("device.json", before)
        self.write("filters.json", [{criterion: text} for criterion, text, _ in edits])
        program = self.watch("--device", "device.json", "watch", "filters.json")
        self.assertFalse(self.until(program, "decision")["applies"])
        for number, (criterion, text, edit) in enumerate(edits):
            with self.subTest(criterion=criterion, text=text):
                self.edit({**before, **edit})
                decision = self.until(program, "decision", applies=True)
                self.assertEqual((decision["criterion"], decision["filter"]), (criterion, number))
                self.edit(before)
                self.until(program, "decision", applies=False)
        self.end(program, signal.SIGTERM)

    def actual(self, criterion, profile):
        """What a device has for a criterion."""
        self.write("other.json", profile)
        self.write("filters.json", [{criterion: "?"}])
        done = self.run_program("--device", "other.json", "--format", "json", "evaluate", "filters.json", "--explain")
        return json.loads(done.stdout)["explain"][0]["criteria"][0]["actual"]

    def test_a_list_that_is_none_is_refused(self):
        self.write("filters.json", {"filters": 1})
        self.assertEqual(self.run_program("--device", "device.json", "watch", "filters.json").returncode, 2)


class WatchMachine(Watcher, Yoxctl):
    # In real time: the change is held back for a minute.
    def test_a_tag_that_another_process_writes_flips_the_decision(self):
        state = ["--state-dir", str(self.folder / "state")]
        value = "beta" + str(os.getpid())
        self.write("filters.json", [{"tag": "YoxWatchTest|" + value}])
        set_tag = [*state, "registry", "set", TAGS, "YoxWatchTest"]
        self.assertEqual(self.run_program(*set_tag, "stable").returncode, 0)
        program = self.watch(*state, "watch", "filters.json")
        self.assertFalse(self.until(program, "decision")["applies"])
        self.assertEqual(self.run_program(*set_tag, value).returncode, 0)
        self.until(program, "tag", key="YoxWatchTest", value=value)
        flipped = self.until(program, "decision")
        self.assertEqual((flipped["applies"], flipped["criterion"], flipped["filter"]), (True, "tag", 0))
        self.run_program(*state, "registry", "delete", TAGS, "YoxWatchTest")
        self.end(program, signal.SIGTERM)


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
