#!/usr/bin/env bash
# Installs the Debian packages that are missing: what building needs, and with "tests" also what
# testing does.
set -euo pipefail

packages=(g++ cmake make gettext libpq-dev)
if [ "${1:-}" = tests ]; then
    packages+=(libgtest-dev libbenchmark-dev postgresql postgresql-server-dev-15 spin)
fi

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
