#!/usr/bin/env python3
"""The names of files and folders that yoxctl is given: each is the name of that file and no other.

  FileNamesTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json

import YoxctlTest
from YoxctlTest import PROGRAM, Yoxctl


class FileNames(Yoxctl):
    def setUp(self):
        super().setUp()
        if len(PROGRAM) > 1:
            self.skipTest("a backslash is a separator there")

    def check(self, *arguments):
        done = self.run_program("--format", "json", *arguments)
        self.assertEqual(done.stderr, b"")
        return json.loads(done.stdout)

    def test_a_provision_file_with_a_backslash_in_its_name(self):
        (self.folder / "p" / "a").mkdir(parents=True)
        # A token of one part and a token of three are refused for different reasons.
        self.write("p/a/b.json", {"provision_token": "one"})
        self.write("p/a\\b.json", {"provision_token": "e30.e30.e30"})
        backslash = self.check("--device", "device.json", "provision", "check", "p/a\\b.json")
        slash = self.check("--device", "device.json", "provision", "check", "p/a/b.json")
        self.assertEqual(backslash["file"], str(self.folder / "p" / "a\\b.json"))
        self.assertEqual(slash["file"], str(self.folder / "p" / "a" / "b.json"))
        self.assertNotEqual(backslash["reason"], slash["reason"])

    def test_a_provision_file_with_a_backslash_in_its_folder(self):
        (self.folder / "p\\q").mkdir()
        self.write("p\\q/b.json", {"provision_token": "one"})
        answer = self.check("--device", "device.json", "provision", "check", "p\\q/b.json")
        self.assertEqual(answer["file"], str(self.folder / "p\\q" / "b.json"))

    def test_a_state_folder_with_a_backslash_in_its_name(self):
        self.write("filters.json", [])
        (self.folder / "p").mkdir()
        for device in (["--device", "device.json"], []):
            with self.subTest(device=device):
                name = f"st\\{len(device)}"
                done = self.run_program("--state-dir", "p/" + name, *device, "evaluate", "filters.json")
                self.assertEqual((done.stderr, done.returncode), (b"", 0))
                self.assertTrue(list((self.folder / "p" / name).rglob("MachineInformationCached.json")))
        self.assertEqual({path.name for path in (self.folder / "p").iterdir()}, {"st\\0", "st\\2"})


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
