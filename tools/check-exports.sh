#!/usr/bin/env bash
# Checks that three lists of names agree: what libmoxbase.so exports, what src/moxbase.sym says it
# exports, and what the public headers declare as MOX_API.
#
#   tools/check-exports.sh <preset...>     the builds whose library is looked at
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# differences <text> <file> <file>: prints the text with each name that only the first file has.
differences() {
    local name
    while IFS= read -r name; do
        printf 'check-exports: %s\n' "${1//NAME/$name}" >&2
        failed=1
    done < <(comm -23 "$2" "$3")
}

listed=$work/listed
sed -e 's/#.*//' -e 's/[[:space:]]//g' -e '/^$/d' src/moxbase.sym | LC_ALL=C sort >"$listed"
while IFS= read -r name; do
    echo "check-exports: src/moxbase.sym names $name more than once" >&2
    failed=1
done < <(uniq -d "$listed")
LC_ALL=C sort -u -o "$listed" "$listed"

declared=$work/declared
mapfile -t headers < <(tools/source-files.sh 'include/moxlib/*.h' 'inc/*.h')
tools/check-declared-names.pl "${headers[@]}" | LC_ALL=C sort -u >"$declared"
export LC_ALL=C
differences "NAME is declared MOX_API in a header but missing in src/moxbase.sym" "$declared" "$listed"
differences "NAME is in src/moxbase.sym but no public header declares it MOX_API" "$listed" "$declared"

(($# > 0)) || { echo "check-exports: name at least one preset" >&2; exit 2; }
for preset in "$@"; do
    library=$(find "build/$preset" -name libmoxbase.so -print -quit 2>/dev/null || :)
    if [[ -z $library ]]; then
        echo "check-exports: there is no libmoxbase.so in build/$preset; run tools/build.sh $preset" >&2
        failed=1
        continue
    fi
    nm -D --defined-only --format=posix "$library" | cut -d' ' -f1 | sort -u >"$work/exported"
    differences "NAME is exported by $library but missing in src/moxbase.sym" "$work/exported" "$listed"
    differences "NAME is in src/moxbase.sym but not exported by $library" "$listed" "$work/exported"
done
exit "$failed"
