\echo Use "ALTER EXTENSION yox UPDATE" to load this file. \quit

-- How many devices a list applies to on each day, at noon of each device's own calendar, in one scan: the number of
-- devices, and then two numbers for each day from `first` to `last`: those that it applies to, and the undetermined.
CREATE FUNCTION rollout_add(state bigint[], list jsonb, facts jsonb, first date, last date, target_version text)
  RETURNS bigint[] AS 'MODULE_PATHNAME', 'yox_pg_rollout_add' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 200;
CREATE FUNCTION rollout_add(state bigint[], list jsonb, facts jsonb, first date, last date)
  RETURNS bigint[] AS 'MODULE_PATHNAME', 'yox_pg_rollout_add' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 200;
CREATE FUNCTION rollout_combine(state bigint[], other bigint[])
  RETURNS bigint[] AS 'MODULE_PATHNAME', 'yox_pg_rollout_combine' LANGUAGE C IMMUTABLE PARALLEL SAFE;

CREATE AGGREGATE rollout(list jsonb, facts jsonb, first date, last date, target_version text) (
  SFUNC = rollout_add, STYPE = bigint[], COMBINEFUNC = rollout_combine, PARALLEL = SAFE);
CREATE AGGREGATE rollout(list jsonb, facts jsonb, first date, last date) (
  SFUNC = rollout_add, STYPE = bigint[], COMBINEFUNC = rollout_combine, PARALLEL = SAFE);
