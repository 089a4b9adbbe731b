#!/usr/bin/env python3
"""What is left of yoxctl's files after a loss of power, a full disk or damage, at every call that writes.

  PowerTest.py [--cases CLASS] LAYER YOXCTL     LAYER is LoseWrites.cpp as a library

YOX_POWER_STEP=N tries every Nth place only, for a quick round.
"""
import base64
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import unittest

LAYER, PROGRAM = "", ""
CHECKOUT = pathlib.Path(__file__).resolve().parents[2]
STEP = int(os.environ.get("YOX_POWER_STEP", 1))
KEY = r"HKLM\SOFTWARE\Contoso"
BATCH = 20

DEVICE = {
    "clock": {"now": "2026-03-01T12:00:00"},
    "client": {"version": "4.2.10.0"},
    "firmware": {"manufacturer": "Contoso", "serial_number": "C0FFEE12"},
    "region": {"country_code": "US", "language_code": "en-US"},
}


def reg_file(number):
    values = "".join(f'"V{i}"=dword:{number:08x}\r\n' for i in range(BATCH))
    return f"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contoso]\r\n{values}".encode()


def policy(*parts):
    material = (CHECKOUT / "tests/trust/Material.h").read_text(encoding="utf-8")
    pem = "".join(re.search(rf'k{part} = R"\((.*?)\)"', material, re.DOTALL).group(1) for part in parts)
    chain = base64.b64encode(pem.encode()).decode()
    return json.dumps({"yox_config": {"platform_policy": {"validation": {"mqtt_chain_pem64": chain}}}}).encode()


class Disk(unittest.TestCase):
    """A state folder whose content a test can take back to, and that it can have lose writes."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        self.state, self.synced, self.kept = (self.folder / name for name in ("state", "synced", "kept"))
        self.state.mkdir(mode=0o700)
        for number in (1, 2):
            (self.folder / f"{number}.reg").write_bytes(reg_file(number))
        (self.folder / "device.json").write_text(json.dumps(DEVICE), encoding="utf-8")
        (self.folder / "one.json").write_bytes(policy("RootACertificate"))
        (self.folder / "two.json").write_bytes(policy("RootACertificate", "RootBCertificate"))

    def run_program(self, *arguments, **settings):
        environment = {key: value for key, value in os.environ.items() if not key.startswith("YOX_POWER")}
        if settings:
            environment |= {"LD_PRELOAD": LAYER, "YOX_POWER_FOLDER": str(self.state),
                            "YOX_POWER_SYNCED": str(self.synced), **settings}
        return subprocess.run([PROGRAM, "--state-dir", str(self.state), *arguments], cwd=self.folder, env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)

    def done(self, *arguments):
        """Without a fault; its output."""
        run = self.run_program(*arguments)
        self.assertEqual((run.returncode, run.stderr), (0, b""), arguments)
        return run.stdout

    def keep(self):
        """What is there now is on the disk, and `restore` takes the folder back to it."""
        shutil.rmtree(self.kept, ignore_errors=True)
        shutil.copytree(self.state, self.kept)

    def restore(self):
        shutil.rmtree(self.state)
        shutil.copytree(self.kept, self.state)
        shutil.rmtree(self.synced, ignore_errors=True)
        self.synced.mkdir()
        for file in self.files():
            shutil.copyfile(file, self.synced / str(file.stat().st_ino))

    def files(self):
        return [path for path in self.state.rglob("*") if path.is_file()]

    def lose_power(self, torn):
        """Names are as the program left them, content is what it was when it was last synced. Torn: the first half
        of what came after it is there as well."""
        for file in self.files():
            now, copy = file.read_bytes(), self.synced / str(file.stat().st_ino)
            lasting = copy.read_bytes() if copy.exists() else b""
            if torn:
                half = len(now) // 2
                lasting = now[:half] + lasting[half:]
            file.write_bytes(lasting)

    def at_every_call(self, setting, check, *arguments):
        """Runs the program with the fault at its first call, its second, and so on, until there is no such call.
        `check` gets the number and the run. Returns how many calls there were."""
        number, missed = 1, False
        while not missed:
            self.restore()
            run = self.run_program(*arguments, **{setting: str(number)})
            cut = run.returncode == -signal.SIGKILL
            missed = not cut if setting == "YOX_POWER_CUT" else number > self.calls
            with self.subTest(call=number):
                self.assertTrue(cut or run.returncode >= 0, f"died of {-run.returncode}")
                check(number, run)
            number += STEP
        self.assertGreater(number, 2 * STEP, "the layer saw no call")
        return number - STEP

    def values(self):
        """The batch's values, each None where there is none."""
        run = self.run_program("--format", "json", "registry", "list", KEY)
        if run.returncode == 1:
            self.assertIn(b"not found", run.stderr)
            return [None] * BATCH
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        found = json.loads(run.stdout)["values"]
        return [found.get(f"V{i}", {}).get("data") for i in range(BATCH)]

    def assert_whole(self, *allowed):
        """All values of the batch are from one import, and the store takes another."""
        values = self.values()
        self.assertIn(values, [[number] * BATCH for number in allowed])
        self.done("registry", "set", KEY, "After", "7", "--type", "REG_DWORD")
        self.assertEqual(self.done("registry", "get", KEY, "After"), b"7\n")


class PowerLossTest(Disk):
    """The harsher of the two usual models: what was done to names lasts, what was written lasts once synced."""

    def lose(self, check, *arguments):
        self.keep()
        for torn in (None, False, True):  # a kill alone; power; power with half of what was not synced
            def after(_number, _run):
                if torn is not None:
                    self.lose_power(torn)
                check()
            self.at_every_call("YOX_POWER_CUT", after, *arguments)

    def test_a_first_import_is_whole_or_was_never_made(self):
        self.lose(lambda: self.assert_whole(None, 1), "registry", "import", "1.reg")

    def test_an_import_over_another_is_whole_or_undone(self):
        self.done("registry", "import", "1.reg")
        self.lose(lambda: self.assert_whole(1, 2), "registry", "import", "2.reg")

    def test_a_deletion_is_whole_or_undone(self):
        self.done("registry", "import", "1.reg")
        self.lose(lambda: self.assert_whole(1, None), "registry", "delete", KEY)

    def test_a_store_with_an_open_log_loses_no_former_import(self):
        """Another process has the store open, so the log is not written back after the first import."""
        self.done("registry", "import", "1.reg")
        reader = sqlite3.connect(self.state / "registry.db")
        reader.execute("BEGIN")
        reader.execute("SELECT count(*) FROM sqlite_master").fetchall()
        self.done("registry", "import", "2.reg")
        self.keep()
        reader.close()
        self.lose(lambda: self.assert_whole(2, 1), "registry", "import", "1.reg")

    def test_the_machine_cache_is_whole_or_missing(self):
        record = self.done("--device", "device.json", "--format", "json", "device")
        [file] = [path for path in self.files() if path.name == "MachineInformationCached.json"]
        file.unlink()

        def check():
            self.assertEqual(self.done("--device", "device.json", "--format", "json", "device"), record)
        self.lose(check, "--device", "device.json", "device")

    def test_certificate_files_are_whole_former_or_new_ones(self):
        update = ["--device", "device.json", "policy", "update-certificates"]

        def files():
            return {path.name: path.read_bytes() for path in self.files() if path.suffix == ".pem"}
        self.done(*update, "two.json")
        new = files()
        self.done(*update, "one.json")
        former = files()
        self.assertEqual(len(former), 2)

        def check():
            for name, content in files().items():
                self.assertIn(content, (former[name], new[name]), name)
            self.done(*update, "two.json")
            self.assertEqual(files(), new)
        self.lose(check, *update, "two.json")


class FullDiskTest(Disk):
    def fill(self, check, *arguments):
        """The disk is full from the nth call on, for every n; what failed said so."""
        self.keep()
        self.calls = self.at_every_call("YOX_POWER_CUT", lambda _number, _run: None, *arguments)
        refused = []

        def after(number, run):
            if run.returncode != 0:
                refused.append(number)
                self.assertEqual(run.returncode, 2)
                self.assertRegex(run.stderr, rb"(?i)full|no space left")
            check(run.returncode == 0)
        self.at_every_call("YOX_POWER_FULL", after, *arguments)
        self.assertNotEqual(refused, [])

    def test_an_import_is_whole_or_refused(self):
        self.done("registry", "import", "1.reg")
        self.fill(lambda made: self.assert_whole(*((2,) if made else (1,))), "registry", "import", "2.reg")

    def test_a_first_import_is_whole_or_refused(self):
        self.fill(lambda made: self.assert_whole(*((1,) if made else (None,))), "registry", "import", "1.reg")


class DamagedFilesTest(Disk):
    def test_a_truncated_store_is_read_or_refused_with_its_name(self):
        self.done("registry", "import", "1.reg")
        with contextlib.closing(sqlite3.connect(self.state / "registry.db")) as store:
            store.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        self.keep()
        whole = (self.state / "registry.db").read_bytes()
        refused = 0
        for length in [*range(0, len(whole), 97 * STEP), len(whole)]:
            with self.subTest(length=length):
                self.restore()
                (self.state / "registry.db").write_bytes(whole[:length])
                run = self.run_program("registry", "get", KEY, "V3")
                self.assertIn(run.returncode, (0, 1, 2))
                if run.returncode == 0:
                    self.assertEqual(run.stdout, b"1\n")
                elif run.returncode == 2:
                    refused += 1
                    self.assertIn(str(self.state / "registry.db").encode(), run.stderr)
                else:
                    self.assertEqual(length, 0, "a store that was cut was taken for an empty one")
        self.assertGreater(refused, 5 if STEP == 1 else 0)

    def test_foreign_files_are_refused_and_left_alone(self):
        for name, content in (("text", b"not a database\n" * 100), ("zeros", bytes(8192)),
                              ("image", b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 40)):
            with self.subTest(content=name):
                (self.state / "registry.db").write_bytes(content)
                for arguments in (["get", KEY, "V1"], ["set", KEY, "V1", "x"]):
                    run = self.run_program("registry", *arguments)
                    self.assertEqual(run.returncode, 2)
                    self.assertIn(b"the file is damaged", run.stderr)
                self.assertEqual((self.state / "registry.db").read_bytes(), content)

    def test_another_programs_database_is_left_alone(self):
        with contextlib.closing(sqlite3.connect(self.state / "registry.db")) as other:
            other.execute("CREATE TABLE songs (name TEXT)")
            other.execute("INSERT INTO songs VALUES ('one')")
            other.commit()
        before = (self.state / "registry.db").read_bytes()
        for arguments in (["get", KEY, "V1"], ["set", KEY, "V1", "x"]):
            self.assertEqual(self.run_program("registry", *arguments).returncode, 2)
        self.assertEqual((self.state / "registry.db").read_bytes(), before)

    def test_a_store_of_a_later_format_is_read_and_written_by_neither(self):
        """Two versions of the library on one store: the earlier one refuses, and the later one goes on."""
        self.done("registry", "import", "1.reg")

        def format_number(number=None):
            with contextlib.closing(sqlite3.connect(self.state / "registry.db")) as store:
                if number is not None:
                    store.execute(f"PRAGMA user_version = {number}")
                    store.commit()
                return store.execute("PRAGMA user_version").fetchone()[0]
        ours = format_number()
        format_number(ours + 1)
        for arguments in (["get", KEY, "V1"], ["set", KEY, "V1", "x"], ["import", "2.reg"], ["delete", KEY]):
            run = self.run_program("registry", *arguments)
            self.assertEqual(run.returncode, 2)
            self.assertIn(b"it was written by a later version", run.stderr)
        self.assertEqual(format_number(), ours + 1)
        format_number(ours)
        self.assert_whole(1)


def can_trace():
    return shutil.which("strace") and subprocess.call(["strace", "-o", os.devnull, "true"], stderr=subprocess.DEVNULL) == 0


@unittest.skipUnless(can_trace(), "needs strace, and a system that lets it trace")
class SystemCallTest(Disk):
    """Each call of the system on a file of the state folder fails once, for every kind of call and every n."""

    ERRORS = {"openat": "EMFILE", "mmap": "ENOMEM", "read": "EIO", "pread64": "EIO", "close": None, "readlink": None}
    WRITING = ("pwrite64", "write", "ftruncate", "fallocate", "fdatasync", "fsync", "linkat", "renameat", "rename")
    WATCHING = ("inotify_init1", "inotify_add_watch", "eventfd2", "poll")

    def start_traced(self, names, fault, *arguments):
        """Traces the calls that concern the folder, or those with these names."""
        which = [f"-etrace={','.join(names)}"] if names else [
            word for path in [self.state, *self.files()] for word in ("-P", str(path))]
        return subprocess.Popen(
            ["strace", "-f", "-qq", "-o", str(self.folder / "calls"), *which, *fault, PROGRAM, "--state-dir",
             str(self.state), *arguments],
            cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def calls(self):
        """How many calls of each kind there were."""
        found = {}
        for line in (self.folder / "calls").read_text(errors="replace").splitlines():
            name = re.match(r"\d+ +(\w+)\(", line)
            if name:
                found[name[1]] = found.get(name[1], 0) + 1
        return found

    def faults(self, names, *arguments):
        """Every kind of call with the error that it fails with, and how often it is made."""
        self.restore()
        self.start_traced(names, [], *arguments).communicate(timeout=60)
        for name, count in sorted(self.calls().items()):
            error = self.ERRORS.get(name, "ENOSPC" if name in self.WRITING else "EIO" if not names else "EMFILE")
            for number in range(1, count + 1, STEP) if error else ():
                yield name, error, number

    def at_every_call(self, check, *arguments):
        tried = 0
        for name, error, number in self.faults((), *arguments):
            self.restore()
            run = self.start_traced((), [f"-einject={name}:error={error}:when={number}"], *arguments)
            output, complaint = run.communicate(timeout=60)
            with self.subTest(call=name, number=number, error=error):
                self.assertIn(run.returncode, (0, 2), complaint)
                if run.returncode == 2:
                    self.assertNotEqual(complaint, b"")
                check(run.returncode == 0, output)
            tried += 1
        self.assertGreater(tried, 10 // STEP)

    def test_a_value_is_read_or_the_failure_is_named(self):
        self.done("registry", "import", "1.reg")
        self.keep()
        self.at_every_call(lambda done, output: self.assertEqual(output, b"1\n" if done else b""), "registry", "get", KEY, "V3")

    def test_an_import_is_whole_or_refused(self):
        self.done("registry", "import", "1.reg")
        self.keep()
        self.at_every_call(lambda done, _: self.assert_whole(*((2,) if done else (1, 2))), "registry", "import", "2.reg")

    def test_a_watch_reports_or_says_that_it_cannot(self):
        self.done("registry", "import", "1.reg")
        self.keep()
        watch = ["registry", "watch", KEY, "--count", "1"]
        for name, error, number in [*((name, "EMFILE", 1) for name in self.WATCHING), ("poll", "EINTR", 1)]:
            with self.subTest(call=name, error=error):
                self.restore()
                run = self.start_traced(self.WATCHING, [f"-einject={name}:error={error}:when={number}"], *watch)
                complaint = run.stderr.readline()
                if b"watching" in complaint:
                    self.done("registry", "set", KEY, "After", "7")
                output, rest = run.communicate(timeout=60)
                self.assertIn(run.returncode, (0, 2), complaint + rest)
                self.assertTrue(b"After" in output if run.returncode == 0 else complaint + rest)


if __name__ == "__main__":
    which = None
    if sys.argv[1:2] == ["--cases"]:
        which = sys.argv[2]
        del sys.argv[1:3]
    LAYER, PROGRAM = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1], defaultTest=which)
