"""The SQLite extension: load_extension('yox').

    SqliteTest.py EXTENSION YOXCTL
"""
import json
import os
import sqlite3
import subprocess
import sys
import tempfile
import threading
import unittest

os.environ.pop("LD_PRELOAD", None)  # a sanitizer's runtime is for this process alone
EXTENSION, YOXCTL = [os.path.abspath(path) for path in sys.argv[1:3]]
AT = "2026-03-01T12:00:00+01:00"

LIST = json.dumps([
    {"country": "FR", "value": "false"},
    {"os_version": ">=10.0", "tag": "Ring|beta", "date_range": "2026-01-01|*"},
    {"default": "false"}])
FACTS = {"id": "a", "time_zone": "Europe/Berlin", "country": "DE", "os_version": "10.0.22631",
         "tags": {"Ring": "Beta"}}


def facts(**changes):
    return json.dumps({**FACTS, **changes})


def without(*keys):
    return json.dumps({key: value for key, value in FACTS.items() if key not in keys})


class Database(unittest.TestCase):
    def setUp(self):
        self.database = sqlite3.connect(":memory:")
        self.addCleanup(self.database.close)
        self.load(self.database)

    @staticmethod
    def load(database):
        database.enable_load_extension(True)
        database.load_extension(EXTENSION)
        database.enable_load_extension(False)

    def rows(self, query, *arguments):
        return self.database.execute(query, arguments).fetchall()

    def value(self, query, *arguments):
        return self.rows(query, *arguments)[0][0]

    def assert_error(self, message, query, *arguments):
        with self.assertRaises(sqlite3.Error) as raised:
            self.rows(query, *arguments)
        self.assertEqual(str(raised.exception), message)


class Decisions(Database):
    def test_applies_is_1_0_or_null(self):
        applies = "SELECT yox_applies(?, ?, ?)"
        self.assertEqual(self.value(applies, LIST, facts(), AT), 1)
        self.assertEqual(self.value(applies, LIST, facts(country="FR"), AT), 0)
        self.assertIsNone(self.value(applies, LIST, without("tags"), AT))

    def test_null_arguments_give_null(self):
        for arguments in (None, facts(), AT), (LIST, None, AT), (LIST, facts(), None):
            self.assertIsNone(self.value("SELECT yox_applies(?, ?, ?)", *arguments))
        self.assertEqual(self.rows("SELECT * FROM yox_criteria(?, ?, ?)", LIST, None, AT), [])

    def test_reason_and_filter(self):
        query = "SELECT yox_reason(?1, ?2, ?3), yox_decided_by(?1, ?2, ?3)"
        self.assertEqual(self.rows(query, LIST, facts(), AT),
                         [("Filter [0]: country = false; Filter [1]: true; ", 1)])
        self.assertEqual(self.rows(query, LIST, without("tags"), AT), [(None, None)])

    def test_target_version_may_be_null(self):
        rule = '[{"target_version": ">=2.0"}]'
        query = "SELECT yox_applies(?, ?, ?, ?)"
        self.assertEqual(self.value(query, rule, facts(), AT, "2.1"), 1)
        self.assertEqual(self.value(query, rule, facts(), AT, "1.9"), 0)
        self.assertEqual(self.value(query, rule, facts(), AT, None),
                         self.value("SELECT yox_applies(?, ?, ?)", rule, facts(), AT))

    def test_the_day_is_that_of_the_device(self):
        rule = '[{"date_range": "2026-03-01|2026-03-01"}]'
        query = "SELECT yox_applies(?, ?, '2026-03-01T23:30:00Z')"
        self.assertEqual(self.value(query, rule, facts(time_zone="Europe/Berlin")), 0)
        self.assertEqual(self.value(query, rule, facts(time_zone="America/New_York")), 1)
        self.assertIsNone(self.value(query, rule, without("time_zone")))

    def test_without_a_moment_it_is_now(self):
        self.assertEqual(self.value("SELECT yox_applies(?, ?)", '[{"date_range": "2020-01-01|*"}]',
                                    facts()), 1)
        self.assertEqual(self.value("SELECT yox_applies(?, ?)", '[{"date_range": "*|2020-01-01"}]',
                                    facts()), 0)

    def test_explain_is_json(self):
        explanation = json.loads(self.value("SELECT yox_explain(?, ?, ?)", LIST, facts(), AT))
        self.assertEqual(explanation["applies"], True)
        self.assertEqual(explanation["decided_by"], 1)
        self.assertEqual([filter["outcome"] for filter in explanation["explain"]],
                         ["not matched", "matched", "not reached"])
        self.assertEqual(self.value(
            "SELECT json_extract(yox_explain(?, ?, ?), '$.explain[0].criteria[0].actual')",
            LIST, facts(), AT), "DE")
        unknown = json.loads(self.value("SELECT yox_explain(?, ?, ?)", LIST, without("tags"), AT))
        self.assertEqual((unknown["applies"], unknown["needs"]), (None, ["tags.Ring"]))

    def test_criteria_are_rows(self):
        rows = self.rows("SELECT * FROM yox_criteria(?, ?, ?)", LIST, without("tags"), AT)
        self.assertEqual(rows, [
            (0, "country", "differs", "FR", "DE", None),
            (1, "date_range", "held", "2026-01-01|*", "2026-03-01", None),
            (1, "os_version", "held", ">=10.0", "10.0.22631", None),
            (1, "tag", "unknown", "Ring|beta", None, "tags.Ring")])

    def test_criteria_join_a_table(self):
        self.rows("CREATE TABLE devices(id TEXT, facts TEXT)")
        self.database.executemany("INSERT INTO devices VALUES (?, ?)",
                                  [("a", facts()), ("b", facts(country="FR"))])
        rows = self.rows("""SELECT id, criterion FROM devices,
            yox_criteria(?, devices.facts, ?) WHERE result = 'differs' ORDER BY id""", LIST, AT)
        self.assertEqual(rows, [("a", "country")])

    def test_criteria_of_each_row_begin_anew(self):
        self.rows("CREATE TABLE devices(id TEXT, facts TEXT)")
        self.database.executemany("INSERT INTO devices VALUES (?, ?)", [
            ("a", facts()), ("b", facts(country="FR")), ("c", facts(country="US"))])
        rows = self.rows("""SELECT id, count(*), max(actual) FILTER (WHERE criterion = 'country')
            FROM devices, yox_criteria(?, devices.facts, ?) GROUP BY id ORDER BY id""", LIST, AT)
        self.assertEqual(rows, [("a", 4, "DE"), ("b", 4, "FR"), ("c", 4, "US")])

    def test_criteria_of_a_null_target_version_are_those_without_one(self):
        rule = '[{"target_version": ">=2.0"}]'
        self.assertEqual(self.rows("SELECT result, actual FROM yox_criteria(?, ?, ?, ?)", rule, facts(), AT, "2.1"),
                         [("held", "2.1")])
        without_one = self.rows("SELECT * FROM yox_criteria(?, ?, ?)", rule, facts(), AT)
        self.assertEqual(len(without_one), 1)
        self.assertEqual(self.rows("SELECT * FROM yox_criteria(?, ?, ?, NULL)", rule, facts(), AT), without_one)

    def test_json_may_be_a_part_of_other_json(self):
        """SQLite takes it as a value, not as a string that would have to be escaped."""
        self.assertEqual(self.value(
            "SELECT json_extract(json_array(yox_explain(?, ?, ?)), '$[0].decided_by')", LIST, facts(), AT), 1)
        self.assertEqual(self.value(
            "SELECT json_extract(json_object('funnel', yox_funnel(?, ?, ?)), '$.funnel.devices')", LIST, facts(), AT), 1)

    def test_lint_is_rows(self):
        rows = self.rows("SELECT * FROM yox_lint(?, ?)", '[{"country": "a*b"}]', AT)
        self.assertEqual([row[:4] for row in rows if row[2] == "inner-star"],
                         [(0, "country", "inner-star", "error")])
        self.assertEqual(self.rows("SELECT count(*) FROM yox_lint(?, ?)", LIST, AT), [(0,)])


class Rollouts(Database):
    def test_bucket_is_that_of_the_client(self):
        self.assertEqual(self.value("SELECT yox_bucket('C0FFEE12')"), forecast()["first_day"]["bucket"])
        self.assertIsNone(self.value("SELECT yox_bucket(NULL)"))

    def test_share_grows_to_all(self):
        share = "SELECT yox_share('2026-01-05|28|linear', ?)"
        self.assertEqual(self.value(share, "2026-01-04T23:59:59Z"), 0.0)
        self.assertEqual(self.value(share, "2026-01-05T00:00:00Z"), forecast()["forecast"][0]["share"])
        self.assertEqual(self.value(share, "2026-01-05T00:00:00+01:00"), 0.0)
        self.assertEqual(self.value(share, "2026-02-01T00:00:00Z"), 1.0)

    def test_share_counts_the_buckets_that_are_in(self):
        at = "2026-01-12T12:00:00Z"
        rule = '[{"date_function": "2026-01-05|28|linear"}]'
        device = '{"time_zone": "UTC", "rollout_bucket": %d}'
        share = self.value("SELECT yox_share('2026-01-05|28|linear', ?)", at)
        last = round(share * 4096) - 1
        applies = "SELECT yox_applies(?, ?, ?)"
        self.assertEqual(self.value(applies, rule, device % last, at), 1)
        self.assertEqual(self.value(applies, rule, device % (last + 1), at), 0)


def forecast():
    """What yoxctl says of the roll-out."""
    output = subprocess.run(
        [YOXCTL, "--format", "json", "rollout", "--function", "2026-01-05|28|linear",
         "--serial-number", "C0FFEE12"], capture_output=True, check=True, text=True).stdout
    return json.loads(output)["rollouts"][0]


class Funnels(Database):
    def setUp(self):
        super().setUp()
        self.rows("CREATE TABLE devices(site TEXT, facts TEXT)")
        self.database.executemany("INSERT INTO devices VALUES (?, ?)", [
            ("x", facts()), ("x", facts(country="FR")), ("y", without("tags")),
            ("y", facts(tags={"Ring": "stable"})), ("y", None)])

    def test_counts_as_fleet_decide(self):
        funnel = json.loads(self.value("SELECT yox_funnel(?, facts, ?) FROM devices", LIST, AT))
        self.assertEqual((funnel["devices"], funnel["applies"], funnel["does_not_apply"],
                          funnel["undetermined"]), (4, 1, 2, 1))
        self.assertEqual(funnel["needs"], {"tags.Ring": 1})
        self.assertEqual(funnel["filters"][0], {"filter": 0, "reached": 4, "decided": 1,
                                                "first_excluded_by": {"country": 3},
                                                "only_excluded_by": {"country": 3}})

    def test_counts_by_group(self):
        rows = self.rows("""SELECT site, json_extract(yox_funnel(?, facts, ?), '$.devices')
                            FROM devices GROUP BY site ORDER BY site""", LIST, AT)
        self.assertEqual(rows, [("x", 2), ("y", 2)])

    def test_no_rows_give_zero(self):
        funnel = json.loads(self.value("SELECT yox_funnel(?, facts, ?) FROM devices WHERE 0",
                                       LIST, AT))
        self.assertEqual(funnel["devices"], 0)

    def test_a_group_has_one_list(self):
        self.assert_error("list: differs within the group",
                          "SELECT yox_funnel(iif(site = 'x', ?, '[]'), facts, ?) FROM devices",
                          LIST, AT)

    def test_an_aggregate_that_is_abandoned_is_freed(self):
        self.database.execute("INSERT INTO devices VALUES ('x', '{')")
        with self.assertRaises(sqlite3.Error):
            self.rows("SELECT yox_funnel(?, facts, ?) FROM devices", LIST, AT)
        self.assertEqual(self.value("SELECT 1"), 1)


class Determinism(Database):
    def test_with_a_moment_it_may_be_in_indexes_and_generated_columns(self):
        self.database.executescript(f"""
            CREATE TABLE devices(id TEXT PRIMARY KEY, facts TEXT NOT NULL,
                gets AS (yox_applies('{LIST}', facts, '{AT}')) STORED,
                bucket AS (yox_bucket(json_extract(facts, '$.serial_number'))) VIRTUAL);
            CREATE INDEX gets ON devices(gets);
            CREATE INDEX by_reason ON devices(yox_reason('{LIST}', facts, '{AT}'));""")
        self.database.executemany("INSERT INTO devices(id, facts) VALUES (?, ?)", [
            ("a", facts(serial_number="C0FFEE12")), ("b", facts(country="FR")),
            ("c", without("tags"))])
        self.assertEqual(self.rows("SELECT id, gets FROM devices ORDER BY id"),
                         [("a", 1), ("b", 0), ("c", None)])
        self.assertEqual(self.value("SELECT bucket FROM devices WHERE id = 'a'"),
                         self.value("SELECT yox_bucket('C0FFEE12')"))
        plan = self.rows(f"""EXPLAIN QUERY PLAN SELECT id FROM devices WHERE
            yox_reason('{LIST}', facts, '{AT}') = 'Filter [0]: value = false; '""")
        self.assertIn("USING INDEX by_reason", plan[0][3])

    def test_without_a_moment_it_may_not(self):
        self.rows("CREATE TABLE devices(facts TEXT)")
        self.assert_error("non-deterministic functions prohibited in index expressions",
                          f"CREATE INDEX now ON devices(yox_applies('{LIST}', facts))")

    def test_may_be_used_by_views_of_an_untrusted_schema(self):
        self.rows("PRAGMA trusted_schema = OFF")
        self.rows(f"CREATE VIEW gets AS SELECT yox_applies('{LIST}', '{facts()}', '{AT}') AS yes")
        self.assertEqual(self.value("SELECT yes FROM gets"), 1)


class Errors(Database):
    """A message names the argument and the place, in the words of yoxctl."""

    def test_lists(self):
        self.assert_error("list: line 1, column 18: [1].country: expected a string, found a number",
                          "SELECT yox_applies(?, ?, ?)", '[{}, {"country": 5}]', facts(), AT)
        self.assert_error('list: line 1, column 3: [0].contry: unknown key (did you mean "country"?)',
                          "SELECT yox_reason(?, ?, ?)", '[{"contry": "DE"}]', facts(), AT)

    def test_a_list_has_the_message_of_yoxctl(self):
        for text in ('[{"country": 5}]', '{"filter": []}', '[', '[{"country": "DE",}]', '7', ''):
            with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
                file.write(text)
                file.flush()
                message = subprocess.run([YOXCTL, "lint", file.name], capture_output=True,
                                         text=True, check=False).stderr
                expected = message.strip().split(f"{file.name}: ", 1)[1]
            self.assert_error("list: " + expected, "SELECT yox_applies(?, ?, ?)", text, facts(), AT)

    def test_facts(self):
        for text, value, message in (
                (facts(country=5), "5", "country: expected a string or null, found a number"),
                (facts(colour="red"), '"colour"', "colour: unknown key"),
                (facts(rollout_bucket=4096), "4096",
                 "rollout_bucket: expected a whole number from 0 to 4095, found a number")):
            place = f"line 1, column {text.index(value) + 1}: "
            self.assert_error("facts: " + place + message, "SELECT yox_applies(?, ?, ?)", LIST, text, AT)
            self.assert_error("facts: " + place + message, "SELECT * FROM yox_criteria(?, ?, ?)", LIST,
                              text, AT)

    def test_moments(self):
        for text in ("", "2026-03-01", "2026-03-01T12:00:00", "2026-02-30T12:00:00Z",
                     "2026-03-01T24:00:00Z", "2026-03-01T12:00:00+01", "2026-03-01T12:00:00Z ",
                     "x2026-03-01T12:00:00Z"):
            self.assert_error(
                "at: expected a date and time with an offset, such as 2026-03-01T12:00:00+01:00, "
                f'found "{text}"', "SELECT yox_applies(?, ?, ?)", LIST, facts(), text)
        for text in "2026-03-01 11:00Z", "2026-03-01T12:00:00.25+01:00", "2026-03-01T06:00:00-05:00":
            self.assertEqual(self.value("SELECT yox_share('2026-03-01|2|linear', ?)", text), 2048 / 4096)

    def test_functions(self):
        self.assert_error('function: expected START|DAYS|GROWTH, found "x"',
                          "SELECT yox_share('x', ?)", AT)
        self.assert_error('function: expected a number of days, found "0"',
                          "SELECT yox_share('2026-01-05|0|linear', ?)", AT)

    def test_tables_need_their_arguments(self):
        self.assert_error("yox_criteria: the argument facts is missing",
                          "SELECT * FROM yox_criteria(?)", LIST)
        self.assert_error("yox_lint: the argument list is missing", "SELECT * FROM yox_lint")

    def test_a_statement_goes_on_with_good_rows_after_an_error(self):
        with self.assertRaises(sqlite3.Error):
            self.rows("SELECT yox_applies(?, ?, ?)", LIST, facts(colour="red"), AT)
        self.assertEqual(self.value("SELECT yox_applies(?, ?, ?)", LIST, facts(), AT), 1)


class ManyLists(Database):
    def test_more_lists_than_are_kept(self):
        self.rows("CREATE TABLE lists(number INTEGER, list TEXT)")
        self.database.executemany("INSERT INTO lists VALUES (?, ?)", [
            (i, json.dumps([{"os_version": f">={i}.0"}])) for i in range(100)])
        for _ in range(2):
            rows = self.rows("SELECT number FROM lists WHERE yox_applies(list, ?, ?)", facts(), AT)
            self.assertEqual(rows, [(i,) for i in range(11)])

    def test_connections_of_several_threads(self):
        results = []

        def decide():
            with sqlite3.connect(":memory:") as database:
                self.load(database)
                for _ in range(200):
                    results.append(database.execute("SELECT yox_applies(?, ?, ?)",
                                                    (LIST, facts(), AT)).fetchone()[0])
            database.close()

        threads = [threading.Thread(target=decide) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(results, [1] * 800)

    def test_needs_no_library_of_the_product(self):
        needed = subprocess.run(["readelf", "--dynamic", EXTENSION], capture_output=True,
                                check=True, text=True).stdout
        self.assertNotIn("libyox", needed)
        symbols = subprocess.run(["nm", "--dynamic", "--defined-only", EXTENSION],
                                 capture_output=True, check=True, text=True).stdout
        self.assertEqual([line.split()[-1] for line in symbols.splitlines()], ["sqlite3_yox_init"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
