-- SQLSTATE, the argument, the place and what was expected.
\set VERBOSITY sqlstate
SELECT yox.applies('[{"country": 5}]', '{}', '2026-03-01');
SELECT yox.applies('[{"country": "DE"}]', '{"country": 5}', '2026-03-01');
SELECT yox.applies('[]', '{}', 'infinity');
SELECT yox.share('x', '2026-03-01');
SELECT yox.funnel_sum('\x00');
\set VERBOSITY terse
SELECT yox.applies('[{"country": 5}]', '{}', '2026-03-01');
SELECT yox.reason('[{"contry": "DE"}]', '{}', '2026-03-01');
SELECT yox.explain('7', '{}', '2026-03-01');
SELECT * FROM yox.criteria('[[]]', '{}', '2026-03-01');
SELECT * FROM yox.lint('[{"country": 5}]', '2026-03-01');
SELECT yox.applies('[{"country": "DE"}]', '{"country": 5}', '2026-03-01');
SELECT yox.applies('[{"country": "DE"}]', '{"colour": "red"}', '2026-03-01');
SELECT yox.applies('[{"country": "DE"}]', '[]', '2026-03-01');
SELECT yox.facts_problem('{"tags": {"Ring": [1]}}'), yox.facts_problem('{"country": null}') IS NULL;
SELECT yox.funnel(list, '{}', '2026-03-01') FROM (VALUES ('[]'::jsonb), ('[{"country": "DE"}]')) AS l(list);
SELECT yox.funnel_sum('\x00');
-- A session goes on after errors.
SELECT yox.applies('[{"country": "DE"}]', '{"country": "DE"}', '2026-03-01');
