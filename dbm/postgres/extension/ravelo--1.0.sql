\echo Use "CREATE EXTENSION ravelo" to load this file. \quit

CREATE FUNCTION ravelo.statements(
    OUT pid int, OUT rows_selected bigint, OUT rows_read bigint, OUT plan_cost double precision)
RETURNS SETOF record
AS 'MODULE_PATHNAME', 'ravelo_statements'
LANGUAGE C STRICT VOLATILE PARALLEL RESTRICTED;

COMMENT ON FUNCTION ravelo.statements() IS
    'what each session has selected and read since it began, and the cost of its running statement';

REVOKE ALL ON FUNCTION ravelo.statements() FROM PUBLIC;
GRANT USAGE ON SCHEMA ravelo TO pg_read_all_stats;
GRANT EXECUTE ON FUNCTION ravelo.statements() TO pg_read_all_stats;
