#!/usr/bin/env bash
# building.sh: what a build says and does on machines that lack something. Programs that stand in for
# the system's write down how they were called, so nothing is installed and nothing is built.
set -euo pipefail
export LC_ALL=C

top=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin" "$work/copy"
cp -r "$top/packaging" "$work/copy/"
cd "$work"
failed=0
# stand_in NAME LINES: a program that writes down its words, and does what the lines say.
stand_in() {
    printf '#!/bin/bash\necho "%s $*" >> "%s/calls"\n%s\n' "$1" "$work" "${2-}" > "bin/$1"
    chmod +x "bin/$1"
}
# run COMMAND...: with the stand-ins and the few other programs that are needed.
for program in bash cat cut env find grep ls head id mkdir mktemp nproc pwd rm rmdir sed tee dirname basename seq sleep; do
    ln -s "$(command -v $program)" bin/
done
run() {
    : > calls
    status=0
    env -i PATH="$work/bin" HOME="$work" JOBS=2 ${user:+USER_ID=$user} "$@" > said 2>&1 < /dev/null || status=$?
}
# expect WHAT STATUS [FILE PATTERN]...: the run ended so, and a line of each file fits; with ! none does.
expect() {
    local what=$1
    [ $status = "$2" ] || { echo "$what: status $status"; failed=1; }
    shift 2
    while [ $# -gt 0 ]; do
        if [ "${2#!}" = "$2" ]; then grep -qE -- "$2" "$1"; else ! grep -qE -- "${2#!}" "$1"; fi ||
            { echo "$what: \"$2\" is not so in $1:"; cat "$1"; failed=1; }
        shift 2
    done
}

# Installing: nothing is there but g++, and the server's version is the system's.
rm bin/id
# shellcheck disable=SC2016
stand_in id 'echo ${USER_ID:-0}'
# shellcheck disable=SC2016
{
    stand_in dpkg-query '[ "${@: -1}" != g++ ] || echo installed'
    stand_in apt-get '[ "$*" = "${*/update/}" ] || exit 1; echo "$DEBIAN_FRONTEND" >> calls; echo line 1; exec cat fate'
    stand_in apt-cache 'echo "  Depends: postgresql-99"'
    stand_in sudo '[ "$1" != -n ] || shift; "$@"'
}
echo > fate
install=copy/packaging/install-dependencies.sh
run $install
expect 'one line' 0 said '^Installing cmake make .* \.\.\.$' said '!line 1' calls 'Lock::Timeout' calls '^noninteractive$' \
    calls '!postgresql'
[ "$(wc -l < said)" = 1 ] || { cat said; failed=1; }
user=1000 run $install
expect 'with sudo' 0 calls '^sudo -n env DEBIAN_FRONTEND=noninteractive apt-get .*install' calls '^noninteractive$'
rm fate
run $install
expect 'apt fails' 1 said '^line 1$' said '^ +apt-get update && apt-get install .*cmake'
stand_in sudo 'exit 1'
user=1000 run $install
expect 'may not' 1 said 'you may not' said '^ +apt-get update && apt-get install .*cmake' calls '!apt-get'
rm bin/sudo
user=1000 run $install
expect 'no sudo' 1 said 'there is no sudo' said '!g\+\+' calls '!apt-get'
run $install --say lint
expect 'only said' 0 said 'apt-get install .* clang-tidy-19' calls '!apt-get'
run $install nonsense
expect 'no such set' 2 said 'nonsense'
rm bin/apt-get
run $install
expect 'no Debian' 0

# Building: the same, then with a cache of this place, of another one, and of another CMake.
run copy/packaging/build.sh b
expect 'no compiler' 1 said 'needs .*cmake' said 'make deps'
for tool in c++ make msgfmt; do stand_in $tool; done
# shellcheck disable=SC2016
stand_in cmake 'case $1 in
    --version) echo "cmake version 3.25.1" ;;
    --build) ;;
    *) [ ! -e broken ] || { echo "what is wrong"; exit 1; }; echo "manager: yes" > "$4/summary.txt" ;; esac'
run copy/packaging/build.sh 'b b' -DX=1
expect 'a first build' 0 calls '^cmake -S . -B b b -DX=1$' calls '^cmake --build b b -j 2$' said '^manager: yes$'
cache() { # HOME FOLDER MINOR
    printf '%s:INTERNAL=%s\n' CMAKE_HOME_DIRECTORY "$1" CMAKE_CACHEFILE_DIR "$2" CMAKE_CACHE_MAJOR_VERSION 3 \
        CMAKE_CACHE_MINOR_VERSION "$3" > "copy/b b/CMakeCache.txt"
    echo "CMAKE_PROJECT_NAME:STATIC=${project:-ravelo}" >> "copy/b b/CMakeCache.txt"
    touch "copy/b b/old"
    run copy/packaging/build.sh 'b b'
}
here=$(pwd -P)/copy
cache "$here" "$here/b b" 25
expect 'the same place' 0 said '!anew'
[ -e 'copy/b b/old' ] || { echo 'a good build was thrown away'; failed=1; }
for stale in "/elsewhere|$here/b b|25" "$here|/elsewhere|25" "$here|$here/b b|26"; do
    IFS='|' read -r home folder minor <<< "$stale"
    cache "$home" "$folder" "$minor"
    expect "$stale" 0 said 'anew'
    [ ! -e 'copy/b b/old' ] || { echo "$stale was kept"; failed=1; }
done
touch 'copy/b b/CMakeLists.txt'
cache /elsewhere /elsewhere 25
expect 'never sources' 1 said 'folder of its own'
[ -e 'copy/b b/old' ] || { echo 'sources were thrown away'; failed=1; }
rm 'copy/b b/CMakeLists.txt'
project=other cache /elsewhere /elsewhere 25
expect "never another's build" 1 said "somebody else's"
[ -e 'copy/b b/old' ] || { echo "another's build was thrown away"; failed=1; }
touch copy/broken
run copy/packaging/build.sh c
expect 'what CMake says' 1 said '^what is wrong$'

# What is left out is said; a package is not made without it.
configure() { (PATH=${PATH#"$work/bin:"} cmake -S "$top" -B real -DRAVELO_TESTS=OFF -DRAVELO_BENCH=OFF -DRAVELO_POSTGRES=OFF \
    -DCMAKE_DISABLE_FIND_PACKAGE_LibArchive=ON -DNLOHMANN_JSON_INCLUDE_DIR=OFF "$@" > said 2>&1); }
status=0
configure || status=$?
expect 'left out' 0 real/summary.txt '^PostgreSQL manager: no: ' real/summary.txt '^ravelo-log: no: install libarchive-dev and nlohmann-json3-dev '
configure -DRAVELO_COMPLETE=ON || status=$?
expect 'incomplete' 1 said 'would lack the PostgreSQL manager'
exit $failed
