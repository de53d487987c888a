#!/usr/bin/env bash
# Formatter, linters, and warnings as errors with g++ and clang++, over all files that git knows or
# would take. One line for each step, with its seconds; the output of a step where it fails. Builds in
# build-check-gcc and build-check-clang. Another version of the tools sees and lays out the same code
# differently. Exit status 1: a step failed.
set -euo pipefail
cd -P "$(dirname "$0")/.."
unset MAKEFLAGS MAKELEVEL
export LC_ALL=C
LLVM=19
JOBS=${JOBS:-$(nproc)}
output=$(mktemp)
trap 'rm -f "$output"' EXIT

# Files of these patterns, also where the folder is somebody else's.
files() {
    local name
    git -c safe.directory='*' ls-files -z --cached --others --exclude-standard -- "$@" |
        while IFS= read -r -d '' name; do [ ! -f "$name" ] || printf '%s\0' "$name"; done
}

# The files whose suffix or first line is that of a shell script.
scripts() {
    local name first
    files | while IFS= read -r -d '' name; do
        IFS= read -r first < "$name" || true
        case $name,$first in
            *.sh,* | *.bash,* | *.case,* | *,'#!/bin/sh'* | *,'#!'*bash*) printf '%s\0' "$name" ;;
        esac
    done 2>/dev/null # zero bytes in a first line
}

pinned() {
    "$1-$LLVM" --version | grep -q "version $LLVM\." || { echo "$1-$LLVM is not version $LLVM" && false; }
}

format() {
    pinned clang-format
    files '*.cpp' '*.h' '*.c' | xargs -0 "clang-format-$LLVM" --dry-run --Werror
}

# A file "*.case" is a script for bash, which has no first line that says so.
shells() {
    shellcheck --version >/dev/null
    scripts | grep -zv '\.case$' | xargs -0 shellcheck
    scripts | grep -z '\.case$' | xargs -0 shellcheck --shell=bash
}

# compiled FOLDER COMPILER: everything, from the folder's objects where it has them. A folder that was
# moved here with the tree knows the wrong paths.
compiled() {
    grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$1/CMakeCache.txt" || rm -rf "$1"
    cmake -S . -B "$1" -DCMAKE_CXX_COMPILER="$2" -DRAVELO_TESTS=ON -DRAVELO_BENCH=ON -DRAVELO_WERROR=ON
    cmake --build "$1" -j "$JOBS"
}

# The server extension's flags, but for those that the server wants.
extension=dbm/postgres/extension/ravelo.c
extension_flags() {
    flags=(-std=gnu11 -O2 -Wall -Wextra -Wno-declaration-after-statement
        -isystem "$("${PG_CONFIG:-pg_config}" --includedir-server)")
}

compiled_extension() {
    extension_flags
    local compiler
    for compiler in gcc "clang-$LLVM"; do
        "$compiler" "${flags[@]}" -fPIC -Werror -c "$extension" -o /dev/null
    done
}

# Lints one file. Without faults it says nothing, not even how many warnings in others it left out.
tidy_one() {
    local said how=(-p build-check-clang/once)
    case $1 in
        "$extension") extension_flags && how=(-- "${flags[@]}") ;;
        *.c) how=(--checks=-misc-unused-parameters -- -std=c11 -D_POSIX_C_SOURCE=200809L -Ibuild-check-clang/once/include) ;;
    esac
    said=$("clang-tidy-$LLVM" --quiet "$1" "${how[@]}" 2>&1) || { echo "$said" && false; }
}

# A file that stands in several programs is linted once. The stand-in for a manager that is left out is
# no part of a build that has them all.
tidy() {
    pinned clang-tidy
    cmake --install build-check-clang --component interface --prefix build-check-clang/once
    python3 -c 'if True:
        import json
        commands = {one["file"]: one for one in json.load(open("build-check-clang/compile_commands.json"))}
        json.dump(list(commands.values()), open("build-check-clang/once/compile_commands.json", "w"))'
    export LLVM extension
    export -f tidy_one extension_flags
    # shellcheck disable=SC2016 # $1 is the inner shell's
    files '*.cpp' '*.c' ':!dbm/postgres/absent.cpp' | xargs -0 ls -S | tr '\n' '\0' |
        xargs -0 -P "$JOBS" -n 1 bash -c 'set -euo pipefail; tidy_one "$1"' tidy
}

failed=0
step() {
    local name=$1 began=$SECONDS word=ok job
    shift
    # Not itself a condition: in one, a command that fails does not end the step.
    "$@" > "$output" 2>&1 </dev/null &
    job=$!
    wait "$job" || { word=FAILED && failed=1; }
    printf '%-7s %-30s %4d s\n' "$word" "$name" $((SECONDS - began))
    [ "$word" = ok ] || cat "$output"
}

step "layout (clang-format)" format
step "scripts (shellcheck)" shells
step "warnings of g++" compiled build-check-gcc g++
step "warnings of clang++" compiled build-check-clang "clang++-$LLVM"
step "warnings in the extension" compiled_extension
step "faults (clang-tidy)" tidy
exit $failed
