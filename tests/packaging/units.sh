#!/usr/bin/env bash
# units.sh BUILD: installs into a prefix of its own and holds the units there against systemd's checks.
set -euo pipefail

command -v systemd-analyze > /dev/null || { echo 'Skipped: no systemd-analyze'; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$1" --prefix "$work" > /dev/null
export SYSTEMD_UNIT_PATH="$work/lib/systemd/system:" # and, for the empty end, the usual folders

# Unit, and the greatest exposure in tenths.
while read -r unit exposure; do
    systemd-analyze verify --man=no "$work/lib/systemd/system/${unit}orders.service"
    systemd-analyze security --offline=yes --no-pager --threshold="$exposure" \
        "$work/lib/systemd/system/$unit.service" | grep Overall
done <<'END'
ravelod@ 15
ravelod-postgres@ 20
END
