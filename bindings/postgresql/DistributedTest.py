"""A fleet on three servers, reached through postgres_fdw.

    DistributedTest.py MODULE YOXCTL
"""
import json
import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from PrivateServer import Installation, SqlError, quoted  # noqa: E402

MODULE = os.path.abspath(sys.argv[1])
FILES = [os.path.join(HERE, name) for name in ("yox.control", "yox--1.0.sql", "yox--1.0--1.1.sql", "yox--1.1--1.2.sql")]
AT = "2026-03-01T12:00:00+01:00"
LIST = json.dumps([{"country": "FR", "value": "false"}, {"os_version": ">=10.0.22500", "tag": "Ring|beta"},
                   {"default": "false"}])
ARGUMENTS = f"{quoted(LIST)}, facts, '{AT}'"
SHARDS = 3
DEVICES = 3000

SERVER = COORDINATOR = None
CLUSTERS = []


def setUpModule():
    global SERVER, COORDINATOR
    SERVER = Installation(MODULE, FILES)
    unittest.addModuleCleanup(SERVER.close)
    for number in range(SHARDS):
        shard = SERVER.cluster(f"shard{number}")
        shard.text(f"""CREATE EXTENSION yox;
            CREATE TABLE devices(id text PRIMARY KEY, shard integer NOT NULL, facts jsonb NOT NULL);
            INSERT INTO devices SELECT 'd' || i, {number}, jsonb_build_object('country',
                (ARRAY['DE','FR','US'])[1 + i % 7 % 3], 'os_version', '10.0.' || 22000 + i % 1000, 'tags',
                jsonb_build_object('Ring', CASE WHEN i % 2 = 0 THEN 'beta' ELSE 'stable' END))
            FROM generate_series(1, {DEVICES}) AS i WHERE i % {SHARDS} = {number}; ANALYZE devices""")
        CLUSTERS.append(shard)
    COORDINATOR = SERVER.cluster("coordinator")
    COORDINATOR.text("""CREATE EXTENSION yox; CREATE EXTENSION postgres_fdw;
        CREATE TABLE devices(id text, shard integer NOT NULL, facts jsonb NOT NULL) PARTITION BY LIST (shard)""")
    for number, shard in enumerate(CLUSTERS):
        COORDINATOR.text(f"""
            CREATE SERVER shard{number} FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '{shard.socket}',
                dbname 'postgres', extensions 'yox', async_capable 'true', fetch_size '1000');
            CREATE USER MAPPING FOR tester SERVER shard{number} OPTIONS (user 'tester', password_required 'false');
            CREATE FOREIGN TABLE devices{number} PARTITION OF devices FOR VALUES IN ({number})
                SERVER shard{number} OPTIONS (table_name 'devices')""")


def remote_statements(plan):
    return [line.partition("Remote SQL: ")[2] for line in plan.splitlines() if "Remote SQL: " in line]


class Distributed(unittest.TestCase):
    def explain(self, query):
        return COORDINATOR.text(f"""SET enable_partitionwise_aggregate = on;
            EXPLAIN (VERBOSE, COSTS OFF) {query}""").replace('""', '"')

    def test_the_filter_is_decided_beside_the_data(self):
        query = f"SELECT id FROM devices WHERE yox.applies({ARGUMENTS})"
        plan = self.explain(query)
        self.assertEqual(plan.count("Async Foreign Scan"), SHARDS, plan)
        statements = remote_statements(plan)
        self.assertEqual(len(statements), SHARDS)
        for statement in statements:
            self.assertIn("WHERE (yox.applies(", statement)
        # What is fetched is the id alone.
        for statement in statements:
            self.assertTrue(statement.startswith("SELECT id FROM"), statement)
        found = {row[0] for row in COORDINATOR.rows(query)}
        expected = {row[0] for shard in CLUSTERS for row in shard.rows(query)}
        self.assertEqual(found, expected)
        self.assertTrue(0 < len(found) < DEVICES)

    def test_the_funnel_is_counted_beside_the_data(self):
        parts = f"SELECT yox.funnel_part({ARGUMENTS}) AS part FROM devices GROUP BY shard"
        query = f"SELECT yox.funnel_sum(part) FROM ({parts}) AS parts"
        plan = self.explain(query)
        self.assertEqual(plan.count("Async Foreign Scan"), SHARDS, plan)
        for statement in remote_statements(plan):
            self.assertIn("yox.funnel_part(", statement)
            self.assertIn("GROUP BY", statement)
        total = json.loads(COORDINATOR.text("SET enable_partitionwise_aggregate = on; " + query)
                           .strip().strip('"').replace('""', '"'))
        self.assertEqual(total, json.loads(COORDINATOR.value(
            f"SELECT yox.funnel({ARGUMENTS}) FROM devices")))
        self.assertEqual(total["devices"], DEVICES)

    def test_counts_by_shard_are_pushed_down(self):
        query = f"""SELECT shard, count(*) FROM devices WHERE yox.applies({ARGUMENTS}) GROUP BY shard
                    ORDER BY shard"""
        for statement in remote_statements(self.explain(query)):
            self.assertIn("count(*)", statement)
        self.assertEqual(COORDINATOR.rows(query), [
            (str(number), shard.value(f"SELECT count(*) FROM devices WHERE yox.applies({ARGUMENTS})"))
            for number, shard in enumerate(CLUSTERS)])

    def test_without_a_moment_nothing_is_pushed_down(self):
        plan = self.explain(f"SELECT id FROM devices WHERE yox.applies({quoted(LIST)}, facts)")
        for statement in remote_statements(plan):
            self.assertNotIn("yox.applies", statement)

    def test_a_bad_device_on_a_shard_is_an_error_with_its_place(self):
        CLUSTERS[1].text("INSERT INTO devices VALUES ('bad', 1, '{\"colour\": 1}')")
        try:
            with self.assertRaises(SqlError) as raised:
                COORDINATOR.text(f"SELECT count(*) FROM devices WHERE yox.applies({ARGUMENTS})")
            self.assertEqual((raised.exception.state, raised.exception.message),
                             ("22000", "facts: colour: unknown key"))
        finally:
            CLUSTERS[1].text("DELETE FROM devices WHERE id = 'bad'")

    def test_a_shard_that_is_down_is_an_error(self):
        """Not a smaller fleet."""
        query = f"SELECT count(*) FROM devices WHERE yox.applies({ARGUMENTS})"
        before = COORDINATOR.value(query)
        CLUSTERS[2].kill()
        try:
            for statement in query, f"SELECT yox.funnel({ARGUMENTS}) FROM devices":
                with self.assertRaises(SqlError) as raised:
                    COORDINATOR.text(statement)
                self.assertEqual(raised.exception.state, "08001")
                self.assertIn('could not connect to server "shard2"', raised.exception.message)
        finally:
            CLUSTERS[2].start()
        self.assertEqual(COORDINATOR.value(query), before)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
