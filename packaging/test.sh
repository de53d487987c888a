#!/usr/bin/env bash
# test.sh FOLDER [CTEST-WORDS...]: runs the tests of a build folder and says at the end why some were
# skipped. Its exit status is ctest's.
set -euo pipefail
folder=$1
shift

# Whether a folder for temporary files serves: a socket's path has 107 bytes, and programs run there.
serves() {
    local trial status=0
    [[ $1 =~ ^/[-_.,+A-Za-z0-9/]{1,59}$ ]] && trial=$(TMPDIR=$1 mktemp) || return
    chmod +x "$trial" && "$trial" || status=1
    rm -f "$trial"
    return $status
}
if ! serves "${TMPDIR:-/tmp}" 2>/dev/null; then
    echo "The tests use /tmp, since ${TMPDIR:-/tmp} is long, has other characters, or runs no program."
    export TMPDIR=/tmp
fi

status=0
ctest --output-on-failure -j "${JOBS:-$(nproc)}" --no-tests=error --test-dir "$folder" "$@" || status=$?

# Of a test that was skipped, the log has what GoogleTest or the test's own script said of it.
reasons=$(awk '
    / Testing: / { name = $0; sub(/.* Testing: /, "", name) }
    reason { print "  " name ": " $0; reason = 0 }
    /: Skipped$/ { reason = 1 }
    /^Skipped: / { sub(/^Skipped: /, ""); print "  " name ": " $0 }' \
    "$folder/Testing/Temporary/LastTest.log" 2>/dev/null || true)
[ -z "$reasons" ] || printf '\nSkipped here, and why:\n%s\n' "$reasons"
exit $status
