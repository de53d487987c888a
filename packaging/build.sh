#!/usr/bin/env bash
# build.sh FOLDER [CMAKE-WORDS...]: configures and builds in the folder, as many jobs as JOBS says at a
# time, and tells at the end what is in the build and what was left out.
set -euo pipefail
cd -P "$(dirname "$0")/.."
folder=$1
shift

missing=()
for tool in "${CXX:-c++}" cmake make msgfmt; do
    command -v "${tool%% *}" >/dev/null || missing+=("$tool")
done
if [ ${#missing[@]} -gt 0 ]; then
    printf 'To build, this needs %s. "make deps" installs what is missing; or let an administrator do so:\n\n    %s\n\n' \
        "${missing[*]}" "$(packaging/install-dependencies.sh --say)" >&2
    exit 1
fi

# What another CMake found out, or this one in another place, is of no use here.
cached() { sed -n "s/^$1:INTERNAL=//p" "$folder/CMakeCache.txt"; }
is_stale() {
    [ "$(cached CMAKE_HOME_DIRECTORY)" != "$(pwd -P)" ] ||
        [ "$(cached CMAKE_CACHEFILE_DIR)" != "$(cd "$folder" && pwd -P)" ] ||
        ! cmake --version | grep -qF " $(cached CMAKE_CACHE_MAJOR_VERSION).$(cached CMAKE_CACHE_MINOR_VERSION)."
}
if [ -e "$folder/CMakeCache.txt" ] && is_stale; then
    if [ -e "$folder/CMakeLists.txt" ] || ! grep -qx 'CMAKE_PROJECT_NAME:STATIC=ravelo' "$folder/CMakeCache.txt"; then
        echo "$folder holds sources or somebody else's build: ravelo is built in a folder of its own." >&2
        exit 1
    fi
    echo "Beginning $folder anew: it was made in another place or by another CMake."
    # What fuzzing has found stays.
    find "$folder" -mindepth 1 -maxdepth 1 ! -name corpus -exec rm -rf {} +
fi

mkdir -p "$folder"
log=$folder/configure.log
cmake -S . -B "$folder" "$@" >"$log" 2>&1 || {
    cat "$log" >&2
    exit 1
}
cmake --build "$folder" -j "${JOBS:-$(nproc)}"
cat "$folder/summary.txt"
