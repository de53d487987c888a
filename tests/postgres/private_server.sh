#!/bin/sh
# private_server.sh FOLDER PROGRAMS make ROLE...: makes in FOLDER, which it closes to all others,
# server/ for a server's socket, and in that data/, its cluster. The user who calls this gets in as any
# ROLE, nobody else does. When the calling process ends, however it does, the server is stopped and
# FOLDER removed.
# private_server.sh FOLDER PROGRAMS run WORD...: becomes that server, WORDs on its command line, at nice
# value 0 where that is permitted, for root as user postgres. FOLDER/log is what it says.
set -eu
dir=$1 programs=$2 what=$3
shift 3
exec </dev/null >>"$dir/log" 2>&1
cd /
as="setpriv --pdeathsig QUIT" owner=
if [ "$(id -u)" = 0 ]; then
    as="$as --reuid=postgres --regid=postgres --clear-groups" owner="-o postgres -g postgres"
fi
# shellcheck disable=SC2086
if [ "$what" = run ]; then
    renice -n 0 $$ || true
    exec $as "$programs/postgres" -D "$dir/server/data" -k "$dir/server" -h "" -F "$@"
fi
[ -z "$owner" ] || { chgrp postgres "$dir" && chmod 750 "$dir"; }
# shellcheck disable=SC2086
install -d -m 700 $owner "$dir/server"
# shellcheck disable=SC2016,SC2086
setsid -f sh -c 'tail -s 0.2 --pid="$1" -f /dev/null; shift; "$@"
    for try in 1 2 3 4 5; do rm -rf "$0" && exit; sleep "$try"; done' "$dir" "$PPID" \
    $as "$programs/pg_ctl" -D "$dir/server/data" -m immediate stop
$as "$programs/initdb" -D "$dir/server/data" -U postgres -A peer -N -E UTF8
# Written by the server's user, who owns the folder and could have put a link there.
# shellcheck disable=SC2016
as_server() { printf '%s\n' "$2" | $as sh -c 'cat >"$0"' "$dir/server/data/$1"; }
as_server pg_hba.conf "local all all peer map=tests"
as_server pg_ident.conf "$(for role in "$@"; do echo "tests \"$(id -un)\" $role"; done)"
