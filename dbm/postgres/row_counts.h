// The function of the server extension that says how many rows statements have read: which one is
// accepted, and how it is called. A function of that name may be anybody's who may create a schema.
#pragma once

// The function that belongs to the extension, is written in C, and that nobody but superusers can
// replace: theirs are the function, the extension and the schema.
#define RAVELO_ACCEPTED_FUNCTION                                                              \
    " from pg_catalog.pg_proc p"                                                              \
    " join pg_catalog.pg_namespace n on n.oid operator(pg_catalog.=) p.pronamespace"          \
    " join pg_catalog.pg_language l on l.oid operator(pg_catalog.=) p.prolang"                \
    " join pg_catalog.pg_depend d on d.objid operator(pg_catalog.=) p.oid"                    \
    " and d.classid operator(pg_catalog.=) 'pg_catalog.pg_proc'::pg_catalog.regclass"         \
    " and d.refclassid operator(pg_catalog.=) 'pg_catalog.pg_extension'::pg_catalog.regclass" \
    " and d.deptype operator(pg_catalog.=) 'e'"                                               \
    " join pg_catalog.pg_extension e on e.oid operator(pg_catalog.=) d.refobjid"              \
    " where n.nspname operator(pg_catalog.=) 'ravelo'"                                        \
    " and p.proname operator(pg_catalog.=) 'statements'"                                      \
    " and p.pronargs operator(pg_catalog.=) 0 and l.lanname operator(pg_catalog.=) 'c'"       \
    " and e.extname operator(pg_catalog.=) 'ravelo'"                                          \
    " and (select pg_catalog.bool_and(o.rolsuper) from pg_catalog.pg_roles o where o.oid"     \
    " operator(pg_catalog.=) any (array[p.proowner, n.nspowner, e.extowner]))"

// Calls it, in the same statement that sees that the accepted one is still there and still has the
// oid that the parameter has. With its rows numbered the server can't unfold another function's
// text into the statement before that is seen.
#define RAVELO_CALL_IF_ACCEPTED(oid_parameter)                                            \
    "(select f.pid, f.rows_selected, f.rows_read, f.plan_cost"                            \
    " from ravelo.statements() with ordinality"                                           \
    " f (pid, rows_selected, rows_read, plan_cost, number) where (select exists "         \
    "(select" RAVELO_ACCEPTED_FUNCTION " and p.oid operator(pg_catalog.=) " oid_parameter \
    "::pg_catalog.oid)) offset 0)"
