-- The aggregates: one process, workers, parts.
\set arguments '''[{"country": "FR", "value": "false"}, {"os_version": ">=10.0.22500", "tag": "Ring|beta"}, {"default": "false"}]'', facts, ''2026-03-01'''
CREATE TABLE devices AS SELECT i % 3 AS site, jsonb_strip_nulls(jsonb_build_object(
    'country', (ARRAY['DE', 'FR', 'US'])[1 + i % 3], 'os_version', '10.0.' || 22000 + i,
    'tags', CASE WHEN i % 5 > 0 THEN jsonb_build_object('Ring', (ARRAY['beta', 'stable'])[1 + i % 2]) END)) AS facts
  FROM generate_series(1, 1000) AS i;
ANALYZE devices;

SET max_parallel_workers_per_gather = 0;
SELECT jsonb_pretty(yox.funnel(:arguments)) FROM devices;
SELECT yox.funnel(:arguments) -> 'devices' AS none FROM devices WHERE false;
SELECT site, yox.funnel(:arguments) -> 'applies' AS applies FROM devices GROUP BY site ORDER BY site;

SET max_parallel_workers_per_gather = 2; SET parallel_setup_cost = 0; SET parallel_tuple_cost = 0;
SET min_parallel_table_scan_size = 0;
EXPLAIN (COSTS OFF) SELECT yox.funnel(:arguments) FROM devices;
SELECT yox.funnel(:arguments) - 'filters' AS by_workers FROM devices;
SELECT yox.funnel_sum(part) - 'filters' AS of_parts
FROM (SELECT yox.funnel_part(:arguments) AS part FROM devices GROUP BY site) AS parts;

-- The days of a roll-out.
\set days '''[{"country": "FR"}, {"country": "DE", "date_function": "2026-03-01|4|linear"}]'', facts, ''2026-02-28'', ''2026-03-05'''
UPDATE devices SET facts = facts || jsonb_build_object('rollout_bucket', abs(hashtext(facts::text)) % 4096);
EXPLAIN (COSTS OFF) SELECT yox.rollout(:days) FROM devices;
SELECT yox.rollout(:days) AS by_workers FROM devices;
SET max_parallel_workers_per_gather = 0;
SELECT yox.rollout(:days) AS by_one FROM devices;
SELECT site, yox.rollout(:days, '1.0') FROM devices GROUP BY site ORDER BY site;
SELECT yox.rollout(:days) AS none FROM devices WHERE false;
SELECT count(*) FILTER (WHERE yox.applies('[{"country": "DE", "date_function": "2026-03-01|4|linear"}]', facts,
  '2026-03-02 12:00Z')) AS de_on_the_third_day FROM devices;
SELECT yox.rollout('[{"country": "DE"}]', facts, first, '2026-03-02') FROM (VALUES ('{}'::jsonb, NULL::date),
  ('{"country": "DE"}', '2026-03-01'), (NULL, '2026-03-01')) AS given(facts, first);
SELECT yox.rollout('[{"country": "DE"}]', '{}', '2026-03-02', '2026-03-01');
SELECT yox.rollout('[{"country": "DE"}]', '{}', '2026-03-02', 'infinity');
SELECT yox.rollout('[{"country": "DE"}]', '{}', '2026-03-02', last) FROM (VALUES (date '2026-03-02'), ('2026-03-03')) AS d(last);
SELECT yox.rollout('[{"country": 1}]', '{}', '2026-03-02', '2026-03-03');
SELECT yox.rollout('[{"country": "DE"}]', '{"country": 1}', '2026-03-02', '2026-03-03');
SELECT yox.rollout_add(NULL, '[]', '{}', '2026-03-02', '2026-03-03');
DROP TABLE devices;
