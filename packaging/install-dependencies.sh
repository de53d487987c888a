#!/usr/bin/env bash
# Installs the Debian packages that building and testing need and that are missing.
set -euo pipefail

packages=(g++ cmake make gettext libgtest-dev libbenchmark-dev libpq-dev postgresql
          postgresql-server-dev-all)

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
