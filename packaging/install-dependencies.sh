#!/usr/bin/env bash
# Installs the Debian packages that are missing: what building needs, and with words also what "tests",
# "lint", "clang", "fuzz", "m32" or "package" need. Says nothing where nothing is missing. With "--say", it
# only prints the command that would install them.
set -euo pipefail
umask 022 # what is made below /etc is for all to read

say_only=no
if [ "${1:-}" = --say ]; then
    say_only=yes
    shift
fi

packages=(g++ cmake make gettext libpq-dev libarchive-dev nlohmann-json3-dev)
server=no
for set in "$@"; do
    case $set in
        tests)
            server=yes
            packages+=(libgtest-dev libbenchmark-dev spin dpkg-dev file systemd logrotate mandoc pkgconf python3)
            ;;
        lint) packages+=(git clang-19 clang-format-19 clang-tidy-19 shellcheck) ;;
        clang) packages+=(clang-19) ;;
        fuzz) packages+=(clang-19 libclang-rt-19-dev) ;;
        m32) packages+=(g++-multilib googletest) ;;
        package) packages+=(dpkg-dev file) ;;
        *)
            echo "$0: there is no set \"$set\"" >&2
            exit 2
            ;;
    esac
done

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    # Another system has other names for them; what is missing shows in the build.
    [ $say_only = no ] || echo "see to it that there are: ${packages[*]}"
    exit 0
fi

installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# Adds what is missing of a server's programs and headers, of one version of 15 to 18. One that is here
# already, perhaps with somebody's data, gets its headers and is left as it is.
find_missing_server() {
    local version here=
    for version in 18 17 16 15; do
        [ -x "/usr/lib/postgresql/$version/bin/initdb" ] || continue
        [ ! -e "/usr/include/postgresql/$version/server/postgres.h" ] || return 0
        here=${here:-$version}
    done
    # The version that this Debian has, or none where the lists of packages were never fetched.
    version=${here:-$(LC_ALL=C apt-cache depends postgresql 2>/dev/null |
        sed -n 's/.*Depends: postgresql-\([0-9]*\)$/\1/p' | head -n 1)}
    [ -n "$here" ] || missing+=("postgresql${version:+-$version}")
    missing+=("postgresql-server-dev-${version:-all}")
}

# Sets missing to what has to be installed.
find_missing() {
    local package
    missing=()
    for package in "${packages[@]}"; do
        installed "$package" || missing+=("$package")
    done
    [ $server = no ] || find_missing_server
}

find_missing
[ ${#missing[@]} -gt 0 ] || exit 0

# The package of the server would make a cluster and start it. The tests only want its programs.
no_cluster=/etc/postgresql-common/createcluster.d/no-cluster-for-tests-$$.conf
# What an administrator would type.
command_line() {
    local install="apt-get update && apt-get install --no-install-recommends ${missing[*]}"
    local setting=${no_cluster/-$$/}
    [[ " ${missing[*]} " != *" postgresql"* ]] ||
        install="mkdir -p ${setting%/*} && echo create_main_cluster = false > $setting && $install; rm $setting"
    echo "$install"
}
if [ $say_only = yes ]; then
    command_line
    exit 0
fi

log=$(mktemp)
made_setting=no
finish() {
    rm -f "$log"
    [ $made_setting = no ] || as_root rm -f "$no_cluster" || true
}
trap finish EXIT
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif [ -t 0 ]; then
        sudo "$@"
    else
        sudo -n "$@" # nobody is there who could type a password
    fi
}
give_up() {
    [ ! -s "$log" ] || cat "$log" >&2
    printf '%s\nAn administrator can install what is missing:\n\n    %s\n\n' "$1" "$(command_line)" >&2
    exit 1
}
# Waits for another apt to end, and never asks anything.
apt() { as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=600 "$@"; }

if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || give_up "Packages are missing, and there is no sudo here to install them."
    as_root true 2>>"$log" || give_up "Packages are missing, and you may not install them."
fi
# Only the lock of dpkg is waited for by apt itself. Without new lists, those fetched before may do.
for _ in $(seq 60); do
    apt update >"$log" 2>&1 && break
    grep -q 'Could not get lock' "$log" || break
    sleep 2
done
find_missing                     # the server's version may be known now

echo "Installing ${missing[*]} ..."
if [ $server = yes ]; then
    # That of one who was killed goes, too.
    for setting in "${no_cluster%-*}"-*.conf; do
        maker=${setting##*-}
        [ ! -e "$setting" ] || [ -e "/proc/${maker%.conf}" ] || as_root rm -f "$setting"
    done
    made_setting=yes
    as_root mkdir -p "${no_cluster%/*}"
    echo 'create_main_cluster = false' | as_root tee "$no_cluster" >/dev/null
fi
apt install -y --no-install-recommends "${missing[@]}" >>"$log" 2>&1 || give_up "Installing them failed."
