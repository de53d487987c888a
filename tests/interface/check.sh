#!/usr/bin/env bash
# check.sh SOURCE BUILD [FLAGS]: the installed headers are C11 and C++20 by themselves, and with the example
# library, made from nothing else, the daemon and ravelo-record do their work.
set -euo pipefail
export LC_ALL=C TZ=UTC
source=$1 build=$2 flags=()
for flag in "${@:3}"; do [ -z "$flag" ] || flags+=("$flag"); done # an empty word is standard input to gcc 14
work=$(mktemp -d)
daemon=
trap '[ -z "$daemon" ] || kill -KILL $daemon 2> /dev/null || true; rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; cat "$work/output" >&2; exit 1; }
await() { for _ in $(seq 600); do ! "$@" || return 0; sleep 0.1; done; fail "never: $*"; }
touch "$work/output"

cmake --install "$build" --component interface --prefix "$work/installed" >> "$work/output"
pc=$(find "$work/installed" -name ravelo-dbm.pc)
export PKG_CONFIG_PATH=${pc%/*}
read -ra cflags <<< "$(pkg-config --cflags ravelo-dbm)"
headers=$(cd "$work/installed/include" && echo ravelo/*.h)
[ "$headers" = 'ravelo/constants.h ravelo/dbm.h ravelo/snapshot_records.h ravelo/sql_codes.h' ] ||
    fail "installed: $headers"
strict=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror "${cflags[@]}" "${flags[@]}" -fsyntax-only)
for compiler in gcc clang clang-19; do
    command -v $compiler > /dev/null || continue
    for header in $headers "$headers"; do
        # shellcheck disable=SC2086 # one or all
        printf '#include <%s>\n' $header > "$work/alone"
        echo 'typedef int something;' >> "$work/alone"
        $compiler -x c -std=c11 "${strict[@]}" "$work/alone"
        $compiler -x c++ -std=c++20 "${strict[@]}" "$work/alone"
    done
    cp -r "$source/examples/library" "$work/$compiler"
    make -s -C "$work/$compiler" CC=$compiler CFLAGS="-Wall -Wextra -Wpedantic -Werror ${flags[*]}" || fail make
    library=$work/$compiler
done

cd "$work"
export DBM_INSTANCE=$work LD_LIBRARY_PATH=$library
# Without a list there is nothing to attach to: the recorder waits for it.
"$build/ravelo-record" -i 1 -n 1 list 0 recording 2>> output & daemon=$!
await grep -q applications output
printf '7 adhoc ANALYST 30\n8 report ANALYST 29\n9 load ETL 30\n' > applications
wait $daemon || fail "ravelo-record ended with $?"
grep -q 'agent_id=8 applname=report appl_id=8 authid=ANALYST user_cpu_s=29' recording || fail recording

echo 'dbname list; interval 1; authid analyst setlimit cpu 30 action force;
    authid etl setlimit cpu 30 action priority 5;' > rules.cfg
"$build/ravelod" start list 0 rules.cfg log 2>> output & daemon=$!
await grep -qs priority calls
"$build/ravelod" stop list 0
wait $daemon || fail "the daemon ended with $?"
daemon=
printf 'force 7 0\npriority 9 5\npriority 9 0\n' | diff - calls
grep -q 'FORCE  *message 1088: adhoc, ANALYST, 7' log || fail "$(cat log)"
