#!/usr/bin/env bash
# Compares what libmoxbase.so and libmoxhost.so offer to compiled programs with what is recorded in
# abi/. A change has to be meant: it fails here until it is recorded.
#
#   tools/check-abi.sh [--accept] <preset...>     optimised builds; --accept records what they offer
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/abi-record.sh

accept=no
if [[ ${1:-} == --accept ]]; then
    accept=yes
    shift
fi
(($# > 0)) || { echo "check-abi: name at least one preset" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/headers"
for folder in include inc platform/include host/include; do
    cp -R "$folder/." "$work/headers"
done

# check <library> <preset>
check() {
    local file=build/$2/lib$1.so record=abi/$1-${2%%-*}.abi new=$work/$1.abi
    if [[ ! -f $file ]]; then
        echo "check-abi: $file is missing; run tools/build.sh $2 $1" >&2
        return 1
    fi
    write_interface "$file" "$work/headers" "$new"
    # Without types in the debug information there would be nothing to compare but names.
    if ! grep -q '<function-decl ' "$new" || ! grep -q '<class-decl ' "$new"; then
        echo "check-abi: $file has no debug information with types; build the preset $2" >&2
        return 1
    fi
    if [[ $accept == yes ]]; then
        mkdir -p abi
        cp "$new" "$record"
        return
    fi
    if [[ ! -f $record ]]; then
        echo "check-abi: there is no $record; make abi-record makes it" >&2
        return 1
    fi
    if ! compare_interfaces "$record" "$new" >"$work/report" 2>&1; then
        cat "$work/report" >&2
        local consequence="Programs built before may not run with it"
        ! only_adds "$record" "$new" || consequence="It is an addition only: programs built before run with it"
        echo "check-abi: $file is not what $record says (report above). $consequence." >&2
        echo "check-abi: is the change meant? Then record it: make abi-record, and commit abi/" >&2
        return 1
    fi
}

failed=0
for preset in "$@"; do
    for library in moxbase moxhost; do
        check "$library" "$preset" || failed=1
    done
done
exit "$failed"
