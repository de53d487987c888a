#!/usr/bin/env bash
# Governs the recorded workload of examples/orders for its 45 snapshots, one a second: first with the
# night's rules, then, from the middle on, with the day's. Shows the log as it grows and sums it up.
set -euo pipefail

examples=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=SCRIPTDIR/programs.sh
. "$examples/programs.sh"
find_programs "$@"
snapshots=$(grep -c '^snapshot' "$examples/orders/ORDERS.0.recording")
seconds=${DEMO_SECONDS:-$((snapshots + 2))}

work=$(mktemp -d)
export DBM_INSTANCE="$work/instance"
export TZ=UTC # the rules' times of day fit the recording in this zone
mkdir "$DBM_INSTANCE"
cp "$examples/orders/ORDERS.0.recording" "$DBM_INSTANCE/"
cp "$examples/orders/night.cfg" "$work/rules.cfg"
log=$work/governor.log

daemon=
shower=
finish() {
    [ -z "$shower" ] || kill "$shower" 2>/dev/null || true
    if [ -n "$daemon" ] && kill -0 "$daemon" 2>/dev/null; then
        kill -TERM "$daemon"
        wait "$daemon" || true
    fi
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

say() { printf '\n== %s\n' "$*"; }

say 'The rules, as ravelod understands them (ravelod validate ORDERS rules.cfg):'
"$ravelod" validate ORDERS "$work/rules.cfg"

say "Governing the recorded orders database, one snapshot a second, for $seconds seconds:"
"$ravelod" start ORDERS 0 "$work/rules.cfg" "$log" &
daemon=$!
for _ in $(seq 100); do
    [ ! -e "$log" ] || break
    sleep 0.1
done
tail -n +1 -f "$log" &
shower=$!
for second in $(seq "$seconds"); do
    kill -0 "$daemon" 2>/dev/null || break
    sleep 1
    if [ "$second" -eq $((seconds * 2 / 3)) ]; then
        # Beside the old file, checked, then in its place: the daemon never reads half a file.
        cp "$examples/orders/day.cfg" "$work/rules.cfg.new"
        "$ravelod" validate ORDERS "$work/rules.cfg.new" >/dev/null
        mv "$work/rules.cfg.new" "$work/rules.cfg"
    fi
done

"$ravelod" stop ORDERS 0
status=0
wait "$daemon" || status=$?
daemon=
sleep 0.3 # let the last records be shown
kill "$shower" && wait "$shower" 2>/dev/null || true
shower=

say "Stopped by request, exit status $status. What was done:"
for type in FORCE NICE SCHEDGRP; do
    echo "$type: $(grep -c "^[^ ]* *0 $type " "$log" || true)"
    [ -z "$ravelo_log" ] || "$ravelo_log" -t $type --width 0 "$log"
done
awk -f "$examples/account-by-application/sum.awk" "$log"
say 'What the database manager was told (its journal):'
cat "$DBM_INSTANCE/tmp/ORDERS.0.journal" 2>/dev/null || echo '(nothing)'
exit "$status"
