"""Inventories: yoxctl fleet with a database, and the questions of docs/sql.md.

    InventoryTest.py MODULE YOXCTL SQLITE_EXTENSION
"""
import json
import os
import pathlib
import re
import sqlite3
import subprocess
import sys
import tempfile
import threading
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from PrivateServer import Installation, SqlError, quoted  # noqa: E402

MODULE, YOXCTL, SQLITE_EXTENSION = [os.path.abspath(path) for path in sys.argv[1:4]]
FILES = [os.path.join(HERE, name) for name in ("yox.control", "yox--1.0.sql", "yox--1.0--1.1.sql", "yox--1.1--1.2.sql")]
PAGE = pathlib.Path(HERE).parents[1] / "docs" / "sql.md"
AT = "2026-03-01T12:00:00+01:00"
DEVICES = 1200

LIST = [{"country": "FR", "value": "false"},
        {"os_version": ">=10.0.22300", "tag": "Ring|beta", "date_range": "2026-01-01|*"},
        {"mfr": "Nobody"},
        {"date_function": "2026-02-20|28|linear", "language": "en*"},
        {"default": "false"}]
OLD = [{"country": "FR,US", "value": "false"}, {"os_version": ">=10.0.22300"}, {"default": "false"}]


def device(number):
    facts = {"id": f"d{number:05}", "time_zone": ["Europe/Berlin", "America/New_York", "UTC"][number % 3],
             "country": ["DE", "FR", "US", "IT"][number % 4], "language": ["de-DE", "en-US"][number % 2],
             "mfr": "Contoso", "model": f"FA14-{number % 5}", "os_version": f"10.0.{22000 + number % 700}",
             "serial_number": f"SN{number}", "tags": {"b": "x\\y", "Ring": ["beta", "stable"][number // 4 % 2]}}
    if number % 11 == 0:
        del facts["tags"]
    return facts


def setUpModule():
    global SERVER, CLUSTER, FOLDER
    SERVER = Installation(MODULE, FILES)
    unittest.addModuleCleanup(SERVER.close)
    CLUSTER = SERVER.cluster()
    temporary = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(temporary.cleanup)
    FOLDER = temporary.name
    write("fleet.jsonl", "".join(json.dumps(device(number)) + "\n" for number in range(DEVICES)))
    write("list.json", json.dumps(LIST))
    write("old.json", json.dumps(OLD))


def path(name):
    return os.path.join(FOLDER, name)


def write(name, text):
    with open(path(name), "w", encoding="utf-8") as file:
        file.write(text)


def yoxctl(*arguments, code=0, **more):
    done = subprocess.run([YOXCTL, *arguments], capture_output=True, text=True, check=False, **more)
    if done.returncode != code:
        raise AssertionError(f"{arguments}: {done.returncode}: {done.stdout[:500]}{done.stderr}")
    return done.stderr if code == 2 else done.stdout


def fresh(name):
    """A database of its own."""
    CLUSTER.text(f"DROP DATABASE IF EXISTS {name}")
    CLUSTER.text(f"CREATE DATABASE {name}")
    return CLUSTER.url(name)


class Imports(unittest.TestCase):
    def test_into_postgresql_and_again(self):
        url = fresh("imported")
        self.assertEqual(yoxctl("fleet", "import", path("fleet.jsonl"), "--into", url), f"{DEVICES} devices stored\n")
        rows = CLUSTER.rows("SELECT facts FROM devices ORDER BY id", "imported")
        self.assertEqual([json.loads(row[0]) for row in rows], [device(n) for n in range(DEVICES)])
        self.assertEqual(CLUSTER.rows("SELECT id, country, os_version, model, bucket = yox.bucket('SN7'), seen_at <= now() "
                                      "FROM devices WHERE id = 'd00007'", "imported"),
                         [("d00007", "IT", "10.0.22007", "FA14-2", "t", "t")])
        # A device is replaced by its id, and others stay.
        write("change.jsonl", json.dumps({**device(7), "country": "ES"}) + "\n")
        yoxctl("fleet", "import", path("change.jsonl"), "--into", url)
        self.assertEqual(CLUSTER.rows("SELECT count(*), count(*) FILTER (WHERE country = 'ES') FROM devices", "imported"),
                         [(str(DEVICES), "1")])
        self.assertEqual(CLUSTER.value("SELECT count(*) FROM imports", "imported"), "0")

    def test_into_sqlite_and_again(self):
        target = path("imported.db")
        for _ in range(2):
            yoxctl("fleet", "import", path("fleet.jsonl"), "--into", target)
        with sqlite3.connect(target) as database:
            rows = database.execute("SELECT facts, country FROM devices ORDER BY id").fetchall()
            database.enable_load_extension(True)
            database.load_extension(SQLITE_EXTENSION)
            counted = json.loads(database.execute("SELECT yox_funnel(?, facts, ?) FROM devices",
                                                  (json.dumps(LIST), AT)).fetchone()[0])
        database.close()
        # The document itself is stored, with the order of its keys.
        self.assertEqual([row[0] for row in rows], [json.dumps(device(n)) for n in range(DEVICES)])
        self.assertEqual(rows[7][1], "IT")
        self.assertEqual(counted, json.loads(yoxctl("--format", "json", "fleet", "decide", path("list.json"),
                                                    "--facts", target, "--at", AT)))

    def test_a_file_without_an_id_gives_its_name(self):
        target = path("named.db")
        for name, text in (("one.json", '{\n  "country": "DE"\n}'), ("two.json", "{ }")):
            os.makedirs(path("folder"), exist_ok=True)
            write(os.path.join("folder", name), text)
        yoxctl("fleet", "import", path("folder"), "--into", target)
        with sqlite3.connect(target) as database:
            rows = database.execute("SELECT id, facts FROM devices").fetchall()
        database.close()
        self.assertEqual([(id, json.loads(facts)) for id, facts in rows],
                         [("one", {"id": "one", "country": "DE"}), ("two", {"id": "two"})])
        self.assertIn("expected the key", yoxctl("fleet", "import", "-", "--into", target, code=2, input="{}\n"))

    def test_an_interrupted_import_goes_on(self):
        """A line is bad: what was before it is stored, and when the file is put right only the rest is sent."""
        for target in fresh("resumed"), path("resumed.db"):
            # Several batches before the bad line, of the same length as the good one.
            large = [json.dumps({**device(n), "os_description": "x" * 3000}) for n in range(600)]
            good = large[500]
            large[500] = good.replace('"country"', '"cuontry"')
            write("large.jsonl", "\n".join(large) + "\n")
            times = os.stat(path("large.jsonl"))
            message = yoxctl("fleet", "import", path("large.jsonl"), "--into", target, code=2)
            self.assertRegex(message, r"large.jsonl, line 501(, column [0-9]+)?: cuontry: unknown key.*; [0-9]+ devices are stored, "
                                      "and the same command goes on after them")
            stored = int(re.search("; ([0-9]+) devices", message).group(1))
            self.assertTrue(0 < stored <= 500)
            large[500] = good
            write("large.jsonl", "\n".join(large) + "\n")
            os.utime(path("large.jsonl"), ns=(times.st_atime_ns, times.st_mtime_ns))
            self.assertEqual(json.loads(yoxctl("--format", "json", "fleet", "import", path("large.jsonl"), "--into", target)),
                             {"devices": 600, "stored_before": stored})
            self.assertEqual(json.loads(yoxctl("--format", "json", "fleet", "decide", path("list.json"), "--facts",
                                               target))["devices"], 600)

    def test_what_is_stored_remains_when_the_server_is_killed(self):
        """The server is killed in the middle of an import, and everything that it had acknowledged is there."""
        url = fresh("killed")
        count = 4000
        with open(path("many.jsonl"), "w", encoding="utf-8") as file:
            for number in range(count):
                file.write(json.dumps({**device(number), "os_description": "x" * 2000}) + "\n")
        for _ in range(2):
            # The trigger says how far the import is, by a channel that needs no waiting on time.
            pipe_read, pipe_write = os.pipe()
            importing = subprocess.Popen([YOXCTL, "fleet", "import", "-", "--into", url], stdin=subprocess.PIPE,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
            with open(path("many.jsonl"), encoding="utf-8") as file:
                lines = file.readlines()
            # The input ends only after the kill, so the import cannot be complete before.
            feeder = threading.Thread(target=feed, args=(importing, lines, pipe_write))
            feeder.start()
            os.read(pipe_read, 1)
            acknowledged = int(CLUSTER.value("SELECT coalesce(max(devices), 0) FROM imports", "killed"))
            CLUSTER.kill()
            _, message = importing.communicate()
            feeder.join()
            os.close(pipe_read)
            self.assertEqual(importing.returncode, 2, message)
            CLUSTER.start()
            stored, said = CLUSTER.rows("SELECT count(*), (SELECT max(devices) FROM imports) FROM devices", "killed")[0]
            self.assertGreater(acknowledged, 0)
            self.assertGreaterEqual(int(said), acknowledged)
            self.assertEqual(stored, said)
            CLUSTER.text("DELETE FROM devices; DELETE FROM imports", "killed")
        yoxctl("fleet", "import", path("many.jsonl"), "--into", url)
        self.assertEqual(CLUSTER.value("SELECT count(*) FROM devices", "killed"), str(count))

    def test_an_import_that_is_killed_goes_on(self):
        """The program is killed while the server has some batches and waits in the middle of another one."""
        url = fresh("gone")
        large = "".join(json.dumps({**device(n), "os_description": "x" * 3000}) + "\n" for n in range(DEVICES))
        write("gone.jsonl", large)
        write("first.jsonl", large[:large.index("\n") + 1])
        yoxctl("fleet", "import", path("first.jsonl"), "--into", url)
        CLUSTER.text("""CREATE FUNCTION wait() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN
                IF (SELECT count(*) FROM devices) > 600 THEN PERFORM pg_advisory_xact_lock(7); END IF; RETURN NULL; END $$;
            CREATE TRIGGER wait AFTER INSERT ON devices EXECUTE FUNCTION wait()""", "gone")
        # A session that has the lock until its input ends.
        holder = subprocess.Popen(["psql", "--no-psqlrc", "--quiet", "--tuples-only", url], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, text=True)
        holder.stdin.write("SELECT pg_advisory_lock(7), 'locked';\n")
        holder.stdin.flush()
        self.assertIn("locked", holder.stdout.readline())
        importing = subprocess.Popen([YOXCTL, "fleet", "import", path("gone.jsonl"), "--into", url],
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        while CLUSTER.value("SELECT count(*) FROM pg_locks WHERE locktype = 'advisory' AND NOT granted", "gone") == "0":
            self.assertIsNone(importing.poll(), "the import ended before it could be killed")
        importing.kill()
        importing.wait()
        holder.communicate()
        # What was in work is rolled back, once the server notices; what was stored is counted.
        while CLUSTER.value("SELECT count(*) FROM pg_stat_activity WHERE datname = 'gone'", "gone") != "1":
            pass
        stored, said = CLUSTER.rows("SELECT count(*), (SELECT max(devices) FROM imports) FROM devices", "gone")[0]
        self.assertTrue(0 < int(said) < DEVICES, said)
        self.assertEqual(stored, said)
        self.assertEqual(json.loads(yoxctl("--format", "json", "fleet", "import", path("gone.jsonl"), "--into", url)),
                         {"devices": DEVICES, "stored_before": int(said)})
        self.assertEqual(CLUSTER.value("SELECT count(*) FROM devices", "gone"), str(DEVICES))

    def test_other_writers_are_checked_too(self):
        url = fresh("checked")
        yoxctl("fleet", "import", path("fleet.jsonl"), "--into", url)
        with self.assertRaises(SqlError) as raised:
            CLUSTER.text("UPDATE devices SET facts = '{\"colour\": 1}' WHERE id = 'd00001'", "checked")
        self.assertIn("facts_are_a_facts_document", raised.exception.message)

    def test_mistakes_name_what_is_wrong(self):
        self.assertIn('--into: expected postgresql://... or a file .db or .sqlite, found "x.txt"',
                      yoxctl("fleet", "import", path("fleet.jsonl"), "--into", "x.txt", code=2))
        message = yoxctl("fleet", "decide", path("list.json"), "--facts",
                         "postgresql://user:secret@/none?host=" + FOLDER, code=2)
        self.assertRegex(message, "^yoxctl: postgresql://user@/none: ")
        self.assertNotIn("secret", message)
        self.assertIn("no such table: devices", yoxctl("fleet", "decide", path("list.json"), "--facts",
                                                       empty_database(), code=2))
        self.assertIn("unable to open", yoxctl("fleet", "decide", path("list.json"), "--facts", path("none.db"), code=2))
        self.assertFalse(os.path.exists(path("none.db")))


def feed(process, lines, pipe):
    """Gives an import all lines, says so, and ends the input when the import has ended."""
    try:
        process.stdin.writelines(lines)
        process.stdin.flush()
        os.write(pipe, b"x")
        process.wait()
    except BrokenPipeError:
        pass
    finally:
        os.close(pipe)


def empty_database():
    sqlite3.connect(path("empty.db")).close()
    return path("empty.db")


class Fleets(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.url = fresh("fleet")
        cls.file = path("fleet.db")
        for target in cls.url, cls.file:
            yoxctl("fleet", "import", path("fleet.jsonl"), "--into", target)

    def test_every_command_says_the_same_of_a_database(self):
        for command in (["decide", "list.json"], ["decide", "list.json", "--each"],
                        ["decide", "list.json", "--target-version", "2.0"],
                        ["rollout", "list.json"], ["diff", "old.json", "list.json"]):
            arguments = ["--format", "json", "fleet", command[0],
                         *(path(word) if word.endswith(".json") else word for word in command[1:]), "--at", AT]
            code = 1 if command[0] == "diff" else 0
            expected = yoxctl(*arguments, "--facts", path("fleet.jsonl"), code=code)
            for source in self.url, self.file:
                self.assertEqual(yoxctl(*arguments, "--facts", source, code=code), expected, (command, source))

    def test_counts_are_made_in_the_server(self):
        """What the server logs of its statements: counts are asked for, and no facts."""
        cluster = SERVER.cluster("logged", log_statement="all")
        yoxctl("fleet", "import", path("fleet.jsonl"), "--into", cluster.url())
        yoxctl("fleet", "decide", path("list.json"), "--facts", cluster.url(), "--at", AT)
        cluster.stop()
        after_import = cluster.log.partition("DELETE FROM imports")[2]
        self.assertIn("yox.funnel_part(", after_import)
        self.assertNotIn("COPY", after_import)

    def test_the_days_of_a_rollout_are_counted_in_the_server(self):
        """Counts alone are transferred, and they are those of the file, whatever the days and what is known."""
        cluster = SERVER.cluster("days", log_statement="all")
        yoxctl("fleet", "import", path("fleet.jsonl"), "--into", cluster.url())
        write("windows.json", json.dumps([
            {"tag": "Ring|beta", "date_range": "2026-02-20|2026-02-28", "target_version": ">=2.0"},
            {"country": "US", "date_function": "2026-02-25|14|exponentialSlow"}, {"country": "IT", "tag": "Ring|stable"}]))
        for more in ((), ("--days", "40"), ("--at", "2026-02-27T23:30:00Z", "--days", "1"), ("--target-version", "2.0")):
            for name in "list.json", "windows.json":
                arguments = ["--format", "json", "fleet", "rollout", path(name), *more]
                expected = yoxctl(*arguments, "--facts", path("fleet.jsonl"))
                self.assertEqual(yoxctl(*arguments, "--facts", cluster.url()), expected, (name, more))
        days = json.loads(expected)["days"]
        self.assertGreater(len({day["in"] for day in days}), 4, "the list shows too little")
        self.assertGreater(days[0]["at_most"], days[0]["in"])
        cluster.stop()
        after_import = cluster.log.partition("DELETE FROM imports")[2]
        self.assertEqual(after_import.count("yox.rollout("), 8)
        self.assertNotIn("COPY", after_import)

    def test_an_extension_without_counts_of_days_gives_the_facts(self):
        url = fresh("earlier")
        yoxctl("fleet", "import", path("fleet.jsonl"), "--into", url)
        CLUSTER.text("DROP EXTENSION yox CASCADE; CREATE EXTENSION yox VERSION '1.1'", "earlier")
        arguments = ["fleet", "rollout", path("list.json"), "--facts"]
        self.assertEqual(yoxctl(*arguments, url), yoxctl(*arguments, path("fleet.jsonl")))

    def test_a_change_is_decided_in_the_server(self):
        """Only the facts of devices that change are transferred, whichever verdict they change from or to."""
        cluster = SERVER.cluster("compared", log_statement="all")
        yoxctl("fleet", "import", path("fleet.jsonl"), "--into", cluster.url())
        write("tags.json", json.dumps([{"tag": "Ring|beta"}]))
        for before, after in (("old.json", "list.json"), ("list.json", "old.json"), ("tags.json", "old.json"),
                              ("old.json", "tags.json")):
            arguments = ["--format", "json", "fleet", "diff", path(before), path(after), "--at", AT, "--target-version", "2.0"]
            expected = yoxctl(*arguments, "--facts", path("fleet.jsonl"), code=1)
            self.assertEqual(yoxctl(*arguments, "--facts", cluster.url(), code=1), expected, (before, after))
        found = json.loads(expected)
        self.assertTrue(found["gain"] and found["lose"] and found["undetermined_after"], "the lists show too little")
        self.assertEqual(json.loads(yoxctl("--format", "json", "fleet", "diff", path("tags.json"), path("tags.json"),
                                           "--facts", cluster.url()))["same"] + found["undetermined"], DEVICES)
        cluster.stop()
        self.assertEqual(cluster.log.count("COPY (SELECT facts FROM devices"), 5)
        self.assertEqual(cluster.log.count("COPY (SELECT facts FROM devices WHERE yox.applies("), 5)

    def test_a_table_over_several_servers_is_counted_too(self):
        CLUSTER.text("""DROP SCHEMA IF EXISTS parted CASCADE; CREATE SCHEMA parted;
            CREATE TABLE parted.devices(id text, facts jsonb) PARTITION BY HASH (id);
            CREATE TABLE parted.d0 PARTITION OF parted.devices FOR VALUES WITH (MODULUS 2, REMAINDER 0);
            CREATE TABLE parted.d1 PARTITION OF parted.devices FOR VALUES WITH (MODULUS 2, REMAINDER 1);
            INSERT INTO parted.devices SELECT id, facts FROM public.devices""", "fleet")
        arguments = ["--format", "json", "fleet", "decide", path("list.json"), "--at", AT, "--facts"]
        self.assertEqual(yoxctl(*arguments, self.url + "&options=-csearch_path%3Dparted"), yoxctl(*arguments, self.url))


class Questions(unittest.TestCase):
    """Each query of docs/sql.md runs, and has rows."""

    @classmethod
    def setUpClass(cls):
        yoxctl("fleet", "import", path("fleet.jsonl"), "--into", fresh("asked"))
        text = PAGE.read_text(encoding="utf-8")
        cls.queries = re.findall(r"^### ([0-9]+)\. ([^\n]+\?)\n\n```sql\n(.+?)```\n", text, re.M | re.S)
        cls.numbers = re.findall(r"^### ([0-9]+)\.", text, re.M)

    def ask(self, number):
        variables = {"list": json.dumps(LIST), "old": json.dumps(OLD), "at": AT, "device": "d00015"}
        query = next(text for n, _, text in self.queries if int(n) == number)
        sets = "".join(f"\\set {name} '{value}'\n" for name, value in variables.items())
        return CLUSTER.rows(sets + query, "asked")

    def test_there_are_twenty(self):
        self.assertEqual([int(number) for number, *_ in self.queries], list(range(1, 21)))
        self.assertEqual(len(self.numbers), len(self.queries))

    def test_each_has_rows(self):
        for number, question, _ in self.queries:
            with self.subTest(question=question):
                self.assertGreater(len(self.ask(int(number))), 0)

    def test_they_agree_with_yoxctl(self):
        source = ["--facts", path("fleet.jsonl"), "--at", AT]
        counts = json.loads(yoxctl("--format", "json", "fleet", "decide", path("list.json"), *source))
        each = [json.loads(line) for line in yoxctl("--format", "json", "fleet", "decide", path("list.json"), *source,
                                                    "--each").splitlines()]
        self.assertEqual(self.ask(1), [tuple(str(counts[key]) for key in ("applies", "does_not_apply", "undetermined"))])
        self.assertEqual([row[0] for row in self.ask(2)], [line["id"] for line in each if line["applies"]][:20])
        self.assertEqual(self.ask(3), [({True: "t", False: "f"}[each[15]["applies"]], each[15]["reason"])])
        self.assertEqual(json.loads(self.ask(5)[0][0]), counts)
        self.assertEqual(self.ask(6)[0][2], str(max(max(f["first_excluded_by"].values(), default=0) for f in counts["filters"])))
        self.assertEqual({row[0]: int(row[1]) for row in self.ask(8) if row[0]},
                         {str(f["filter"]): f["decided"] for f in counts["filters"] if f["decided"]})
        self.assertEqual([row[0] for row in self.ask(9)], [str(f["filter"]) for f in counts["filters"] if not f["decided"]])
        self.assertEqual({row[0]: int(row[1]) for row in self.ask(12)}, counts["needs"])
        rollout = json.loads(yoxctl("--format", "json", "fleet", "rollout", path("list.json"), *source, "--days", "28"))
        self.assertEqual(self.ask(16), [tuple(str(day[key]) for key in ("date", "in", "at_most"))
                                        for day in rollout["days"]])
        difference = json.loads(yoxctl("--format", "json", "fleet", "diff", path("old.json"), path("list.json"), *source, code=1))
        changed = {(before, after): int(number) for before, after, number in self.ask(10)}
        self.assertEqual((changed.get(("f", "t"), 0), changed.get(("t", "f"), 0)), (difference["gain"], difference["lose"]))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
