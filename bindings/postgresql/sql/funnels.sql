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
DROP TABLE devices;
