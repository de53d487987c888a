#!/usr/bin/env bash
# check.sh DAEMONS: tries every interleaving of the model with so many daemons. None may fail a check, and
# without either lock some must.
set -euo pipefail
model=$(cd "$(dirname "$0")" && pwd)/status_file.pml
daemons=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# Prints the number of failed checks and of states.
explore() {
    spin -a -DDAEMONS="$daemons" "$@" "$model" > generated || { cat generated; exit 1; }
    cc -O1 -w -DSAFETY -DNOREDUCE -o pan pan.c
    ./pan -m200000 > found
    if grep -q "max search depth too small\|out of memory" found; then cat found; exit 1; fi
    awk '/errors:/ { errors = $NF } /states, stored/ { states = $1 } END { print errors, states }' found
}

read -r errors states < <(explore)
echo "with both locks: $errors failed, $states states"
[ "$errors" = 0 ] || { cat "$folder/found"; exit 1; }
for missing in FILE_LOCK FOLDER_LOCK; do
    read -r errors states < <(explore -D$missing=0)
    echo "without $missing: $errors failed"
    [ "$errors" != 0 ] || exit 1
done
