#!/usr/bin/env bash
# Runs the cases of a folder: each *.case is a shell script, whose output must be what the file
# beside it says. check.sh <build folder> <cases>...
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
PATH=$(realpath "$1"):$PATH
shift
export PATH TZ=UTC LC_ALL=C EXAMPLES=$here/examples
failed=0
for name in "$@"; do
    work=$(mktemp -d)
    export DBM_INSTANCE=$work
    (cd "$work" && bash "$name" 2>&1) | diff -u "${name%.case}.expected" - > "$work.diff" ||
        { failed=1; echo "$name"; cat "$work.diff"; }
    rm -rf "$work" "$work.diff"
done
exit $failed
