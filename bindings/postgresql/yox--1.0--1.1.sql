\echo Use "ALTER EXTENSION yox UPDATE" to load this file. \quit

-- Counts of a part of a fleet, and their sum: a server that has a part of the devices sends a few bytes.
CREATE FUNCTION funnel_add_part(state internal, part bytea) RETURNS internal
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_add_part' LANGUAGE C IMMUTABLE PARALLEL SAFE;

CREATE AGGREGATE funnel_part(list jsonb, facts jsonb, at timestamptz, target_version text) (
  SFUNC = funnel_add, STYPE = internal, SSPACE = 4096, FINALFUNC = funnel_bytes, COMBINEFUNC = funnel_combine,
  SERIALFUNC = funnel_bytes, DESERIALFUNC = funnel_from_bytes, PARALLEL = SAFE);
CREATE AGGREGATE funnel_part(list jsonb, facts jsonb, at timestamptz) (
  SFUNC = funnel_add, STYPE = internal, SSPACE = 4096, FINALFUNC = funnel_bytes, COMBINEFUNC = funnel_combine,
  SERIALFUNC = funnel_bytes, DESERIALFUNC = funnel_from_bytes, PARALLEL = SAFE);
CREATE AGGREGATE funnel_sum(part bytea) (
  SFUNC = funnel_add_part, STYPE = internal, SSPACE = 4096, FINALFUNC = funnel_json, COMBINEFUNC = funnel_combine,
  SERIALFUNC = funnel_bytes, DESERIALFUNC = funnel_from_bytes, PARALLEL = SAFE);
