-- Every version can be installed, used, updated and dropped, and an update gives what an installation gives.
DROP EXTENSION yox;
CREATE EXTENSION yox VERSION '1.0';
SELECT yox.applies('[{"country": "DE"}]', '{"country": "DE"}', '2026-03-01');
CREATE TABLE kept(facts jsonb, yes boolean GENERATED ALWAYS AS
  (yox.applies('[{"country": "DE"}]', facts, '2026-03-01Z'::timestamptz)) STORED);
INSERT INTO kept VALUES ('{"country": "DE"}'), ('{"country": "FR"}'), ('{}');
ALTER EXTENSION yox UPDATE;
SELECT * FROM kept;
SELECT extversion, count(*) AS members FROM pg_extension, pg_depend WHERE extname = 'yox' AND refobjid = pg_extension.oid
  AND refclassid = 'pg_extension'::regclass AND deptype = 'e' GROUP BY extversion;
DROP EXTENSION yox;
DROP TABLE kept;
DROP EXTENSION yox;
CREATE EXTENSION yox;
SELECT extversion, count(*) AS members FROM pg_extension, pg_depend WHERE extname = 'yox' AND refobjid = pg_extension.oid
  AND refclassid = 'pg_extension'::regclass AND deptype = 'e' GROUP BY extversion;
