#!/bin/sh
# regress.sh: runs the server's own regression suite on a private server three times: without the
# extension, with it, and with it beside modules that instrument every statement. Exit status 0: with the
# extension no test fails that does not fail without, or fails in another way, and no process of the server
# died.
# SOURCES names the unpacked sources of the server; else they come from its Debian source package, the
# nearest minor version that the package servers still have. The system's own lists are only read.
set -eu
cd "$(dirname "$0")"
# shellcheck source=dbm/postgres/extension/private_tree.sh
. ./private_tree.sh
sources=$dir/sources
as=
if [ "$(id -u)" = 0 ]; then as="setpriv --reuid=postgres --regid=postgres --clear-groups"; fi

# Prints the archive of the sources.
download() {
    package=$(dpkg-query -S "$bin/postgres") && package=${package%%:*} || return 1
    mkdir -p "$dir/apt/lists/partial" "$dir/apt/cache/archives/partial" "$dir/apt/parts"
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
        [ ! -e "$list" ] || sed -E 's/^deb /deb-src /; s/^(Types:).*/\1 deb-src/' "$list" >"$dir/apt/parts/${list##*/}"
    done
    cat >"$dir/apt/conf" <<EOF
Dir::Etc::SourceList "/dev/null"; Dir::Etc::SourceParts "$dir/apt/parts"; Dir::State::Lists "$dir/apt/lists";
Dir::Cache "$dir/apt/cache"; APT::Sandbox::User "root";
EOF
    cd "$dir/apt"
    export APT_CONFIG="$dir/apt/conf"
    apt-get -q update >log 2>&1 || true # lists of others may have no sources
    for version in $(dpkg-query -W -f '${source:Version}\n' "$package"
        apt-cache showsrc "$package" | sed -n 's/^Version: //p' | sort -rV); do
        if apt-get -q source --download-only --only-source "$package=$version" >>log 2>&1; then
            echo "$dir"/apt/*.orig.tar.*
            return
        fi
    done
    tail log >&2
    return 1
}

if [ -n "${SOURCES:-}" ]; then
    mkdir -p "$sources/src/test" && cp -r "$SOURCES/src/test/regress" "$sources/src/test"
else
    archive=$(download) || { echo "The sources of the server can't be had: name them with SOURCES=folder"; exit 1; }
    echo "the suite: ${archive##*/}"
    mkdir "$sources" && tar xf "$archive" -C "$sources" --strip-components=1
fi
chmod -R go+rX "$sources"
suite=$sources/src/test/regress
driver=$(dirname "$("$PG_CONFIG" --pgxs)")/../test/regress/pg_regress
make -s --no-print-directory SOURCE="$suite/regress.c" LIBRARY="$libraries/regress.so" CFLAGS=-w
# The suite logs in as roles that it makes; the folder is closed to everybody else.
# shellcheck disable=SC2016
$as sh -c 'echo "local all all trust" >"$0/data/pg_hba.conf" && cp -a "$0/data" "$0/new"' "$dir/server"

# run NAME LIBRARIES: the suite on a new cluster; the failed tests are in NAME.failed then.
run() {
    : >"$dir/log"
    $as rm -rf "$dir/server/data"
    $as cp -a "$dir/server/new" "$dir/server/data"
    # What is logged is made in full and then dropped, and query identifiers are not shown, so that clients
    # see no more than without.
    start -c shared_preload_libraries="$2" -c max_prepared_transactions=2 -c compute_query_id=regress \
        -c auto_explain.log_min_duration=0 -c auto_explain.log_analyze=on -c auto_explain.log_nested_statements=on \
        -c auto_explain.log_level=debug5
    $as mkdir "$dir/server/suite" # the same name for all, as results may hold it
    (cd "$suite" && $as "$driver" --bindir="$bin" --dlpath="$libraries" --host="$PGHOST" --user=postgres \
        --schedule=parallel_schedule --max-connections=10 --outputdir="$dir/server/suite") >"$dir/$1.out" 2>&1 || true
    kill -INT "$server"
    wait "$server" || true
    $as mv "$dir/server/suite" "$dir/server/$1"
    # Up to 15, and from 16 on.
    awk '/\.\.\. FAILED/ {print $1 == "test" ? $2 : $1} /^not ok/ {print $5}' "$dir/$1.out" | sort >"$dir/$1.failed"
    total=$(grep -oE '(All [0-9]+|[0-9]+ of [0-9]+) tests (passed|failed)' "$dir/$1.out" || true)
    crashes=$(grep -c 'was terminated by signal' "$dir/log" || true)
    echo "$1: ${total:-the suite did not run}; $crashes crashes; failed: $(tr '\n' ' ' <"$dir/$1.failed")"
    [ -n "$total" ] || { tail "$dir/$1.out" "$dir/log"; exit 1; }
}

# holds NAME BASE: with NAME fails what fails with BASE, in the same way.
holds() {
    further=
    while read -r test; do
        if ! grep -qx "$test" "$dir/$2.failed" ||
            ! cmp -s "$dir/server/$1/results/$test.out" "$dir/server/$2/results/$test.out"; then
            further="$further $test"
        fi
    done <"$dir/$1.failed"
    [ -n "$further" ] || return 0
    echo "$1: fails otherwise than $2:$further"
    return 1
}

beside=auto_explain,pg_stat_statements
failed=0
run without ""
run alone ravelo
holds alone without && [ "$crashes" = 0 ] || failed=1
run beside "ravelo,$beside"
[ "$crashes" = 0 ] || failed=1
# These modules alone may make a test fail.
holds beside without || { run modules "$beside" && holds beside modules; } || failed=1
[ $failed = 0 ] || cat "$dir"/server/*/regression.diffs
exit $failed
