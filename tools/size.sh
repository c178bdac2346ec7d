#!/usr/bin/env bash
# Prints the size of the stripped library and the pool bytes that an object and a property take, beside
# their budgets in tools/size-budget.txt; fails when one is over.
#
#   tools/size.sh <preset...>     optimised builds whose libmoxbase.so and pool_size are up to date
set -euo pipefail
cd "$(dirname "$0")/.."

(($# > 0)) || { echo "size: name at least one preset" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# measure <preset> <32|64>: prints "<what>-<word size> <bytes>" for everything that has a budget.
measure() {
    local library=build/$1/libmoxbase.so
    if [[ ! -f $library || ! -x build/$1/pool_size ]]; then
        echo "size: libmoxbase.so and pool_size are not in build/$1; run tools/build.sh $1" >&2
        return 1
    fi
    strip --strip-unneeded -o "$work/stripped.so" "$library"
    printf 'library-%s %s\n' "$2" "$(stat -c %s "$work/stripped.so")"
    "build/$1/pool_size" | sed "s/ /-$2 /"
}

for preset in "$@"; do
    measure "$preset" "${preset%%-*}" >>"$work/measured"
done
awk '
    BEGIN { about["library"] = "libmoxbase.so, stripped"; about["object"] = "pool, an object without properties"
            about["property"] = "pool, a property of a fixed-size type" }
    /^#/ || NF == 0 { next }
    FILENAME == ARGV[1] { budget[$1] = $2; next }
    {
        split($1, part, "-")
        if (!(part[1] in about) || $2 !~ /^[0-9]+(\.[0-9]+)?$/ || $2 + 0 == 0) {
            printf "size: \"%s\" is no measurement\n", $0 > "/dev/stderr"; failed = 1; next
        }
        if (!($1 in budget)) {
            printf "size: tools/size-budget.txt has no line for %s\n", $1 > "/dev/stderr"; failed = 1; next
        }
        ++count
        printf "%s-bit  %-38s %10s bytes of %s\n", part[2], about[part[1]], $2, budget[$1]
        if ($2 + 0 > budget[$1] + 0) {
            printf "size: %s is %s bytes over its budget of %s\n", $1, $2 - budget[$1], budget[$1] > "/dev/stderr"
            failed = 1
        }
    }
    END {
        if (count != 3 * builds && !failed) { print "size: something was not measured" > "/dev/stderr"; failed = 1 }
        exit failed
    }' tools/size-budget.txt builds=$# "$work/measured"
