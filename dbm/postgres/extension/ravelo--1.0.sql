-- CREATE EXTENSION makes the schema ravelo where there is none, as the control file says. One that somebody
-- else made stays theirs, with what they put there or will.
DO $$ BEGIN
    IF NOT EXISTS (
        SELECT FROM pg_catalog.pg_namespace n JOIN pg_catalog.pg_roles r ON r.oid OPERATOR(pg_catalog.=) n.nspowner
        WHERE n.nspname OPERATOR(pg_catalog.=) 'ravelo' AND r.rolsuper AND NOT EXISTS (
            SELECT FROM pg_catalog.aclexplode(n.nspacl) a
            WHERE a.privilege_type OPERATOR(pg_catalog.=) 'CREATE'
                AND a.grantee OPERATOR(pg_catalog.<>) n.nspowner)) THEN
        RAISE EXCEPTION 'schema ravelo is there already, and others than a superuser may create objects in it'
            USING ERRCODE = 'duplicate_schema', HINT = 'Find out whose it is and drop it.';
    END IF;
END $$;

-- Not "or replace": what is there is not taken over.
CREATE FUNCTION ravelo.statements(
    OUT pid pg_catalog.int4,
    OUT rows_selected pg_catalog.int8,
    OUT rows_read pg_catalog.int8,
    OUT plan_cost pg_catalog.float8)
RETURNS SETOF pg_catalog.record
AS 'MODULE_PATHNAME', 'ravelo_statements'
LANGUAGE C STRICT VOLATILE PARALLEL RESTRICTED ROWS 100;

REVOKE ALL ON FUNCTION ravelo.statements() FROM PUBLIC;
GRANT USAGE ON SCHEMA ravelo TO pg_read_all_stats;
GRANT EXECUTE ON FUNCTION ravelo.statements() TO pg_read_all_stats;
