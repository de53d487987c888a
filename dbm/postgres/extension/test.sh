#!/bin/sh
# Checks exact counts, and what hostile use does, on a private server that nobody else reaches.
set -eu
cd "$(dirname "$0")"
# shellcheck source=dbm/postgres/extension/private_tree.sh
. ./private_tree.sh
sql() { "$bin/psql" -qAtX "$@"; }
start -c shared_preload_libraries=ravelo,auto_explain -c autovacuum=off
sql -c 'show server_version'
failed=0
same() { if [ "$2" = "$3" ]; then echo "ok    $1"; else echo "FAIL  $1: $3, not $2"; failed=1; fi; }
sql -c 'create role reader; create role stats in role pg_read_all_stats'
for how in 'authorization reader' '; grant create on schema ravelo to reader'; do
    same "no extension in a schema $how" 1 "$(sql -c "create schema ravelo $how" -c 'create extension ravelo' \
        2>&1 | grep -c 'ERROR:.*others than a superuser')"
    sql -c 'drop schema ravelo cascade' 2>/dev/null
done
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
    select a.id, b.v from t a join t b on b.id = a.id + 0 where a.id <= 10'
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
analyzed='set auto_explain.log_min_duration = 0; set auto_explain.log_analyze = on'
for how in "" "$analyzed"; do
    check "held at commit${how:+, instrumented}" '500 500' "$how; begin;
        declare d cursor with hold for select * from t where id <= 500; commit"
    check "loop that commits${how:+, instrumented}" '0 300' "$how; do \$\$ declare r record; begin
        for r in select * from t where id <= 300 loop commit; end loop; end \$\$"
done
# shellcheck disable=SC2016
same 'memory of 20,000 fetches' bounded "$(sql -v ON_ERROR_STOP=1 -c "$analyzed" -c 'do $$ declare
    r record; c cursor for select from t; begin open c; for i in 1..20000 loop fetch c into r; end loop;
    assert (select sum(used_bytes) < 500000 from pg_backend_memory_contexts where name = $_$ExecutorState$_$);
    end $$' -c "select 'bounded'" 2>&1)"
check 'switched off'         '1 1'          'select 1 from t where id = 1; set ravelo.enabled = off; select * from t'
live="select rows_selected || ' ' || rows_read || ' ' || (plan_cost > 0) from ravelo.statements()
    join pg_stat_activity using (pid) where application_name = 'live'"
# The reader stops at the row where another session has the lock, until that one goes.
sql -c 'select pg_advisory_lock(1)' -c "set application_name = holder; select pg_sleep(600)" >/dev/null 2>&1 &
holding="select count(*) from pg_locks join pg_stat_activity using (pid)
    where locktype = 'advisory' and application_name"
wait_for() { for _ in $(seq 300); do if [ "$(sql -c "$holding = '$1'")" = 1 ]; then return; fi; sleep 0.1; done; }
wait_for holder
for how in "" "$workers;"; do
    echo "set application_name = live; $how select id, case id when 30001 then pg_advisory_lock_shared(1) end
        from t where v + 0 = 1" | sql >/dev/null 2>&1 &
    wait_for live
    # A parallel worker may be some blocks behind, and what it selected still be on its way.
    same "live${how:+, parallel}" yes "$(sql -c "$live" | awk '{ print ($1 >= 500 && $1 < 10000 &&
        $2 >= 29000 && $2 <= 100000 && $3 == "true") ? "yes" : $0 }')"
    sql -c "select pg_terminate_backend(pid, 5000) from pg_stat_activity
        where application_name = 'live' and leader_pid is null" >/dev/null
done
for how in select 'grant usage on schema ravelo to public; grant execute on function ravelo.statements() to public'; do
    same "public may not: $how" 1 "$(sql -c "$how" -c 'set role reader' -c 'select 1 from ravelo.statements()' \
        2>&1 | grep -c denied)"
done
same 'pg_read_all_stats may' t "$(sql -c 'set role stats' -c 'select count(*) > 0 from ravelo.statements()')"
exit $failed
