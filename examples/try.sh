#!/usr/bin/env bash
# Tries an example out: examples/try.sh NAME [BUILD]. Governs its recording with its rules, a snapshot a
# second, and shows the log and what the database manager was told. Nothing is left behind.
set -euo pipefail

examples=$(cd "$(dirname "$0")" && pwd)
if [ $# -lt 1 ] || [ ! -r "$examples/$1/rules.cfg" ]; then
    echo "usage: $0 NAME [BUILD], with NAME one of:" >&2
    for each in "$examples"/*/rules.cfg; do basename "$(dirname "$each")" >&2; done
    exit 2
fi
example=$examples/$1
# shellcheck source=SCRIPTDIR/programs.sh
. "$examples/programs.sh"
find_programs "${@:2}"

work=$(mktemp -d)
daemon=
finish() {
    if [ -n "$daemon" ]; then kill "$daemon" 2>/dev/null && wait "$daemon" || true; fi
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

export DBM_INSTANCE=$work
export TZ=UTC # the rules' times of day fit the recording in this zone
cp "$example/ORDERS.0.recording" "$work/"
# As it stands, but for the interval: nobody wants to wait for minutes.
sed 's/^interval *[0-9]*;/interval 1;/' "$example/rules.cfg" >"$work/rules.cfg"

"$ravelod" start orders 0 "$work/rules.cfg" "$work/log" &
daemon=$!
echo "Governing $1 for $(grep -c '^snapshot' "$example/ORDERS.0.recording") seconds ..."
sleep "$(($(grep -c '^snapshot' "$example/ORDERS.0.recording") - 1)).5" # it ends before it wakes up once more
"$ravelod" stop orders 0
status=0
wait "$daemon" || status=$?
daemon=

printf '\nThe log:\n'
sed "s|$work/||" "$work/log"
printf '\nThe journal:\n'
cat "$work/tmp/ORDERS.0.journal" 2>/dev/null || echo "(nothing was done)"
if [ -r "$example/sum.awk" ]; then
    printf '\nThe sums:\n'
    awk -f "$example/sum.awk" "$work/log"
fi
exit "$status"
