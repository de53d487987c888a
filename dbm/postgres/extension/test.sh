#!/usr/bin/env bash
# Counts on a private server: exact figures for each kind of scan, also while a statement runs.
# usage: test.sh, as root or as the user the server is to run as; the extension must be installed.
set -euo pipefail
bin=$(pg_config --bindir)
dir=$(mktemp -d)
as=()
if [ "$(id -u)" -eq 0 ]; then
    chown postgres "$dir"
    as=(setpriv --reuid postgres --regid postgres --clear-groups)
fi
trap '"${as[@]}" "$bin/pg_ctl" -D "$dir/data" -m immediate stop >/dev/null; rm -rf "$dir"' EXIT
"${as[@]}" "$bin/initdb" -D "$dir/data" -A trust -N >/dev/null
cat >>"$dir/data/postgresql.conf" <<C
listen_addresses = ''
unix_socket_directories = '$dir'
shared_preload_libraries = 'ravelo'
fsync = off
max_parallel_workers_per_gather = 0
C
"${as[@]}" "$bin/pg_ctl" -D "$dir/data" -l "$dir/log" -w start >/dev/null
sql() { "${as[@]}" psql -X -h "$dir" -d postgres -Atq "$@"; }
sql -c "create extension ravelo" -c "create table t as select g as n, g % 10 as m from generate_series(1, 100000) g" \
    -c "create index on t (n)" -c "vacuum analyze t" \
    -c "create procedure p() language plpgsql as 'declare x int; begin for i in 1..3 loop select count(*) into x from t; end loop; end'"

own="select rows_selected, rows_read from ravelo.statements() where pid = pg_backend_pid()"
passed=0
# What a session has selected and read after the statements, the question itself left out.
check() {
    local name=$1 expected=$2
    shift 2
    local got
    got=$(sql -o /dev/null "$@" -c '\o' -c "$own")
    [ "$got" = "$expected" ] || { echo "$name: expected $expected, got $got"; exit 1; }
    passed=$((passed + 1))
}
off="set enable_seqscan = off; set enable_bitmapscan = off"
check nothing '0|0' -c "begin"
check 'sequential scan with filter' '10000|100000' -c "select * from t where m = 3"
check 'index scan' '11|11' -c "$off" -c "select * from t where n between 10 and 20"
check 'bitmap scan' '11|11' -c "set enable_seqscan = off; set enable_indexscan = off; set enable_indexonlyscan = off" \
    -c "select * from t where n between 10 and 20"
check aggregate '1|100000' -c "select count(*) from t"
check 'two scans' '1|200000' -c "set enable_indexscan = off" -c "select count(*) from t a join t b using (n)"
check 'parallel scan' '1|100000' -c "set max_parallel_workers_per_gather = 2; set min_parallel_table_scan_size = 0; set parallel_setup_cost = 0; set parallel_tuple_cost = 0" \
    -c "select count(*) from t"
check procedure '0|300000' -c "call p()"
check cursor '7|7' -c "begin" -c "declare c cursor for select * from t" -c "fetch 7 from c" -c "commit"
check explained '1|0' -c "explain (analyze, costs off, timing off, summary off) select 1" -c "select 1 where false" -c "select 1"
check returning '5|5' -c "begin; $off" -c "update t set m = 0 where n <= 5 returning n" -c "rollback"
check failed '0|100000' -c "do \$\$ begin perform 1 / (count(*) - 100000) from t; exception when others then null; end \$\$"

# Live: another session sees a statement's figures while it runs.
sql -c "select count(*) from t a, t b where a.m + b.m < 0" >/dev/null 2>&1 &
for _ in $(seq 300); do
    seen=$(sql -c "select s.rows_read > 100000 and s.plan_cost > 1000 from ravelo.statements() s join pg_stat_activity a using (pid) where a.query like '%a.m + b.m%' and a.pid <> pg_backend_pid()")
    [ "$seen" != t ] || break
    sleep 0.1
done
[ "$seen" = t ] || { echo "a running statement's figures are not seen"; exit 1; }
sql -c "select pg_terminate_backend(pid) from pg_stat_activity where query like '%a.m + b.m%' and pid <> pg_backend_pid()" >/dev/null
wait || true
echo "$((passed + 1)) passed, 0 failed"
