-- Complain if the file is sourced in psql instead of CREATE EXTENSION.
\echo Use "CREATE EXTENSION yox" to load this file. \quit

-- With `at` a result depends on the arguments alone: such functions may be in indexes and generated columns, run
-- in parallel workers, and are sent to other servers. Without it the moment is that of now().
CREATE FUNCTION applies(list jsonb, facts jsonb, at timestamptz, target_version text DEFAULT NULL) RETURNS boolean
  AS 'MODULE_PATHNAME', 'yox_pg_applies' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 20;
CREATE FUNCTION applies(list jsonb, facts jsonb) RETURNS boolean
  AS 'MODULE_PATHNAME', 'yox_pg_applies' LANGUAGE C STABLE PARALLEL SAFE COST 20;
CREATE FUNCTION reason(list jsonb, facts jsonb, at timestamptz, target_version text DEFAULT NULL) RETURNS text
  AS 'MODULE_PATHNAME', 'yox_pg_reason' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 30;
CREATE FUNCTION reason(list jsonb, facts jsonb) RETURNS text
  AS 'MODULE_PATHNAME', 'yox_pg_reason' LANGUAGE C STABLE PARALLEL SAFE COST 30;
CREATE FUNCTION decided_by(list jsonb, facts jsonb, at timestamptz, target_version text DEFAULT NULL) RETURNS integer
  AS 'MODULE_PATHNAME', 'yox_pg_decided_by' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 20;
CREATE FUNCTION decided_by(list jsonb, facts jsonb) RETURNS integer
  AS 'MODULE_PATHNAME', 'yox_pg_decided_by' LANGUAGE C STABLE PARALLEL SAFE COST 20;
CREATE FUNCTION explain(list jsonb, facts jsonb, at timestamptz, target_version text DEFAULT NULL) RETURNS jsonb
  AS 'MODULE_PATHNAME', 'yox_pg_explain' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 500;
CREATE FUNCTION explain(list jsonb, facts jsonb) RETURNS jsonb
  AS 'MODULE_PATHNAME', 'yox_pg_explain' LANGUAGE C STABLE PARALLEL SAFE COST 500;
-- What is wrong with a facts document, NULL if nothing: for CHECK constraints.
CREATE FUNCTION facts_problem(facts jsonb) RETURNS text
  AS 'MODULE_PATHNAME', 'yox_pg_facts_problem' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE COST 300;

CREATE FUNCTION bucket(serial_number text) RETURNS integer
  AS 'MODULE_PATHNAME', 'yox_pg_bucket' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE COST 20;

CREATE FUNCTION share(function text, at timestamptz) RETURNS double precision
  AS 'MODULE_PATHNAME', 'yox_pg_share' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE COST 20;

CREATE FUNCTION criteria(list jsonb, facts jsonb, at timestamptz, target_version text DEFAULT NULL)
  RETURNS TABLE (filter integer, criterion text, result text, required text, actual text, missing_fact text)
  AS 'MODULE_PATHNAME', 'yox_pg_criteria' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 500 ROWS 20;
CREATE FUNCTION criteria(list jsonb, facts jsonb)
  RETURNS TABLE (filter integer, criterion text, result text, required text, actual text, missing_fact text)
  AS 'MODULE_PATHNAME', 'yox_pg_criteria' LANGUAGE C STABLE PARALLEL SAFE COST 500 ROWS 20;

CREATE FUNCTION lint(list jsonb, at timestamptz DEFAULT now())
  RETURNS TABLE (filter integer, criterion text, rule text, severity text, message text, remedy text)
  AS 'MODULE_PATHNAME', 'yox_pg_lint' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE COST 2000 ROWS 10;

-- The funnel of a list: how far devices come in it, in one scan.
CREATE FUNCTION funnel_add(state internal, list jsonb, facts jsonb, at timestamptz, target_version text) RETURNS internal
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_add' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 40;
CREATE FUNCTION funnel_add(state internal, list jsonb, facts jsonb, at timestamptz) RETURNS internal
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_add' LANGUAGE C IMMUTABLE PARALLEL SAFE COST 40;
CREATE FUNCTION funnel_add(state internal, list jsonb, facts jsonb) RETURNS internal
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_add' LANGUAGE C STABLE PARALLEL SAFE COST 40;
CREATE FUNCTION funnel_combine(state internal, other internal) RETURNS internal
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_combine' LANGUAGE C IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION funnel_bytes(state internal) RETURNS bytea
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_bytes' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION funnel_from_bytes(bytes bytea, state internal) RETURNS internal
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_from_bytes' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION funnel_json(state internal) RETURNS jsonb
  AS 'MODULE_PATHNAME', 'yox_pg_funnel_json' LANGUAGE C IMMUTABLE PARALLEL SAFE;

CREATE AGGREGATE funnel(list jsonb, facts jsonb, at timestamptz, target_version text) (
  SFUNC = funnel_add, STYPE = internal, SSPACE = 4096, FINALFUNC = funnel_json, COMBINEFUNC = funnel_combine,
  SERIALFUNC = funnel_bytes, DESERIALFUNC = funnel_from_bytes, PARALLEL = SAFE);
CREATE AGGREGATE funnel(list jsonb, facts jsonb, at timestamptz) (
  SFUNC = funnel_add, STYPE = internal, SSPACE = 4096, FINALFUNC = funnel_json, COMBINEFUNC = funnel_combine,
  SERIALFUNC = funnel_bytes, DESERIALFUNC = funnel_from_bytes, PARALLEL = SAFE);
CREATE AGGREGATE funnel(list jsonb, facts jsonb) (
  SFUNC = funnel_add, STYPE = internal, SSPACE = 4096, FINALFUNC = funnel_json, COMBINEFUNC = funnel_combine,
  SERIALFUNC = funnel_bytes, DESERIALFUNC = funnel_from_bytes, PARALLEL = SAFE);
