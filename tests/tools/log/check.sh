#!/usr/bin/env bash
# Runs each line "$ command" of cases.txt and compares what it shows, and its exit status where that
# is not 0, with the lines below it. Then the examples of the manual page have to work.
# Arguments: the folder of ravelo-log, the manual page.
set -uo pipefail

here=$(cd "$(dirname "$0")" && pwd)
page=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PATH="$1:$PATH" TZ=UTC LC_ALL=C.UTF-8 TERM=dumb
cp "$here"/* "$here"/../../../tools/log/page.{css,js} "$work" && cd "$work" || exit 1
cp old.gz governor.log.1.gz

run() { bash -o pipefail -c "$1" 2>&1 </dev/null || echo "[$?]"; }
while IFS= read -r line; do
    case $line in
        \#* | '') printf '%s\n' "$line" ;;
        '$ '*) printf '%s\n' "$line" && run "${line#\$ }" ;;
    esac
done <cases.txt >seen.txt
diff cases.txt seen.txt || exit 1

mapfile -t examples < <(sed -n 's/^\.Dl \$ //p' "$page" | sed "s/\\\\(aq/'/g; s/\\\\(dq/\"/g")
[ ${#examples[@]} -gt 0 ] || exit 1
for example in "${examples[@]}"; do
    seen=$(run "$example; [ ! -e governor.html ] || tail -n 1 governor.html")
    case $seen in
        '' | *'['[0-9]']'*) printf 'This example fails: %s\n%s\n' "$example" "$seen" && exit 1 ;;
    esac
done
