#!/usr/bin/env bash
# Installs the Debian packages that are missing: what building needs, and with a word also what
# "tests", "fuzz", "m32", "package" or "lint" need.
set -euo pipefail

packages=(g++ cmake make gettext libpq-dev libarchive-dev)
tests=(libgtest-dev libbenchmark-dev postgresql postgresql-server-dev-15 spin
       dpkg-dev file systemd logrotate mandoc python3)
case "${1:-}" in
    tests) packages+=("${tests[@]}") ;;
    lint) packages+=("${tests[@]}" clang-format-14 clang-tidy-14) ;;
    package) packages+=(dpkg-dev file) ;;
    m32) packages+=(g++-multilib googletest) ;;
    fuzz) packages+=(clang libclang-rt-14-dev) ;;
esac

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

echo "Installing: ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
