#!/usr/bin/env bash
# Runs cases: each *.case is a shell script, played in a folder of its own, whose output must be what
# the file *.expected beside it says. check.sh <build folder> <cases>...
set -euo pipefail
PAGES=$(cd "$(dirname "$0")/../../man" && pwd)
EXAMPLES=$(cd "$(dirname "$0")/../../examples" && pwd)
PATH=$(realpath "$1"):$PATH
shift
export PAGES EXAMPLES PATH TZ=UTC LC_ALL=C
failed=0
for name in "$@"; do
    work=$(mktemp -d)
    mkdir "$work/here" "$work/tmp"
    (cd "$work/here" && DBM_INSTANCE=$PWD TMPDIR=$work/tmp timeout 60 bash "$name" 2>&1) > "$work/out" ||
        echo "the case ended with status $?" >> "$work/out"
    ls -A "$work/tmp" >> "$work/out" # nothing may be left behind
    diff -u "${name%.case}.expected" "$work/out" || { failed=1; echo "differs: $name"; }
    rm -rf "$work"
done
exit $failed
