# Sourced by the tests here, in this folder: makes in $dir a private server that nobody else reaches,
# with the extension installed in a tree of the server's own, $dir/tree: a copy of its main program
# looks for everything else relative to itself, and finds links to the system's files. $bin has the
# server's programs, $libraries is the tree's folder of libraries.
# shellcheck shell=sh
PG_CONFIG=$(./find_server.sh headers) || { echo "no PostgreSQL server with its headers is installed"; exit 1; }
bin=$("$PG_CONFIG" --bindir)
dir=$(mktemp -d)
# shellcheck disable=SC2034
libraries=$dir/tree$("$PG_CONFIG" --pkglibdir)
# Nothing of the user's own settings of a client may lead elsewhere.
for name in $(env | sed -n 's/^\(PG[A-Z]*\)=.*/\1/p'); do unset "$name"; done
export LC_ALL=C PG_CONFIG PGHOST="$dir/server" PGDATABASE=postgres PGUSER=postgres
../../../tests/postgres/private_server.sh "$dir" "$bin" make postgres
for part in bindir pkglibdir sharedir; do
    from=$("$PG_CONFIG" --$part)
    mkdir -p "$dir/tree$from"
    cp -rs "$from/." "$dir/tree$from"
done
cp --remove-destination "$bin/postgres" "$dir/tree$bin/postgres"
make -s --no-print-directory install DESTDIR="$dir/tree" LIBRARY="$dir/ravelo.so"

# start WORD...: the server, WORDs on its command line; its process is $server.
start() {
    ../../../tests/postgres/private_server.sh "$dir" "$dir/tree$bin" run "$@" &
    server=$!
    until "$bin/pg_isready" >/dev/null; do
        kill -0 "$server" || { tail "$dir/log"; exit 1; }
        sleep 0.1
    done
}
