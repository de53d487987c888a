-- CREATE EXTENSION has made the schema ravelo, as the control file says.
CREATE FUNCTION ravelo.statements(
    OUT pid integer,
    OUT rows_selected bigint,
    OUT rows_read bigint,
    OUT plan_cost double precision)
RETURNS SETOF record
AS 'MODULE_PATHNAME', 'ravelo_statements'
LANGUAGE C STRICT VOLATILE PARALLEL RESTRICTED ROWS 100;

REVOKE ALL ON FUNCTION ravelo.statements() FROM PUBLIC;
GRANT USAGE ON SCHEMA ravelo TO pg_read_all_stats;
GRANT EXECUTE ON FUNCTION ravelo.statements() TO pg_read_all_stats;
