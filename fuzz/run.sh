#!/usr/bin/env bash
# Fuzzes each target for some seconds: run.sh <build folder> <seconds> [target...]. What is found
# new grows in the build folder; an input that fails is left there as <target>-crash-... and ends
# the run.
set -euo pipefail
build=$(realpath "$1")
seconds=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
[ $# -gt 0 ] || set -- config pass catalog recording instance_conf postgres_answers command_line kept_priorities
for target in "$@"; do
    mkdir -p "$build/corpus/$target"
    dictionary=()
    if [ -f "$here/$target.dict" ]; then dictionary=("-dict=$here/$target.dict"); fi
    program=$(find "$build" -type f -name "fuzz_$target")
    [ -n "$program" ] || { echo "$target: left out, as libpq is not there" && continue; }
    "$program" -max_total_time="$seconds" -timeout=5 -rss_limit_mb=1024 -malloc_limit_mb=4096 -max_len=8192 \
        -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="$build/$target-" \
        "${dictionary[@]}" "$build/corpus/$target" "$here/corpus/$target" > "$build/$target.log" 2>&1 ||
        { tail -n 40 "$build/$target.log"; exit 1; }
    echo "$target: $(grep -h 'number_of_executed_units' "$build/$target.log" | awk '{ print $2 }') runs, $(grep -o 'cov: [0-9]*' "$build/$target.log" | tail -n 1)"
done
