-- The functions that decide, one call each.
SET timezone = 'UTC';
\set list '[{"country": "FR", "value": "false"}, {"os_version": ">=10.0", "tag": "Ring|beta", "date_range": "2026-01-01|*"}, {"default": "false"}]'
\set facts '{"time_zone": "Europe/Berlin", "country": "DE", "os_version": "10.0.22631", "tags": {"Ring": "Beta"}}'
\set at 2026-03-01T12:00:00+01:00

SELECT yox.applies(:'list', :'facts', :'at'), yox.decided_by(:'list', :'facts', :'at'),
       yox.reason(:'list', :'facts', :'at');

-- A fact that is not there: undetermined, which is NULL.
SELECT yox.applies(:'list', :'facts'::jsonb - 'tags', :'at') IS NULL AS undetermined,
       yox.reason(:'list', :'facts'::jsonb - 'tags', :'at') IS NULL AS no_reason,
       yox.explain(:'list', :'facts'::jsonb - 'tags', :'at') -> 'needs' AS needs;

-- NULL arguments.
SELECT yox.applies(NULL, :'facts', :'at') IS NULL, yox.applies(:'list', NULL, :'at') IS NULL,
       yox.applies(:'list', :'facts', NULL) IS NULL, yox.applies('[]', '{}', :'at', NULL);

-- The target version, and the day of the device.
SELECT target, yox.applies('[{"target_version": ">=2.0"}]', '{}', :'at', target)
FROM (VALUES ('2.1'), ('1.9'), (NULL)) AS t(target);
SELECT zone, yox.applies('[{"date_range": "2026-03-01|2026-03-01"}]', jsonb_build_object('time_zone', zone),
                         '2026-03-01T23:30:00Z')
FROM (VALUES ('UTC'), ('Europe/Berlin'), ('America/New_York')) AS t(zone);

-- Roll-outs.
SELECT yox.bucket('C0FFEE12'), yox.bucket('') BETWEEN 0 AND 4095 AS in_range, yox.bucket(NULL) IS NULL;
SELECT day, yox.share('2026-03-01|4|linear', day::timestamptz)
FROM (VALUES ('2026-02-28'), ('2026-03-01'), ('2026-03-02'), ('2026-03-05')) AS t(day);

-- Every function that takes a moment may be sent to other servers and stored; the others may not.
SELECT proname, pronargs, provolatile, proparallel, procost FROM pg_proc
WHERE pronamespace = 'yox'::regnamespace AND prokind = 'f' AND proname !~ '^(funnel|rollout)_' ORDER BY 1, 2;

-- Texts beyond ASCII, and values that are stored out of line.
SELECT yox.applies('[{"family": "Größe*", "mfr": "*😀"}]', '{"family": " GRÖßE 14 ", "mfr": "Contoso 😀"}', :'at');
CREATE TEMP TABLE large AS SELECT jsonb_build_object('tags', jsonb_object_agg('Tag' || i, md5(i::text)) || '{"Ring": "beta"}') AS facts
FROM generate_series(1, 500) AS i;
SELECT pg_column_size(facts) > 8000 AS is_large, yox.applies('[{"tag": "Ring|beta"}]', facts, :'at'),
       yox.applies('[{"tag": "Tag500|x"}]', facts, :'at') FROM large;

-- One call site with one list after the other.
CREATE FUNCTION pg_temp.each() RETURNS SETOF boolean LANGUAGE plpgsql AS $$
DECLARE
  country text;
  list jsonb;
BEGIN
  FOREACH country IN ARRAY ARRAY['DE', 'FR', 'DE'] LOOP
    list := jsonb_build_array(jsonb_build_object('country', country));
    RETURN NEXT yox.applies(list, '{"country": "DE"}', '2026-03-01');
  END LOOP;
END $$;
SELECT * FROM pg_temp.each();
