# shellcheck shell=bash disable=SC2034
# Sourced by demo.sh and try.sh.

# Sets ravelod and ravelo_log to the programs of the build folder that is given, or of the one beside the
# examples, or else to those that are installed. ravelo_log is empty where it was not built.
find_programs() {
    local folder folders=("$@")
    [ $# -gt 0 ] || folders=("$(dirname "${BASH_SOURCE[0]}")/../build" /usr/local/sbin /usr/sbin)
    for folder in "${folders[@]}"; do
        [ -x "$folder/ravelod" ] || continue
        folder=$(cd "$folder" && pwd)
        ravelod=$folder/ravelod
        ravelo_log=$(PATH=$folder:$PATH command -v ravelo-log || true)
        return
    done
    echo "There is no ravelod in ${folders[*]}: build it first, with \"make\"." >&2
    exit 2
}
