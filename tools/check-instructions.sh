#!/usr/bin/env bash
# Counts the instructions that each of the hottest operations takes and compares them with those kept in
# bench/instruction-counts.txt; fails when one grew by over 5 %. Instructions do not depend on how busy the machine is,
# as times do. They are those of the process: the kernel's and the time of waiting are not in them.
#
#   tools/check-instructions.sh [--accept] <preset...>     optimised builds whose hot_operations is up to date
#
# --accept writes the counts of these builds into the file instead.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/instruction-counts.sh

is_accepting=no
if [[ ${1:-} == --accept ]]; then
    is_accepting=yes
    shift
fi
(($# > 0)) || { echo "check-instructions: name at least one preset" >&2; exit 2; }
kept=bench/instruction-counts.txt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for preset in "$@"; do
    if [[ ! -x build/$preset/hot_operations ]]; then
        echo "check-instructions: hot_operations is not in build/$preset; run tools/build.sh $preset" >&2
        exit 1
    fi
    measure_counts "build/$preset" "${preset%%-*}" >>"$work/measured"
done
if [[ $is_accepting == yes ]]; then
    accept_counts "$kept" "$work/measured" >"$work/accepted"
    cp "$work/accepted" "$kept"
    echo "check-instructions: $kept holds the counts of $*"
    exit 0
fi
compare_counts "$kept" "$work/measured"
