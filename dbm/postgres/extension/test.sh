#!/bin/sh
# Checks exact counts on a private server. As root, after make install; the server runs as postgres.
set -eu
bin=${PG_BIN:-/usr/lib/postgresql/15/bin}
dir=$(mktemp -d)
chown postgres "$dir"
as() { runuser -u postgres -- env PGHOST="$dir" PGDATABASE=postgres "$@"; }
sql() { as psql -qAtX "$@"; }
trap 'as "$bin/pg_ctl" -D "$dir/data" -m immediate stop >/dev/null; rm -rf "$dir"' EXIT
cd "$dir"
as "$bin/initdb" -D "$dir/data" -A trust -N >/dev/null
as "$bin/pg_ctl" -D "$dir/data" -l "$dir/log" -w -o "-c listen_addresses= -c fsync=off -k $dir \
    -c shared_preload_libraries=ravelo,auto_explain -c autovacuum=off" start >/dev/null
sql <<'SQL'
create extension ravelo;
create table t as select id, id % 10 v from generate_series(1, 100000) id;
alter table t add primary key (id);
create index on t (v);
create table u (id int);
vacuum analyze t;
create procedure p() language plpgsql as $$ declare r record; begin
    for r in select * from t where id <= 300 loop insert into u values (r.id); end loop; commit;
    perform count(*) from t; end $$;
create function f() returns setof t language plpgsql as $$ begin
    return query select * from t where id <= 500; end $$;
create function c() returns refcursor language plpgsql as $$ declare c refcursor := 'c'; begin
    open c for select * from t; return c; end $$;
SQL
failed=0
same() { [ "$2" = "$3" ] && echo "ok    $1" || { echo "FAIL  $1: $3, not $2"; failed=1; }; }
own="select rows_selected || ' ' || rows_read from ravelo.statements() where pid = pg_backend_pid()"
check() { same "$1" "$2" "$(printf '%s;\n%s' "$3" "$own" | sql 2>/dev/null | tail -1)"; }
off='set enable_seqscan = off; set enable_indexscan = off'
many='set min_parallel_table_scan_size = 0; set parallel_setup_cost = 0; set parallel_tuple_cost = 0;
    set max_parallel_workers_per_gather = 2; set enable_indexonlyscan = off; set enable_bitmapscan = off'
workers="$many; set parallel_leader_participation = off"
check 'seq scan, filter'     '10000 100000' 'select *, v + 1 from t where v + 0 = 3'
check 'index scan'           '500 500'      'select * from t where id <= 500'
check 'index only scan'      '500 500'      'select id from t where id <= 500'
check 'bitmap scan'          '10000 10000'  "$off; select * from t where v = 3"
check 'tid scan'             '1 1'          "select * from t where ctid = '(0,1)'"
check 'aggregate'            '1 100000'     'select sum(id) from t'
check 'nested loop'          '10 20'        'set enable_hashjoin = off; set enable_mergejoin = off;
    select a.id, b.v from t a join t b on a.id = b.id where a.id <= 10'
check 'parallel'             '1 100000'     "$many; select sum(id) from t"
check 'parallel, workers'    '10000 100000' "$workers; select * from t where v + 0 = 3"
check 'procedure'            '0 100300'     'call p()'
check 'function'             '500 500'      'select * from f()'
check 'cursor'               '150 150'      'begin; declare d cursor for select * from t;
    fetch 100 d; fetch 50 d; commit'
check 'held cursor'          '500 500'      'declare d cursor with hold for select * from t where id <= 500'
check 'cursor of a function' '21 20'        'begin; select c(); fetch 20 c; rollback'
check 'aborted, then another' '50 149'      'select 1 / (50 - id) from t; select count(*) from t where id <= 100'
check 'returning'            '10 10'        'insert into u select id from t where id <= 10 returning id'
check 'into a table'         '0 100000'     'select * into temp w from t'
check 'copy of a query'      '500 500'      'copy (select * from t where id <= 500) to stdout'
check 'explain analyze'      '0 100000'     "$workers; explain analyze select sum(id) from t"
check 'instrumented'         '500 500'      'set auto_explain.log_min_duration = 0;
    set auto_explain.log_analyze = on; select * from t where id <= 500'
check 'switched off'         '1 1'          'select 1 from t where id = 1; set ravelo.enabled = off; select * from t'
live="select rows_selected || ' ' || rows_read || ' ' || (plan_cost > 0) from ravelo.statements()
    join pg_stat_activity using (pid) where application_name = 'live'"
for how in "" "$workers;"; do
    echo "set application_name = live; $how select id, pg_sleep(case id when 70001 then 3 else 0 end)
        from t where v + 0 = 1" | sql >/dev/null & sleep 1.5
    same "live${how:+, parallel}" yes "$(sql -c "$live" | awk '$1 >= 6000 && $1 < 10000 &&
        $2 >= 70000 && $2 <= 100000 && $3 == "true" {print "yes"}')"
    wait $!
done
sql -c 'create role reader; create role stats in role pg_read_all_stats'
same 'public may not' 1 "$(sql -c 'set role reader' -c 'select 1 from ravelo.statements()' 2>&1 | grep -c denied)"
same 'pg_read_all_stats may' t "$(sql -c 'set role stats' -c 'select count(*) > 0 from ravelo.statements()')"
exit $failed
