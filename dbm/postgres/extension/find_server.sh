#!/bin/sh
# find_server.sh programs|headers: prints the pg_config of the PostgreSQL to use. It is the one that
# the environment's PG_CONFIG names; else the newest from 15 on that has both the server's programs and its
# headers; else the newest that has the one asked for. Exit status 1, nothing printed: there is none.
if [ -n "${PG_CONFIG:-}" ]; then
    echo "$PG_CONFIG"
    exit
fi
second=
for config in $(printf '%s\n' /usr/lib/postgresql/*/bin/pg_config | sort -rV) "$(command -v pg_config)"; do
    [ -x "$config" ] || continue
    version=$("$config" --version | sed 's/[^0-9]*\([0-9]*\).*/\1/')
    [ "$version" -ge 15 ] || continue
    has=
    if [ -x "$("$config" --bindir)/initdb" ]; then has=programs; fi
    if [ -e "$("$config" --includedir-server)/postgres.h" ]; then has="$has headers"; fi
    case $has in
        "programs headers")
            echo "$config"
            exit ;;
        *"$1"*) second=${second:-$config} ;;
    esac
done
[ -n "$second" ] && echo "$second"
