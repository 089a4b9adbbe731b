"""Decisions and reasons in both databases are those of the evaluator on the device itself, byte for byte.

    EqualityTest.py MODULE YOXCTL SQLITE_EXTENSION MAKE_DECISIONS [COUNT [SEED]]
"""
import datetime
import json
import os
import sqlite3
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from PrivateServer import Installation, quoted  # noqa: E402

MODULE, YOXCTL, SQLITE_EXTENSION, MAKE_DECISIONS = [os.path.abspath(path) for path in sys.argv[1:5]]
COUNT = int(sys.argv[5]) if len(sys.argv) > 5 else 1000
SEED = sys.argv[6] if len(sys.argv) > 6 else "1"
FILES = [os.path.join(HERE, name) for name in ("yox.control", "yox--1.0.sql", "yox--1.0--1.1.sql", "yox--1.1--1.2.sql")]
FIELDS = ("list", "facts", "at", "target_version")


def setUpModule():
    global PAIRS, CLUSTER
    server = Installation(MODULE, FILES)
    unittest.addModuleCleanup(server.close)
    CLUSTER = server.cluster()
    lines = subprocess.run([MAKE_DECISIONS, str(COUNT), SEED], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    PAIRS = [json.loads(line) for line in lines]
    for pair in PAIRS:
        moment = datetime.datetime.fromtimestamp(pair["moment"], datetime.timezone.utc)
        pair["at"] = moment.strftime("%Y-%m-%dT%H:%M:%SZ")
    values = ",\n".join("(%d, %s)" % (number, ", ".join(quoted(pair.get(field)) for field in FIELDS))
                        for number, pair in enumerate(PAIRS))
    CLUSTER.text(f"""CREATE EXTENSION yox;
        CREATE TABLE pairs(number integer PRIMARY KEY, list jsonb, facts jsonb, at timestamptz, target_version text);
        INSERT INTO pairs VALUES {values}""")


def in_sqlite(pairs):
    """Applies, reason and deciding filter of rows of FIELDS."""
    database = sqlite3.connect(":memory:")
    database.enable_load_extension(True)
    database.load_extension(SQLITE_EXTENSION)
    rows = [database.execute("""SELECT yox_applies(?1, ?2, ?3, ?4), yox_reason(?1, ?2, ?3, ?4),
                                       yox_decided_by(?1, ?2, ?3, ?4)""", pair).fetchone()
            for pair in pairs]
    database.close()
    return rows


def in_postgresql():
    answers = {"t": 1, "f": 0, None: None}
    return [(answers[applies], reason, None if decided_by is None else int(decided_by))
            for applies, reason, decided_by in CLUSTER.rows("""
                SELECT yox.applies(list, facts, at, target_version), yox.reason(list, facts, at, target_version),
                yox.decided_by(list, facts, at, target_version) FROM pairs ORDER BY number""")]


def depends_on_the_order_of_tags(pair):
    """jsonb does not keep the order of keys, and a term for several names looks at the first."""
    names = [term.split("|")[0] for filter in json.loads(pair["list"])["filters"]
             for term in filter.get("tag", "").split(",")]
    return len(json.loads(pair["facts"]).get("tags", {})) > 1 and any("*" in n or "!" in n for n in names)


class Equality(unittest.TestCase):
    maxDiff = None

    def test_the_pairs_are_of_all_kinds(self):
        self.assertEqual(len(PAIRS), COUNT)
        for applies in True, False:
            self.assertGreater(sum(pair["applies"] is applies for pair in PAIRS), COUNT // 20)
        lists = "".join(pair["list"] for pair in PAIRS)
        for field in ("country", "date_range", "date_function", "device_subscription", "enclosure", "family",
                      "hardware_id", "language", "mfr", "model", "org_hash", "os", "os_bitness", "os_description",
                      "os_version", "registry", "sku", "sn_hash", "target_version", "version", "installed_items", "tag"):
            self.assertIn(f'"{field}"', lists)

    def test_sqlite_decides_as_the_evaluator(self):
        decided = in_sqlite([[pair.get(field) for field in FIELDS] for pair in PAIRS])
        for pair, (applies, reason, _) in zip(PAIRS, decided):
            self.assertEqual((applies, reason), (int(pair["applies"]), pair["reason"]), pair)

    def test_postgresql_decides_as_the_evaluator(self):
        exceptions = 0
        for pair, (applies, reason, _) in zip(PAIRS, in_postgresql()):
            if (applies, reason) == (int(pair["applies"]), pair["reason"]):
                continue
            self.assertTrue(depends_on_the_order_of_tags(pair), (pair, applies, reason))
            exceptions += 1
        self.assertLess(exceptions, COUNT // 50)

    def test_postgresql_decides_as_sqlite_on_what_it_stores(self):
        stored = CLUSTER.rows("""SELECT list, facts, to_char(at AT TIME ZONE 'UTC', 'YYYY-MM-DD"T"HH24:MI:SS"Z"'),
                                 target_version FROM pairs ORDER BY number""")
        for row, expected, decided in zip(stored, in_sqlite(stored), in_postgresql()):
            self.assertEqual(decided, expected, row)

    def test_explanations_are_equal(self):
        rows = CLUSTER.rows("""SELECT list, facts, to_char(at AT TIME ZONE 'UTC', 'YYYY-MM-DD"T"HH24:MI:SS"Z"'),
            target_version, yox.explain(list, facts, at, target_version) FROM pairs ORDER BY number LIMIT 200""")
        database = sqlite3.connect(":memory:")
        self.addCleanup(database.close)
        database.enable_load_extension(True)
        database.load_extension(SQLITE_EXTENSION)
        for *pair, explanation in rows:
            expected = database.execute("SELECT yox_explain(?, ?, ?, ?)", pair).fetchone()[0]
            self.assertEqual(json.loads(explanation), json.loads(expected), pair)

    def test_unknown_facts_are_unknown_everywhere(self):
        """A key of the document is taken away; what is still decided is as before."""
        undetermined = 0
        rows = CLUSTER.rows("""SELECT list, facts - key, to_char(at AT TIME ZONE 'UTC', 'YYYY-MM-DD"T"HH24:MI:SS"Z"'),
            target_version, yox.applies(list, facts - key, at, target_version), yox.applies(list, facts, at, target_version)
            FROM pairs, jsonb_object_keys(facts) AS key WHERE number < 300 AND key NOT IN ('id', 'firmware', 'os') ORDER BY number, key""")
        decided = in_sqlite([row[:4] for row in rows])
        for (*_, applies, before), (expected, _, _) in zip(rows, decided):
            self.assertEqual({"t": 1, "f": 0, None: None}[applies], expected)
            self.assertIn(applies, (None, before))
            undetermined += applies is None
        self.assertGreater(undetermined, 20)

    def test_yoxctl_decides_the_same_on_the_facts(self):
        """A sample, because each is a process of its own."""
        for pair in PAIRS[:40]:
            with tempfile.TemporaryDirectory() as folder:
                names = {name: os.path.join(folder, name + ".json") for name in ("list", "facts")}
                for name, path in names.items():
                    with open(path, "w", encoding="utf-8") as file:
                        file.write(pair[name])
                more = ["--target-version=" + pair["target_version"]] if "target_version" in pair else []
                done = subprocess.run([YOXCTL, "--format", "json", "fleet", "decide", names["list"], "--facts",
                                       names["facts"], "--at", pair["at"], "--each", *more],
                                      check=True, capture_output=True, text=True)
            decided = json.loads(done.stdout)
            self.assertEqual((decided["applies"], decided.get("reason", "")), (pair["applies"], pair["reason"]))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
