#!/usr/bin/env python3
"""What yoxctl captures: a device as a profile that decides as the device does.

  CaptureTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json

import YoxctlTest
from YoxctlTest import EVERY_CRITERION, PROFILE, PROGRAM, Yoxctl


class Capture(Yoxctl):
    def run_program(self, *arguments, **options):
        done = super().run_program(*arguments, **options)
        # What it says of a slow machine.
        done.stderr = done.stderr.replace(b"yoxctl: still reading the device\n", b"")
        return done

    def capture(self, *arguments):
        done = self.run_program(*arguments, "capture")
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        return json.loads(done.stdout)

    def decisions(self, *arguments):
        answers = []
        for criterion, texts in EVERY_CRITERION.items():
            for text in texts:
                self.write("filters.json", [{criterion: text, "value": "true"}])
                done = self.run_program(*arguments, "evaluate", "filters.json", "--target-version", "2.0")
                self.assertIn(done.returncode, (0, 1), done.stderr)
                answers.append((criterion, text, done.returncode, done.stdout))
        return answers

    def test_a_profile_comes_back_whole(self):
        profile = {**PROFILE, "organisation": {"realm": "contoso", "subscriptions": ["1b4e28ba-2fa1"]},
                   "accelerators": [{"manufacturer": "Contoso", "description": "Contoso AI"}],
                   "devices": [{"instance_id": "PCI\\A\\1", "hardware_ids": ["PCI\\VEN_8086&DEV_7D45"]}],
                   "developer": {"device_model_override": "20X1ABCD"}, "join": {"domain": True},
                   "configuration": {"mtm": "M"}, "services": {"ccmexec": "running"}}
        self.write("device.json", profile)
        captured = self.capture("--device", "device.json")
        for section in profile:
            if section not in ("clock",):
                self.assertEqual(captured.get(section), profile[section], section)
        self.assertEqual(captured["clock"], {"now": "2026-03-01T12:00:00", "uptime_seconds": 86400})
        self.write("device.json", captured)
        self.assertEqual(self.capture("--device", "device.json"), captured)

    def test_a_captured_profile_decides_as_the_device_does(self):
        self.write("device.json", {**PROFILE, "organisation": {"realm": "contoso", "subscriptions": ["1b4e28ba"]},
                                   "devices": [{"instance_id": "A\\1", "hardware_ids": ["PCI\\VEN_8086"]}]})
        self.write("captured.json", self.capture("--device", "device.json"))
        decisions = self.decisions("--device", "device.json")
        self.assertEqual(decisions, self.decisions("--device", "captured.json"))
        self.assertEqual({code for _, _, code, _ in decisions}, {0, 1})

    def test_this_machine_captured_decides_as_it_does_itself(self):
        self.write("captured.json", self.capture("--state-dir", "state"))
        here = self.decisions("--state-dir", "state")
        there = self.decisions("--device", "captured.json")
        if len(PROGRAM) > 1:
            # The emulated system enumerates devices and takes no registration for them, without which
            # the criterion never holds.
            here, there = ([answer for answer in answers if answer[0] != "hardware_id"] for answers in (here, there))
        self.assertEqual(here, there)

    def test_a_key_elsewhere_is_refused(self):
        for key in ("HKU\\A", "HKCR\\A", "A"):
            with self.subTest(key=key):
                self.assert_refused(["--device", "device.json", "capture", "--registry", key],
                                    f'--registry: expected a key such as HKLM\\SOFTWARE\\Contoso, found "{key}"')

    def test_a_key_that_is_asked_for_comes_too(self):
        key = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Contoso"
        values = {"Level": {"type": "REG_DWORD", "data": 10}}
        self.write("device.json", {"registry": {key: values, key + "\\App": values,
                                                "HKEY_LOCAL_MACHINE\\SOFTWARE\\Else": values}})
        done = self.run_program("--device", "device.json", "capture", "--registry", "HKLM\\SOFTWARE\\Contoso")
        self.assertEqual((done.stderr, done.returncode), (b"", 0))
        self.assertEqual(json.loads(done.stdout)["registry"], {key: values, key + "\\App": values})

    def test_the_hive_of_the_user_comes_too(self):
        values = {"Level": {"type": "REG_DWORD", "data": 10}}
        own = "HKEY_CURRENT_USER\\SOFTWARE\\"
        intent = ("HKEY_USERS\\S-1-5-21-7\\Software\\Microsoft\\Windows\\CurrentVersion"
                  "\\CloudExperienceHost\\Intent\\gaming")
        registry = {own + "Tervan": values, own + "Contoso": values, intent: {"Intent": values["Level"]}}
        for system in (False, True):
            self.write("device.json", {"user": {"sid": "S-1-5-21-7", "system_process": system},
                                       "registry": {**registry, own + "Else": values}})
            done = self.run_program("--device", "device.json", "capture", "--registry", "HKCU\\SOFTWARE\\Contoso")
            self.assertEqual((done.stderr, done.returncode), (b"", 0))
            captured = json.loads(done.stdout)["registry"]
            self.assertEqual({key: values for key, values in captured.items() if values}, registry)

    def test_a_profile_that_could_not_be_read_again_is_refused(self):
        # Every value takes more bytes in the captured profile, which is indented.
        values = {f"V{number}": {"type": "REG_DWORD", "data": 1} for number in range(60_000)}
        self.write("device.json", {"registry": {"HKLM\\SOFTWARE\\Contoso": values}})
        self.capture("--device", "device.json")
        done = self.run_program("--device", "device.json", "capture", "--registry", "HKLM\\SOFTWARE\\Contoso")
        self.assertEqual((done.stdout, done.returncode), (b"", 2))
        self.assertRegex(done.stderr.decode(), r"(\A|\n)yoxctl: the profile would have \d+ KiB, and --device reads at most "
                                               r"4096 KiB: name keys with fewer values with --registry\n\Z")


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
