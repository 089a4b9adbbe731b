-- The functions that return rows.
SET timezone = 'UTC';
\set list '[{"country": "FR", "value": "false"}, {"os_version": ">=10.0", "tag": "Ring|beta", "date_range": "2026-01-01|*"}]'
\set facts '{"time_zone": "Europe/Berlin", "country": "DE", "os_version": "10.0.22631"}'

SELECT * FROM yox.criteria(:'list', :'facts', '2026-03-01T12:00:00+01:00');
SELECT count(*) FROM yox.criteria(:'list', NULL, '2026-03-01T12:00:00+01:00');
SELECT filter, criterion, rule, severity FROM yox.lint('[{"country": "a*b"}, {"country": "DE", "value": "x"}]', '2026-03-01');
SELECT count(*) FROM yox.lint('[{"country": "DE"}, {"default": "false"}]', '2026-03-01');

-- Beside each row of a table.
CREATE TEMP TABLE devices AS SELECT id, facts::jsonb FROM (VALUES
  ('a', '{"country": "FR"}'), ('b', '{"country": "DE", "os_version": "9.0", "time_zone": "UTC", "tags": {}}')) AS d(id, facts);
SELECT id, found.criterion, found.actual FROM devices, yox.criteria(:'list', facts, '2026-03-01') AS found
WHERE found.result = 'differs' ORDER BY id, filter, criterion;
