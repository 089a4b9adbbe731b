"""The decision in PostgreSQL against the same rules written by hand, a client that fetches, workers and shards.

    SqlBenchmark.py MODULE YOXCTL SQLITE_EXTENSION [--rows N] [--plot FILE.svg]

Everything is in one run, on servers of its own in a temporary folder. What is compared runs in turn, once before
anything is timed, then five times, three times with more than 200,000 rows; times are medians. A million rows with the
plot take six minutes and 5 GB below TMPDIR.
"""
import argparse
import json
import os
import pathlib
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
POSTGRESQL = ROOT / "bindings" / "postgresql"
sys.path.insert(0, str(POSTGRESQL))
from PrivateServer import Installation, quoted  # noqa: E402

AT = "2026-03-01T12:00:00+01:00"
LIST = [{"country": "FR", "value": "false"},
        {"os_version": ">=10.0.22500", "tag": "Ring|beta"},
        {"mfr": "Contoso*", "language": "en*"},
        {"date_range": "2026-01-01|*", "model": "FA1*"},
        {"default": "false"}]
# The same rules by hand.
CASE = f"""CASE
  WHEN lower(facts ->> 'country') = 'fr' THEN false
  WHEN string_to_array(facts ->> 'os_version', '.')::int[] >= '{{10,0,22500}}'
       AND lower(facts -> 'tags' ->> 'Ring') = 'beta' THEN true
  WHEN lower(facts ->> 'mfr') LIKE 'contoso%' AND lower(facts ->> 'language') LIKE 'en%' THEN true
  WHEN ('{AT}'::timestamptz AT TIME ZONE (facts ->> 'time_zone'))::date >= '2026-01-01'
       AND lower(facts ->> 'model') LIKE 'fa1%' THEN true
  ELSE false END"""
APPLIES = f"yox.applies({quoted(json.dumps(LIST))}, facts, '{AT}')"
FUNNEL = f"yox.funnel({quoted(json.dumps(LIST))}, facts, '{AT}')"
PART = f"yox.funnel_part({quoted(json.dumps(LIST))}, facts, '{AT}')"

# Drawn from the row's number, the same every time.
DEVICES = """SELECT 'd' || i AS id, i % 3 AS shard, jsonb_build_object('id', 'd' || i,
    'time_zone', (ARRAY['Europe/Berlin','America/New_York','UTC','Asia/Tokyo'])[1 + i % 4],
    'country', (ARRAY['DE','FR','US','IT','JP','BR'])[1 + i * 7 % 6],
    'language', (ARRAY['de-DE','en-US','fr-FR'])[1 + i * 5 % 3], 'enclosure', 'Notebook', 'family', 'Falcon 14',
    'mfr', (ARRAY['Contoso','Fabrikam','Northwind'])[1 + i * 11 % 3], 'model', 'FA' || i * 13 % 40,
    'sku', 'FALCON' || i % 100, 'os', 'Windows', 'os_bitness', '64', 'os_description', 'Microsoft Windows 11 Pro',
    'os_version', '10.0.' || 22000 + i * 17 % 1000 || '.' || i % 5000, 'version', '4.2.10.0',
    'serial_number', 'SN' || i, 'realm', 'contoso',
    'tags', jsonb_build_object('Ring', (ARRAY['beta','stable'])[1 + i % 2], 'Site', 'S' || i % 50),
    'installed_items', jsonb_build_array(jsonb_build_array('Contoso Editor', '7.1.' || i % 9))) AS facts
  FROM generate_series(1, {rows}) AS i"""

ONE_WORKER = "SET max_parallel_workers_per_gather = 0"
TWO_WORKERS = """SET max_parallel_workers_per_gather = 1; SET parallel_setup_cost = 0; SET parallel_tuple_cost = 0;
    SET min_parallel_table_scan_size = 0"""  # the leader works too


def in_turn(runs, times=5):
    """The median seconds of each of the functions, and what it returned."""
    results = {name: run() for name, run in runs.items()}  # and what they read is in memory now
    seconds = {name: [] for name in runs}
    for _ in range(times):
        for name, run in runs.items():
            begin = time.perf_counter()
            results[name] = run()
            seconds[name].append(time.perf_counter() - begin)
    return {name: statistics.median(taken) for name, taken in seconds.items()}, results


def agree(*results):
    if len(set(results)) > 1:
        raise SystemExit(f"they disagree: {results}")


OURS, OURS_TWO, BY_HAND = "yox.applies, one worker", "yox.applies, two workers", "CASE by hand, one worker"
FUNNEL_ONE, FUNNEL_TWO = "yox.funnel, one worker", "yox.funnel, two workers"
SCAN = "a scan that looks at no facts, one worker"
COPIED, BY_CURSOR = "client: rows by one COPY, decided by yoxctl", "client: rows by a cursor, decided by yoxctl"
EACH = "client: a query for each row, decided by yoxctl"
ONE_SHARD, THREE_SHARDS = "funnel_part, one shard", "funnel_part, three shards"
OURS_SQLITE, BY_HAND_SQLITE = "SQLite: yox_applies", "SQLite: CASE by hand"


class Report:
    def __init__(self):
        self.results = {}

    def add(self, name, rows, seconds):
        self.results[name] = rows / seconds
        print(f"{name:58} {rows / seconds:12,.0f} rows/s   {seconds * 1e6 / rows:8.3f} us/row", flush=True)

    def ratio(self, name, above, below, goal):
        print(f"{name:58} {self.results[above] / self.results[below]:12.2f}        {goal}")


def plot(points, file):
    """Seconds by rows, both axes linear, as an SVG of its own."""
    width, height, left, right, bottom = 720, 400, 70, 40, 50
    most_rows, most_seconds = max(p[1] for p in points), max(p[2] for p in points)
    names = list(dict.fromkeys(p[0] for p in points))
    colours = ["#1f6feb", "#d1242f", "#1a7f37"]

    def place(rows, seconds):
        return (left + rows / most_rows * (width - left - right),
                height - bottom - seconds / most_seconds * (height - bottom - 20))

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="12">',
             f'<rect width="{width}" height="{height}" fill="#ffffff"/>',
             f'<path d="M{left} 20V{height - bottom}H{width - right}" stroke="#57606a" fill="none"/>']
    for i in range(5):
        rows, seconds = most_rows * i / 4, most_seconds * i / 4
        x, y = place(rows, seconds)
        parts.append(f'<text x="{x:.0f}" y="{height - bottom + 18}" text-anchor="middle">{rows / 1000:,.0f} k</text>')
        parts.append(f'<text x="{left - 8}" y="{y + 4:.0f}" text-anchor="end">{seconds:.2f} s</text>')
    parts.append(f'<text x="{width / 2}" y="{height - 10}" text-anchor="middle">devices</text>')
    for number, name in enumerate(names):
        line = [place(p[1], p[2]) for p in points if p[0] == name]
        parts.append('<polyline fill="none" stroke-width="2" stroke="%s" points="%s"/>' % (
            colours[number], " ".join(f"{x:.1f},{y:.1f}" for x, y in line)))
        parts.append(f'<text x="{left + 16}" y="{34 + 18 * number}" fill="{colours[number]}">{name}</text>')
    pathlib.Path(file).write_text("\n".join(parts + ["</svg>"]) + "\n", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("module")
    parser.add_argument("yoxctl")
    parser.add_argument("sqlite")
    parser.add_argument("--rows", type=int, default=200_000)
    parser.add_argument("--plot")
    options = parser.parse_args()
    module, yoxctl, extension = (os.path.abspath(p) for p in (options.module, options.yoxctl, options.sqlite))
    rows = options.rows
    server = Installation(module, [str(p) for p in sorted(POSTGRESQL.glob("yox[.-]*"))])
    report = Report()
    settings = {"shared_buffers": "1GB", "work_mem": "64MB", "jit": "off", "max_wal_size": "4GB",
                "autovacuum": "off", "synchronous_commit": "off"}
    try:
        main_cluster = server.cluster("main", **settings)
        main_cluster.text(f"""CREATE EXTENSION yox; CREATE TABLE devices(id text PRIMARY KEY, shard int, facts jsonb);
            INSERT INTO devices {DEVICES.format(rows=rows)}; VACUUM ANALYZE devices""")
        size = int(main_cluster.value("SELECT pg_total_relation_size('devices')"))
        print(f"{rows:,} devices, {size / rows:.0f} bytes each with the primary key\n")

        count = "SELECT count(*) FROM devices WHERE "

        def ask(query):
            return lambda: main_cluster.text(query)

        def measured(names, runs, of=rows, times=5 if rows <= 200_000 else 3):
            seconds, results = in_turn(dict(zip(names, runs)), times)
            for name in names:
                report.add(name, of, seconds[name])
            return [results[name] for name in names]

        agree(*measured([OURS, BY_HAND, OURS_TWO], [ask(f"{ONE_WORKER}; {count}{APPLIES}"), ask(f"{ONE_WORKER}; {count}{CASE}"),
                                                    ask(f"{TWO_WORKERS}; {count}{APPLIES}")]))
        agree(*measured([FUNNEL_ONE, FUNNEL_TWO], [ask(f"{how}; SELECT {FUNNEL} FROM devices") for how in (ONE_WORKER, TWO_WORKERS)]))
        measured([SCAN], [ask(f"{ONE_WORKER}; SELECT count(*) FROM devices WHERE shard < 0")])

        with tempfile.TemporaryDirectory() as folder:
            listing = os.path.join(folder, "list.json")
            pathlib.Path(listing).write_text(json.dumps(LIST), encoding="utf-8")
            decide = [yoxctl, "--format", "json", "fleet", "decide", listing, "--at", AT, "--jobs", "1", "--facts", "-"]

            def fetched(script, *options):
                """What psql fetches goes to yoxctl, which decides a row while others are on their way."""
                psql = ["psql", "--no-psqlrc", "--quiet", "--tuples-only", "--no-align", *options, main_cluster.url()]

                def run():
                    with tempfile.TemporaryFile("w+") as text:
                        text.write(script)
                        text.seek(0)
                        fetching = subprocess.Popen(psql, stdin=text, stdout=subprocess.PIPE)
                        done = subprocess.run(decide, stdin=fetching.stdout, check=True, capture_output=True)
                        if fetching.wait() != 0:
                            raise SystemExit("psql failed")
                        return json.loads(done.stdout)["applies"]
                return run

            # No value of this fleet has a backslash, which COPY would double.
            copied, by_cursor = measured([COPIED, BY_CURSOR], [
                fetched("COPY (SELECT facts FROM devices) TO STDOUT;"),
                fetched("SELECT facts FROM devices;", "--set=FETCH_COUNT=1000")], times=3)
            some = min(rows, 20_000)
            each, = measured([EACH], [fetched("".join(f"SELECT facts FROM devices WHERE id = 'd{i}';\n" for i in range(1, some + 1)))],
                             some, 3)
            agree(copied, by_cursor, int(main_cluster.value(count + APPLIES)))
            agree(each, int(main_cluster.value(f"{count}{APPLIES} AND substr(id, 2)::int <= {some}")))

            database = sqlite3.connect(os.path.join(folder, "fleet.db"))
            database.enable_load_extension(True)
            database.load_extension(extension)
            database.execute("CREATE TABLE devices(id TEXT PRIMARY KEY, facts TEXT)")
            database.executemany("INSERT INTO devices VALUES (?, ?)",
                                 main_cluster.rows(f"SELECT id, facts FROM devices LIMIT {some}"))
            in_sqlite = (CASE.replace(" ->> 'country'", "->>'$.country'").replace("string_to_array(facts ->> 'os_version', '.')::int[] >= '{10,0,22500}'",
                         "(facts->>'$.os_version') >= '10.0.22500'").replace("facts -> 'tags' ->> 'Ring'", "facts->>'$.tags.Ring'")
                         .replace(f"('{AT}'::timestamptz AT TIME ZONE (facts ->> 'time_zone'))::date", "date('2026-03-01', length(facts->>'$.time_zone') || ' seconds')"))
            for name in "mfr", "language", "model":
                in_sqlite = in_sqlite.replace(f"facts ->> '{name}'", f"facts->>'$.{name}'")
            ours, theirs = measured([OURS_SQLITE, BY_HAND_SQLITE], [
                lambda: database.execute("SELECT count(*) FROM devices WHERE yox_applies(?, facts, ?)", (json.dumps(LIST), AT)).fetchone(),
                lambda: database.execute(f"SELECT count(*) FROM devices WHERE {in_sqlite}").fetchone()], some)
            agree(ours, theirs)
            database.close()

        # The same devices twice: all on one server, and a third on each of three.
        shards = {name: server.cluster(name, **settings) for name in ("all", "shard0", "shard1", "shard2")}
        main_cluster.text("""CREATE EXTENSION postgres_fdw;
            CREATE TABLE parted(id text, shard int NOT NULL, facts jsonb NOT NULL) PARTITION BY LIST (shard)""")
        for name, shard in shards.items():
            part = "true" if name == "all" else f"shard = {name[-1]}"
            shard.text(f"""CREATE EXTENSION yox; CREATE TABLE devices AS SELECT * FROM ({DEVICES.format(rows=rows)}) AS d
                WHERE {part}; VACUUM ANALYZE devices""")
            table = ('TABLE whole(id text, shard int NOT NULL, facts jsonb NOT NULL)' if name == "all" else
                     f"TABLE parted{name[-1]} PARTITION OF parted FOR VALUES IN ({name[-1]})")
            main_cluster.text(f"""CREATE SERVER {name}_server FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '{shard.socket}',
                dbname 'postgres', extensions 'yox', async_capable 'true');
                CREATE USER MAPPING FOR tester SERVER {name}_server OPTIONS (user 'tester', password_required 'false');
                CREATE FOREIGN {table} SERVER {name}_server OPTIONS (table_name 'devices')""")
            # A shard scans with one process, so that it is servers that are compared.
            shard.text("ALTER SYSTEM SET max_parallel_workers_per_gather = 0; SELECT pg_reload_conf()")
        agree(*measured([ONE_SHARD, THREE_SHARDS], [
            ask(f"""SET enable_partitionwise_aggregate = on; SELECT yox.funnel_sum(p) FROM
                (SELECT {PART} AS p FROM {table} GROUP BY shard) AS s""") for table in ("whole", "parted")]))

        print()
        for what, fast, slow, goal in (
                ("yox.applies / CASE by hand", OURS, BY_HAND, "1/3 at least"), ("SQLite: yox_applies / CASE by hand", OURS_SQLITE, BY_HAND_SQLITE, "1/3 at least"),
                ("in the database / a client, a query for each row", OURS, EACH, "20 at least"),
                ("in the database / a client, rows by a cursor", OURS, BY_CURSOR, ""), ("in the database / a client, rows by one COPY", OURS, COPIED, ""),
                ("with two workers / a client, a query for each row", OURS_TWO, EACH, "20 at least"),
                ("with two workers / a client, rows by a cursor", OURS_TWO, BY_CURSOR, ""), ("with two workers / a client, rows by one COPY", OURS_TWO, COPIED, ""),
                ("two workers / one", OURS_TWO, OURS, ""), ("funnel: two workers / one", FUNNEL_TWO, FUNNEL_ONE, ""),
                ("three shards / one", THREE_SHARDS, ONE_SHARD, "")):
            report.ratio(what, fast, slow, goal)

        if options.plot:
            points = []
            for part in (0.001, 0.01, 0.1, 0.25, 0.5, 1.0):
                some = int(rows * part)
                table = f"(SELECT facts FROM devices LIMIT {some}) AS d"
                seconds, _ = in_turn({
                    "yox.applies": ask(f"{ONE_WORKER}; SELECT count(*) FROM {table} WHERE {APPLIES}"),
                    "CASE by hand": ask(f"{ONE_WORKER}; SELECT count(*) FROM {table} WHERE {CASE}"),
                    "yox.funnel": ask(f"{ONE_WORKER}; SELECT {FUNNEL} IS NULL FROM {table}")}, 3)
                points += [(name, some, taken) for name, taken in seconds.items()]
            plot(points, options.plot)
            print("\n" + "\n".join(f"{name:14} {some:9,} rows {seconds:8.3f} s" for name, some, seconds in points))
    finally:
        server.close()


if __name__ == "__main__":
    main()
