"""The PostgreSQL extension, in a server of its own.

    ExtensionTest.py MODULE YOXCTL OBJECT...      the objects of the module that are C++
"""
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from PrivateServer import Installation, SqlError, quoted  # noqa: E402

MODULE, YOXCTL, *OBJECTS = [os.path.abspath(path) for path in sys.argv[1:]]
FILES = [os.path.join(HERE, name) for name in ("yox.control", "yox--1.0.sql", "yox--1.0--1.1.sql", "yox--1.1--1.2.sql")]
AT = "2026-03-01T12:00:00+01:00"

LIST = json.dumps([
    {"country": "FR", "value": "false"},
    {"os_version": ">=10.0", "tag": "Ring|beta", "date_range": "2026-01-01|*"},
    {"default": "false"}])
FACTS = {"id": "a", "time_zone": "Europe/Berlin", "country": "DE", "os_version": "10.0.22631",
         "tags": {"Ring": "Beta"}}
SERVER = None
CLUSTER = None


def setUpModule():
    global SERVER, CLUSTER
    SERVER = Installation(MODULE, FILES)
    unittest.addModuleCleanup(SERVER.close)
    CLUSTER = SERVER.cluster()
    CLUSTER.text("CREATE EXTENSION yox")


def facts(**changes):
    return json.dumps({**FACTS, **changes})


def without(*keys):
    return json.dumps({key: value for key, value in FACTS.items() if key not in keys})


def call(function, *arguments):
    kinds = ("jsonb", "jsonb", "timestamptz", "text")
    return f"yox.{function}(" + ", ".join(
        f"{quoted(argument)}::{kind}" for argument, kind in zip(arguments, kinds)) + ")"


class Case(unittest.TestCase):
    def value(self, expression):
        return CLUSTER.value("SELECT " + expression)

    def assert_error(self, state, message, script):
        with self.assertRaises(SqlError) as raised:
            CLUSTER.text(script)
        self.assertEqual((raised.exception.state, raised.exception.message), (state, message))


class Decisions(Case):
    def test_applies_is_true_false_or_null(self):
        self.assertEqual(self.value(call("applies", LIST, facts(), AT)), "t")
        self.assertEqual(self.value(call("applies", LIST, facts(country="FR"), AT)), "f")
        self.assertIsNone(self.value(call("applies", LIST, without("tags"), AT)))

    def test_null_arguments_give_null(self):
        for arguments in (None, facts(), AT), (LIST, None, AT), (LIST, facts(), None):
            self.assertIsNone(self.value(call("applies", *arguments)))
        self.assertEqual(CLUSTER.rows("SELECT * FROM " + call("criteria", LIST, None, AT)), [])

    def test_reason_and_filter(self):
        self.assertEqual(self.value(call("reason", LIST, facts(), AT)),
                         "Filter [0]: country = false; Filter [1]: true; ")
        self.assertEqual(self.value(call("decided_by", LIST, facts(), AT)), "1")
        self.assertIsNone(self.value(call("reason", LIST, without("tags"), AT)))
        self.assertIsNone(self.value(call("decided_by", LIST, without("tags"), AT)))

    def test_target_version_may_be_null(self):
        rule = '[{"target_version": ">=2.0"}]'
        self.assertEqual(self.value(call("applies", rule, facts(), AT, "2.1")), "t")
        self.assertEqual(self.value(call("applies", rule, facts(), AT, "1.9")), "f")
        self.assertEqual(self.value(call("applies", rule, facts(), AT, None)),
                         self.value(call("applies", rule, facts(), AT)))

    def test_the_day_is_that_of_the_device(self):
        rule = '[{"date_range": "2026-03-01|2026-03-01"}]'
        late = "2026-03-01T23:30:00Z"
        self.assertEqual(self.value(call("applies", rule, facts(), late)), "f")
        self.assertEqual(self.value(call("applies", rule, facts(time_zone="UTC"), late)), "t")
        self.assertIsNone(self.value(call("applies", rule, without("time_zone"), late)))

    def test_moments_before_1970_and_2000(self):
        rule = '[{"date_range": "%s|%s"}]'
        for at, day in (("1969-12-31T23:59:59.5Z", "1969-12-31"), ("1999-12-31T23:59:59.999999Z",
                        "1999-12-31"), ("2000-01-01T00:00:00Z", "2000-01-01")):
            self.assertEqual(self.value(call("applies", rule % (day, day), '{"time_zone": "UTC"}',
                                             at)), "t", at)
        self.assert_error("22008", "at: expected a time, found infinity",
                          "SELECT " + call("applies", LIST, facts(), "infinity"))

    def test_without_a_moment_it_is_now(self):
        self.assertEqual(self.value(call("applies", '[{"date_range": "2020-01-01|*"}]', facts())),
                         "t")
        self.assertEqual(self.value(call("applies", '[{"date_range": "*|2020-01-01"}]', facts())),
                         "f")

    def test_every_fact_is_read(self):
        """One list and one device for each kind of fact, known, missing and unknown."""
        digits = "0" * 64
        rows = [
            ("country", "DE", {"country": "DE"}, "t"), ("country", "DE", {"country": None}, "f"),
            ("os", "Windows", {}, "t"), ("os", "Windows", {"os": "Other"}, "f"),
            ("os_bitness", "64", {"os_bitness": "64"}, "t"), ("os_bitness", "64", {}, None),
            ("sku", "A", {"firmware": False}, "t"), ("sku", "A", {"sku": "B"}, "f"),
            ("mfr", "A", {"firmware": False}, "f"), ("mfr", "A", {"firmware": True}, None),
            ("version", ">=4.0", {"version": "4.2"}, "t"), ("version", ">=4.0", {}, None),
            ("sn_hash", digits, {"sn_hash": digits}, "t"), ("sn_hash", digits, {}, None),
            ("sn_hash", digits, {"serial_number": "C0FFEE12"}, "f"),
            ("org_hash", digits, {"org_hash": digits}, "t"), ("org_hash", digits, {"realm": "x"}, "f"),
            ("device_subscription", "a", {"device_subscription": ["b", "a"]}, "t"),
            ("device_subscription", "a", {"device_subscription": None}, "f"),
            ("installed_items", "Editor|>=7.0", {"installed_items": [["Editor", "7.1"]]}, "t"),
            ("installed_items", "Editor|>=7.0", {"installed_items": [["Editor", "6.1"]]}, "f"),
            ("hardware_id", "PCI\\VEN_1*", {"hardware_ids": ["USB\\A", "PCI\\VEN_1&DEV_2"]}, "t"),
            ("hardware_id", "PCI\\VEN_1*", {"hardware_ids": []}, "f"),
            ("registry", "HKLM\\SOFTWARE\\A:Level|10",
             {"registry": {"hklm\\Software\\a\\": {"LEVEL": "10"}}}, "t"),
            ("registry", "HKLM\\SOFTWARE\\A:Level|10",
             {"registry": {"HKLM\\SOFTWARE\\A": {"Level": None}}}, "f"),
            ("registry", "HKLM\\SOFTWARE\\A:Level|10", {"registry": {}}, None),
            ("date_function", "2026-02-01|28|linear", {"time_zone": "UTC", "rollout_bucket": 0}, "t"),
            ("date_function", "2026-02-20|28|linear", {"time_zone": "UTC", "rollout_bucket": 4095}, "f"),
            ("date_function", "2026-02-20|28|linear|tenant",
             {"time_zone": "UTC", "organisation_bucket": 17}, "t"),
            ("tag", "A*|1", {"tags": {"x": "1", "A2": "1"}}, "t"), ("tag", "A", {"tags": {}}, "f"),
        ]
        for criterion, required, device, expected in rows:
            with self.subTest(criterion=criterion, device=device):
                rule = json.dumps([{criterion: required}])
                self.assertEqual(self.value(call("applies", rule, json.dumps(device), AT)), expected)

    def test_many_members_and_long_values(self):
        """More than the 32 members between two offsets of a container, and values out of line."""
        tags = {f"Tag{i:04}": "x" * 200 for i in range(500)}
        device = facts(tags={**tags, "Ring": "beta"}, installed_items=[
            [f"App {i}", f"{i}.0"] for i in range(500)])
        CLUSTER.text(f"""DROP TABLE IF EXISTS large; CREATE TABLE large(facts jsonb);
                         INSERT INTO large VALUES ({quoted(device)})""")
        for rule, expected in (('[{"tag": "Ring|beta"}]', "t"), ('[{"tag": "Tag0499|x*"}]', "t"),
                               ('[{"installed_items": "App 499|>=499.0"}]', "t"),
                               ('[{"installed_items": "App 500"}]', "f")):
            self.assertEqual(CLUSTER.value(
                f"SELECT yox.applies({quoted(rule)}, facts, '{AT}') FROM large"), expected, rule)

    def test_texts_beyond_ascii(self):
        rule = json.dumps([{"family": "Größe*", "mfr": "*\N{GRINNING FACE}"}])
        device = json.dumps({"family": " GRÖßE 14 ", "mfr": "Contoso \N{GRINNING FACE}"})
        self.assertEqual(self.value(call("applies", rule, device, AT)), "t")
        self.assertIn("GRÖßE 14", self.value(call("explain", rule, device, AT)))

    def test_explain_is_jsonb(self):
        explanation = json.loads(self.value(call("explain", LIST, facts(), AT)))
        self.assertEqual((explanation["applies"], explanation["decided_by"]), (True, 1))
        self.assertEqual(self.value(call("explain", LIST, without("tags"), AT) + " -> 'needs' ->> 0"),
                         "tags.Ring")

    def test_criteria_are_rows(self):
        self.assertEqual(CLUSTER.rows("SELECT * FROM " + call("criteria", LIST, without("tags"), AT)), [
            ("0", "country", "differs", "FR", "DE", None),
            ("1", "date_range", "held", "2026-01-01|*", "2026-03-01", None),
            ("1", "os_version", "held", ">=10.0", "10.0.22631", None),
            ("1", "tag", "unknown", "Ring|beta", None, "tags.Ring")])

    def test_lint_is_rows(self):
        rows = CLUSTER.rows("""SELECT filter, criterion, rule, severity FROM yox.lint('[{"country": "a*b"}]')""")
        self.assertIn(("0", "country", "inner-star", "error"), rows)
        self.assertEqual(self.value(f"count(*) FROM yox.lint({quoted(LIST)}, '{AT}')"), "0")

    def test_bucket_and_share_are_those_of_yoxctl(self):
        output = subprocess.run([YOXCTL, "--format", "json", "rollout", "--function",
                                 "2026-01-05|28|linear", "--serial-number", "C0FFEE12"],
                                capture_output=True, check=True, text=True).stdout
        rollout = json.loads(output)["rollouts"][0]
        self.assertEqual(self.value("yox.bucket('C0FFEE12')"), str(rollout["first_day"]["bucket"]))
        self.assertEqual(float(self.value("yox.share('2026-01-05|28|linear', '2026-01-05T00:00:00Z')")),
                         rollout["forecast"][0]["share"])


class Errors(Case):
    """SQLSTATE, the argument and the place, in the words of yoxctl."""

    def test_a_list_has_the_message_of_yoxctl(self):
        for text in ('[{"country": 5}]', '{"filter": []}', '7', '[[]]', '[{"contry": "DE"}]'):
            with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
                file.write(text)
                file.flush()
                message = subprocess.run([YOXCTL, "lint", file.name], capture_output=True,
                                         text=True, check=False).stderr
                expected = re.sub("^.*: line [0-9]+, column [0-9]+: ", "", message.strip())
            for function in ("applies", "reason", "explain", "criteria"):
                self.assert_error("22023", "list: " + expected,
                                  "SELECT " + call(function, text, facts(), AT))

    def test_facts_have_a_place(self):
        for device, message in (
                ({"country": 5}, "country: expected a string or null, found a number"),
                ({"colour": "red"}, "colour: unknown key"),
                ({"tags": {"Ring": [1]}}, "tags.Ring: expected a string, found an array"),
                ({"sn_hash": "x"}, 'sn_hash: expected 64 hexadecimal digits, found "x"')):
            rule = json.dumps([{key: "x" for key in ("country", "tag", "sn_hash")}, {"default": "true"}])
            # Only what the criteria need is read.
            device = {**{"country": "x", "tags": {"x": "1"}}, **device}
            self.assert_error("22000", "facts: " + message,
                              "SELECT " + call("applies", rule, json.dumps(device), AT))
            self.assertEqual(self.value("yox.facts_problem(" + quoted(json.dumps(device)) + ")"), message)

    def test_remarks_mean_nothing(self):
        for remark in '"comment": "x"', '"comment": ["x", "y"]', '"comment": []', '"$schema": "x"':
            self.assertEqual(self.value(call("applies", '[{"country": "DE"}]', '{"country": "DE", %s}' % remark, AT)), "t")
        for remark, message in (
                ('"comment": 5', "comment: expected a string or an array of strings, found a number"),
                ('"comment": ["x", {}]', "comment[1]: expected a string, found an object"),
                ('"$schema": null', '["$schema"]: expected a string, found null')):
            self.assert_error("22000", "facts: " + message, "SELECT " + call("applies", "[]", "{%s}" % remark, AT))

    def test_keys_of_another_document_that_spell_the_same(self):
        """What is kept of a document's keys serves documents with the same keys only."""
        rows = """SELECT count(yox.applies('[{"sku": "x"}]', facts, '%s')) FROM (VALUES
            ('{"os": "Windows", "sku": "x"}'::jsonb), ('%s')) AS devices(facts)"""
        self.assertEqual(CLUSTER.value(rows % (AT, '{"os": "Windows", "sku": "y"}')), "2")
        self.assert_error("22000", 'facts: o: unknown key (did you mean "os"?)', rows % (AT, '{"o": "", "ssku": "x"}'))

    def test_numbers_that_are_no_bucket(self):
        rule = '[{"date_function": "2026-02-20|28|linear"}]'
        for number in ("4096", "-1", "0.5", "1.0", "10000", "99999999999999999999", '"1"'):
            self.assert_error(
                "22000", "facts: rollout_bucket: expected a whole number from 0 to 4095, found " +
                ("a string" if number == '"1"' else "a number"),
                "SELECT " + call("applies", rule, '{"time_zone": "UTC", "rollout_bucket": %s}' % number, AT))
        for number in ("0", "1", "4095", "1e2"):
            self.assertIsNotNone(self.value(call(
                "applies", rule, '{"time_zone": "UTC", "rollout_bucket": %s}' % number, AT)), number)

    def test_facts_that_are_no_object(self):
        for text in ("[]", "5", '"x"', "null", "{}"):
            if text == "{}":
                self.assertEqual(self.value(call("applies", "[]", text, AT)), "t")
            else:
                with self.assertRaises(SqlError) as raised:
                    CLUSTER.text("SELECT " + call("applies", LIST, text, AT))
                self.assertRegex(raised.exception.message, "^facts: expected an object, found ")

    def test_functions(self):
        self.assert_error("22023", 'function: expected START|DAYS|GROWTH, found "x"',
                          f"SELECT yox.share('x', '{AT}')")

    def test_a_transaction_goes_on_after_a_savepoint(self):
        self.assertEqual(CLUSTER.value(f"""
            BEGIN; SAVEPOINT before;
            DO $$ BEGIN PERFORM {call("applies", "[5]", facts(), AT)}; RAISE 'not refused';
            EXCEPTION WHEN invalid_parameter_value THEN NULL; END $$;
            SELECT {call("applies", LIST, facts(), AT)}; COMMIT"""), "t")

    def test_parts_of_aggregates_cannot_be_called_alone(self):
        for function in ("funnel_bytes(NULL)", "funnel_json(NULL)"):
            with self.assertRaises(SqlError):
                CLUSTER.text("SELECT yox." + function)

    def test_other_encodings_are_refused(self):
        CLUSTER.text("DROP DATABASE IF EXISTS latin")
        CLUSTER.text("CREATE DATABASE latin ENCODING 'LATIN1' LOCALE 'C' TEMPLATE template0")
        CLUSTER.text("CREATE EXTENSION yox", "latin")
        with self.assertRaises(SqlError) as raised:
            CLUSTER.text("SELECT " + call("applies", LIST, facts(), AT), "latin")
        self.assertEqual((raised.exception.state, raised.exception.message),
                         ("0A000", "yox needs a database whose encoding is UTF8"))


class Fleets(Case):
    @classmethod
    def setUpClass(cls):
        CLUSTER.text("""
            DROP TABLE IF EXISTS devices;
            CREATE TABLE devices(id text PRIMARY KEY, site text, facts jsonb);
            INSERT INTO devices SELECT 'd' || i, 's' || i % 3, jsonb_strip_nulls(jsonb_build_object(
                'time_zone', 'Europe/Berlin', 'country', (ARRAY['DE','FR','US'])[1 + i % 3],
                'os_version', '10.0.' || 22000 + i, 'rollout_bucket', i % 4096,
                'tags', CASE WHEN i % 5 = 0 THEN NULL ELSE jsonb_build_object('Ring',
                    CASE WHEN i % 2 = 0 THEN 'beta' ELSE 'stable' END) END))
            FROM generate_series(1, 6000) AS i;
            ANALYZE devices;""")

    def funnel(self, *settings):
        sets = "".join(f"SET {setting};" for setting in settings)
        return json.loads(CLUSTER.value(
            f"{sets} SELECT yox.funnel({quoted(LIST)}, facts, '{AT}') FROM devices"))

    def test_funnel_counts_in_one_scan(self):
        funnel = self.funnel()
        counted = CLUSTER.rows(f"""SELECT count(*), count(*) FILTER (WHERE yes), count(*) FILTER (WHERE NOT yes),
            count(*) FILTER (WHERE yes IS NULL) FROM (SELECT yox.applies({quoted(LIST)}, facts, '{AT}') AS yes
            FROM devices) AS d""")[0]
        self.assertEqual(counted, tuple(str(funnel[key]) for key in (
            "devices", "applies", "does_not_apply", "undetermined")))
        self.assertEqual(funnel["devices"], 6000)
        self.assertEqual(funnel["filters"][0]["first_excluded_by"], {"country": 4000})
        self.assertEqual(funnel["needs"], {"tags.Ring": 800})

    def test_workers_count_the_same(self):
        parallel = ("max_parallel_workers_per_gather = 2", "parallel_setup_cost = 0",
                    "parallel_tuple_cost = 0", "min_parallel_table_scan_size = 0")
        sets = "".join(f"SET {setting};" for setting in parallel)
        plan = CLUSTER.text(f"{sets} EXPLAIN (COSTS OFF) SELECT yox.funnel({quoted(LIST)}, facts, '{AT}') FROM devices")
        self.assertIn("Partial Aggregate", plan)
        self.assertIn("Parallel Seq Scan", plan)
        self.assertEqual(self.funnel(*parallel), self.funnel("max_parallel_workers_per_gather = 0"))

    def test_every_aggregate_is_combined_of_parts(self):
        lacking = CLUSTER.rows("""SELECT aggfnoid::regprocedure FROM pg_aggregate JOIN pg_proc ON pg_proc.oid = aggfnoid
            WHERE pronamespace = 'yox'::regnamespace AND (proparallel <> 's' OR aggcombinefn = 0
                OR aggtranstype = 'internal'::regtype AND (aggserialfn = 0 OR aggdeserialfn = 0))""")
        self.assertEqual(lacking, [])

    def test_rollouts_of_several_spans_and_versions_in_one_statement(self):
        filters = quoted(json.dumps([{"target_version": ">=2.0", "date_function": "2026-03-01|9|linear"}, {"default": "false"}]))
        one = "SELECT yox.rollout(%s, facts, %s, %s, %s) FROM devices"
        # From one to the next either the span changes or the version.
        questions = [(f"date '2026-03-0{day}'", f"date '2026-03-0{day + 1}'", version)
                     for version, days in (("'2.1'", (2, 5)), ("'1.9'", (5, 2)), ("''", (2, 5)), ("NULL", (5, 2))) for day in days]
        expected = [CLUSTER.value(one % (filters, *question)) for question in questions]
        self.assertEqual(len(set(expected)), 3)  # none is in; some on the days of either span
        values = ", ".join(f"({number}, {', '.join(question)})" for number, question in enumerate(questions))
        together = CLUSTER.rows(f"""SELECT yox.rollout({filters}, facts, first, last, version)
            FROM devices, (VALUES {values}) AS asked(number, first, last, version) GROUP BY number ORDER BY number""")
        self.assertEqual([counts for counts, in together], expected)

    def test_parts_add_up(self):
        total = CLUSTER.value(f"""SELECT yox.funnel_sum(part) FROM (SELECT yox.funnel_part({quoted(LIST)}, facts, '{AT}')
            AS part FROM devices GROUP BY site) AS parts""")
        self.assertEqual(json.loads(total), self.funnel())
        self.assertEqual(json.loads(CLUSTER.value("SELECT yox.funnel_sum(NULL)"))["devices"], 0)

    def test_parts_of_other_lists_and_damaged_parts_are_refused(self):
        self.assert_error("22023", "counts: of another list", f"""SELECT yox.funnel_sum(part) FROM (
            SELECT yox.funnel_part({quoted(LIST)}, facts, '{AT}') AS part FROM devices UNION ALL
            SELECT yox.funnel_part('[]', facts, '{AT}') FROM devices) AS parts""")
        for part in ("", "00", "ff" * 20, "00" * 8 + "01" + "ff" * 9):
            self.assert_error("22023", "counts: not written by this version of the extension",
                              f"SELECT yox.funnel_sum('\\x{part}')")

    def test_a_group_has_one_list(self):
        self.assert_error("22023", "list: differs within the group",
                          f"""SELECT yox.funnel(CASE id WHEN 'd7' THEN '[]' ELSE {quoted(LIST)} END::jsonb,
                              facts, '{AT}') FROM devices""")

    def test_many_lists_against_a_fleet(self):
        rows = CLUSTER.rows(f"""SELECT number, count(*) FROM generate_series(1, 60) AS number, devices WHERE
            yox.applies(jsonb_build_array(jsonb_build_object('os_version', '>=10.0.' || 22000 + number * 100)),
                        facts, '{AT}') GROUP BY number ORDER BY number""")
        self.assertEqual(rows, [(str(n), str(6001 - n * 100)) for n in range(1, 61)])

    def test_indexes_and_generated_columns(self):
        CLUSTER.text(f"""
            DROP TABLE IF EXISTS chosen;
            CREATE TABLE chosen(facts jsonb, yes boolean GENERATED ALWAYS AS
                (yox.applies({quoted(LIST)}, facts, '{AT}'::timestamptz)) STORED);
            INSERT INTO chosen SELECT facts FROM devices;
            CREATE INDEX by_reason ON chosen (yox.reason({quoted(LIST)}, facts, '{AT}'::timestamptz));
            ANALYZE chosen""")
        self.assertEqual(self.value("count(*) FROM chosen WHERE yes"), str(self.funnel()["applies"]))
        plan = CLUSTER.text(f"""SET enable_seqscan = off; EXPLAIN SELECT 1 FROM chosen WHERE
            yox.reason({quoted(LIST)}, facts, '{AT}'::timestamptz) = 'Filter [0]: value = false; '""")
        self.assertIn("by_reason", plan)
        self.assert_error("42P17", "functions in index expression must be marked IMMUTABLE",
                          f"CREATE INDEX ON chosen (yox.applies({quoted(LIST)}, facts))")

    def test_every_function_can_be_cancelled(self):
        """In a statement that would take hours."""
        arguments = f"{quoted(LIST)}, a.facts, '{AT}'"
        for counted in (*(f"yox.{name}({arguments})" for name in ("applies", "reason", "decided_by", "explain", "funnel", "funnel_part")),
                        "yox.facts_problem(a.facts)", "yox.bucket(a.facts ->> 'country' || b.id)",
                        f"yox.share('2026-01-05|28|linear', '{AT}'::timestamptz + interval '1 s' * length(b.id))"):
            query = f"SELECT {counted if 'funnel' in counted else f'count({counted})'} FROM devices AS a, devices AS b, devices AS c"
            with self.subTest(query=query):
                self.assert_error("57014", "canceling statement due to statement timeout", f"SET statement_timeout = '50ms'; {query}")
        for rows in f"yox.criteria({arguments})", f"yox.lint({quoted(LIST)}, '{AT}'::timestamptz + interval '1 s' * length(a.id))":
            with self.subTest(rows=rows):
                self.assert_error("57014", "canceling statement due to statement timeout",
                                  f"SET statement_timeout = '50ms'; SELECT count(*) FROM devices AS a, devices AS b, {rows}")

    def test_one_call_on_a_long_list_is_cancelled_within(self):
        """Each call takes long by itself. Cancelled after a tenth of that time, it ends long before the whole of it."""
        filters = json.dumps([{"country": "DE", "os_version": ">=10.0.1", "tag": f"Ring|r{n}"} for n in range(40000)])
        CLUSTER.text(f"CREATE TABLE lists AS SELECT {quoted(filters)}::jsonb AS list")
        self.addCleanup(CLUSTER.text, "DROP TABLE lists")
        for query in (f"count(yox.applies(list, '{{}}', '{AT}')) FROM lists", f"count(yox.explain(list, '{{}}', '{AT}')) FROM lists",
                      f"count(*) FROM lists, yox.lint(list, '{AT}')", f"count(*) FROM lists, yox.criteria(list, '{{}}', '{AT}')"):
            with self.subTest(query=query):
                begun = time.monotonic()
                CLUSTER.text(f"SELECT {query}")
                whole = time.monotonic() - begun
                begun = time.monotonic()
                self.assert_error("57014", "canceling statement due to statement timeout",
                                  f"SET statement_timeout = {int(100 * whole)}; SELECT {query}")
                self.assertLess(time.monotonic() - begun, 0.6 * whole)

    def test_memory_does_not_grow_with_rows(self):
        peak = "substring(pg_read_file('/proc/self/status') FROM 'VmHWM:[^0-9]*([0-9]+)')::int"
        used = CLUSTER.rows(f"""
            SET max_parallel_workers_per_gather = 0;
            SELECT yox.funnel({quoted(LIST)}, facts, '{AT}') IS NULL FROM devices;
            SELECT count(yox.explain({quoted(LIST)}, facts, '{AT}')) FROM devices WHERE id LIKE 'd1%';
            CREATE TEMP TABLE before AS SELECT {peak} AS peak;
            SELECT yox.funnel({quoted(LIST)}, facts, '{AT}') IS NULL FROM devices, generate_series(1, 40);
            SELECT count(yox.explain({quoted(LIST)}, facts, '{AT}')) FROM devices;
            SELECT {peak} - peak FROM before""")
        self.assertLess(int(used[-1][0]), 4096, "KiB")


class Border(unittest.TestCase):
    """What Border.h says of the two languages."""

    @staticmethod
    def symbols(*arguments):
        return {line.split()[-1] for line in subprocess.run(["nm", *arguments], check=True, capture_output=True,
                                                            text=True).stdout.splitlines() if line and not line.endswith(":")}

    def test_the_cpp_side_never_calls_the_server(self):
        self.assertEqual(len(OBJECTS), 3)
        server = self.symbols("--dynamic", "--defined-only", os.path.join(SERVER.bindir, "postgres"))
        self.assertIn("errstart", server)
        self.assertIn("CurrentMemoryContext", server)
        for object_file in OBJECTS:
            used = self.symbols("--undefined-only", object_file)
            self.assertGreater(len(used), 5)
            self.assertEqual(used & server, set(), object_file)

    def test_the_c_side_keeps_no_cpp_object(self):
        """Exceptions have no place to be caught there: every function that it calls is noexcept."""
        with open(os.path.join(HERE, "Border.h"), encoding="utf-8") as file:
            header = file.read()
        declared = re.findall(r"(?m)^\w[\w* ]*?(yox_\w+)\([^;]*;", header)
        self.assertGreater(len(declared), 20)
        self.assertEqual(declared, re.findall(r"(?m)^\w[\w* ]*?(yox_\w+)\([^;]*\) YOX_NOEXCEPT;", header))


class Versions(Case):
    """The first version and every later one can be installed, updated, dropped and dumped."""

    @staticmethod
    def members(database):
        return CLUSTER.rows("""SELECT pg_describe_object(classid, objid, 0) FROM pg_depend
            WHERE deptype = 'e' AND refclassid = 'pg_extension'::regclass AND refobjid =
            (SELECT oid FROM pg_extension WHERE extname = 'yox') ORDER BY 1""", database)

    def test_an_update_gives_what_a_new_installation_has(self):
        CLUSTER.text("DROP DATABASE IF EXISTS old")
        CLUSTER.text("CREATE DATABASE old")
        CLUSTER.text("CREATE EXTENSION yox VERSION '1.0'", "old")
        first = self.members("old")
        self.assertEqual(CLUSTER.value("SELECT " + call("applies", LIST, facts(), AT), "old"), "t")
        CLUSTER.text("ALTER EXTENSION yox UPDATE", "old")
        self.assertEqual(self.members("old"), self.members("postgres"))
        self.assertLess(set(first), set(self.members("old")))
        CLUSTER.text("DROP EXTENSION yox", "old")

    def test_pg_upgrade_takes_decisions_along(self):
        """Stored columns, indexes and constraints that use the functions, in a cluster that began with the first version."""
        SERVER.copy_programs("pg_upgrade", "pg_ctl", "pg_controldata", "pg_resetwal", "pg_dump", "pg_dumpall", "pg_restore",
                             "psql", "vacuumdb")
        old, new = SERVER.cluster("before_upgrade"), SERVER.new_cluster("upgraded")
        moment = f"'{AT}'::timestamptz"
        old.text(f"""CREATE EXTENSION yox VERSION '1.0'; CREATE TABLE devices(
                facts jsonb CHECK (yox.facts_problem(facts) IS NULL),
                yes boolean GENERATED ALWAYS AS (yox.applies({quoted(LIST)}, facts, {moment})) STORED);
            INSERT INTO devices SELECT {quoted(facts())}::jsonb || jsonb_build_object('id', i::text) FROM generate_series(1, 1000) AS i;
            INSERT INTO devices VALUES ({quoted(facts(country="FR"))});
            CREATE INDEX by_reason ON devices (yox.reason({quoted(LIST)}, facts, {moment}));""")
        old.stop(signal.SIGINT)
        SERVER.run("pg_upgrade", "--old-datadir", old.data, "--new-datadir", new.data, "--old-bindir", SERVER.bindir,
                   "--new-bindir", SERVER.bindir, "--socketdir", new.socket, "--username=tester")
        new.start()
        self.assertEqual(new.rows("SELECT yes, count(*) FROM devices GROUP BY yes ORDER BY yes"), [("f", "1"), ("t", "1000")])
        plan = new.text(f"""SET enable_seqscan = off; EXPLAIN SELECT facts FROM devices
            WHERE yox.reason({quoted(LIST)}, facts, {moment}) = 'Filter [0]: value = false; '""")
        self.assertIn("by_reason", plan)
        self.assertEqual(new.rows(f"""SET enable_seqscan = off; SELECT facts ->> 'country' FROM devices
            WHERE yox.reason({quoted(LIST)}, facts, {moment}) = 'Filter [0]: value = false; '"""), [("FR",)])
        self.assertEqual(new.value("SELECT extversion FROM pg_extension WHERE extname = 'yox'"), "1.0")
        new.text("ALTER EXTENSION yox UPDATE")
        self.assertEqual(json.loads(new.value(f"SELECT yox.funnel({quoted(LIST)}, facts, {moment}) FROM devices"))["devices"], 1001)
        with self.assertRaises(SqlError):
            new.text("INSERT INTO devices VALUES ('{\"colour\": 1}')")

    def test_functions_that_depend_on_a_moment_are_marked(self):
        rows = CLUSTER.rows("""SELECT proname, provolatile, proparallel, procost > 1 FROM pg_proc
            WHERE pronamespace = 'yox'::regnamespace AND prokind = 'f' AND proname !~ '^(funnel|rollout)_'""")
        self.assertEqual({row[2] for row in rows}, {"s"})
        self.assertEqual({row[3] for row in rows}, {"t"})
        self.assertEqual(sorted(name for name, volatility, *_ in rows if volatility == "s"),
                         ["applies", "criteria", "decided_by", "explain", "reason"])
        self.assertEqual({row[1] for row in rows}, {"i", "s"})

    def test_functions_are_found_whatever_the_search_path(self):
        self.assertEqual(CLUSTER.value("SET search_path = ''; SELECT " + call("applies", LIST, facts(), AT)), "t")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
