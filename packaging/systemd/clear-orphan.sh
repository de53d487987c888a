#!/bin/sh
# clear-orphan DATABASE NODE: deletes the status file that a killed daemon or a power failure left,
# so that a start is not refused. The file of a daemon that lives is locked and stays.
set -eu

database=$(printf %s "$1" | LC_ALL=C tr '[:lower:]' '[:upper:]')
folder=${DBM_INSTANCE:-/var/lib/ravelo}/tmp
file=$folder/$database.$2.GDA

# What can't be read here can't be cleared; the start then says what is wrong.
[ -r "$folder" ] && [ -r "$file" ] || exit 0

# No start and no stop works in the folder while its lock is held.
exec 8<"$folder"
flock --timeout 5 8
[ -r "$file" ] || exit 0
exec 9<"$file"
if flock --nonblock 9; then
    rm -f -- "$file"
    echo "Deleted $file, whose daemon has gone."
fi
