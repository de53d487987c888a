#!/usr/bin/env bash
# hardening.sh BUILD [TREE]: looks at every program and library in the tree, or of what the build
# installs: whether it is hardened, and that it finds no library in a folder of somebody's choice.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=${2:-$work/installed}
[ $# -gt 1 ] || DESTDIR=$tree cmake --install "$1" --prefix /usr > /dev/null
failed=0
# has WHAT PATTERN: a line of what readelf says fits the pattern; "lacks" is the reverse.
has() { grep -qE -- "$2" "$work/said" || { echo "$name: no $1"; failed=1; }; }
lacks() { ! grep -qE -- "$2" "$work/said" || { echo "$name: $1"; failed=1; }; }
count=0
while IFS= read -r -d '' file; do
    readelf -hldW --dyn-syms "$file" > "$work/said" 2> /dev/null || continue
    name=${file##*/}
    count=$((count + 1))
    has 'position independence' 'Type: +DYN'
    has 'RELRO' 'GNU_RELRO'
    has 'binding at the start' 'BIND_NOW'
    has 'stack protector' '__stack_chk_fail'
    # Older C libraries fortify little for clang.
    grep -q '^CMAKE_CXX_COMPILER:.*clang' "$1/CMakeCache.txt" || has 'fortified functions' '__[a-z]+_chk(@|$)'
    has 'checks of the standard library' '__glibcxx_assert_fail'
    lacks 'stack that can be executed' 'GNU_STACK.* RWE '
    lacks 'path to libraries' 'R(UN)?PATH'
done < <(find "$tree/usr" -type f \( -perm /111 -o -name '*.so*' \) -print0)
find "$tree" -mindepth 1 -type d ! -perm 755 | grep . && { echo 'are folders of other modes than 755'; failed=1; }
[ $count -ge 4 ] || { echo "only $count programs and libraries"; failed=1; }
# What leaves no trace that readelf would show.
commands=$(grep -c '"command"' "$1/compile_commands.json")
guarded=$(grep -c -- '-fstack-clash-protection' "$1/compile_commands.json")
[ "$commands" = "$guarded" ] || { echo "only $guarded of $commands with -fstack-clash-protection"; failed=1; }
exit $failed
