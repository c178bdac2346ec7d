#!/usr/bin/env bash
# What the kept instruction counts are for: an operation that grew is told, with its numbers and what to do, and nothing
# passes because a number is missing. Compares small files, and counts a small program, as tools/check-instructions.sh does.
set -euo pipefail
cd "$(dirname "$0")/../.."
source tools/instruction-counts.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

complain() {
    echo "instruction_counts_test: $1:" >&2
    cat "$work/report" >&2
    failed=1
}

# passes <what> <kept> <measured> [pattern...]: the comparison must pass, with every pattern in what it says.
passes() {
    local what=$1 pattern
    compare_counts "$2" "$3" >"$work/report" 2>&1 || complain "does not pass: $what"
    for pattern in "${@:4}"; do
        grep -qE -- "$pattern" "$work/report" || complain "$what: does not say \"$pattern\""
    done
}

# fails <what> <kept> <measured> <pattern...>: the comparison must fail and say every pattern.
fails() {
    local what=$1 pattern
    ! compare_counts "$2" "$3" >"$work/report" 2>&1 || complain "was not noticed: $what"
    for pattern in "${@:4}"; do
        grep -qE -- "$pattern" "$work/report" || complain "$what: does not say \"$pattern\""
    done
}

# measured <read> <write>: writes a file of measured counts.
measured() { printf 'read x86-32 %s\nwrite x86-32 %s\n' "$1" "$2" >"$work/measured"; }

kept=$work/kept
printf '# what it is\nread   x86-32  1000\nwrite  x86-32  2000\nread   x86-64   900\n' >"$kept"

measured 1000 2000
passes "nothing changed" "$kept" "$work/measured"
! grep -q accept "$work/report" || complain "a hint without cause"
measured 1040 2000
passes "growth of 4 %" "$kept" "$work/measured"
measured 1050 2000
passes "growth of 5 %" "$kept" "$work/measured"
measured 1060 2000
fails "growth of 6 %" "$kept" "$work/measured" 'read on x86-32 .* 1060 instructions, 1000 before: 6\.0 % more' 'make bench-check-accept'
! grep -q 'check-instructions: write' "$work/report" || complain "names an operation that did not grow"
measured 1000 2101
fails "growth just over 5 %" "$kept" "$work/measured" 'write on x86-32 .* 2101 instructions, 2000 before'
measured 940 2000
passes "6 % less" "$kept" "$work/measured" 'read on x86-32 takes 6\.0 % less.*make bench-check-accept'
printf 'read x86-32 1000\nwrite x86-32 2000\nlookup x86-32 5\n' >"$work/measured"
fails "an operation without a kept number" "$kept" "$work/measured" 'no number of lookup on x86-32'
printf 'read x86-32 1000\n' >"$work/measured"
fails "a kept operation that was not measured" "$kept" "$work/measured" 'kept:3: write on x86-32 was not measured'
printf 'read aarch64-64 1000\n' >"$work/measured"
fails "a processor without kept numbers" "$kept" "$work/measured" 'no number of read on aarch64-64'
: >"$work/measured"
fails "nothing measured" "$kept" "$work/measured" 'nothing was measured'

measured 1000 2000
for line in 'read x86-32' 'read x86-32 many' 'read x86-32 0' 'read 32 1000' 'read x86-32 1000 2000'; do
    sed "2s/.*/$line/" "$kept" >"$work/damaged"
    fails "the kept line \"$line\"" "$work/damaged" "$work/measured" "damaged:2: \"$line\" is not"
done
{ cat "$kept"; echo 'read x86-32 5000'; } >"$work/twice"
fails "an operation kept twice" "$work/twice" "$work/measured" 'twice:5: a second number of read x86-32'

measured 1500 1000
accept_counts "$kept" "$work/measured" >"$work/accepted"
passes "what was just accepted" "$work/accepted" "$work/measured"
cp "$work/accepted" "$work/report"
grep -q '^# what it is$' "$work/accepted" || complain "accepting loses the comment"
grep -qE '^read +x86-64 +900$' "$work/accepted" || complain "accepting loses the lines of another processor"
[[ $(wc -l <"$work/accepted") == 4 ]] || complain "accepting does not replace the old lines"

# build <name> <turns of the loop> <name of the counted function>: a program with one operation, which also does much
# that does not count.
build() {
    mkdir "$work/$1"
    cat >"$work/$1/program.c" <<CODE
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
volatile int sum;
__attribute__((noinline)) void $3(int turns) { for (int at = 0; at < turns; ++at) sum += at; }
__attribute__((noinline)) void aside(void) { for (int at = 0; at < 5000; ++at) sum += at; }
int main(int argc, char** argv) {
    if (argc == 1) return puts("add") < 0;
    if (argc != 3 || strcmp(argv[1], "add") != 0) return 2;
    for (int call = atoi(argv[2]); call > 0; --call) { aside(); $3($2); }
    return 0;
}
CODE
    gcc -O1 -g -o "$work/$1/hot_operations" "$work/$1/program.c"
}

bits=$(getconf LONG_BIT)
build before 200 counted_call
build after 220 counted_call
build unnamed 200 other_call
for name in before after; do
    if ! measure_counts "$work/$name" "$bits" >"$work/$name.counts" 2>"$work/report"; then complain "cannot count \"$name\""; fi
done
cp "$work/before.counts" "$work/report"
count=$(awk '$1 == "add" { print $3 }' "$work/before.counts")
((count >= 200 && count < 2000)) || complain "counts what lies outside of the counted calls, or not all in them"
cp "$work/before.counts" "$work/before.again"
passes "the same program" "$work/before.counts" "$work/before.again"
fails "a program whose loop is a tenth longer" "$work/before.counts" "$work/after.counts" 'add on .* more, allowed are 5 %'
! measure_counts "$work/unnamed" "$bits" >"$work/report" 2>&1 || complain "a program without counted calls was not noticed"
grep -q 'counted nothing of "add"' "$work/report" || complain "does not say that nothing was counted"
mkdir "$work/failing"
printf '#!/bin/sh\n[ $# -gt 0 ] || { echo add; exit 0; }\necho "no pool" >&2\nexit 1\n' >"$work/failing/hot_operations"
chmod +x "$work/failing/hot_operations"
! measure_counts "$work/failing" "$bits" >"$work/report" 2>&1 || complain "an operation that fails was not noticed"
grep -q 'no pool' "$work/report" || complain "the message of an operation that fails is not shown"
printf '#!/bin/sh\n' >"$work/failing/hot_operations"
! measure_counts "$work/failing" "$bits" >"$work/report" 2>&1 || complain "a program without operations was not noticed"
grep -q 'names no operations' "$work/report" || complain "does not say that there are no operations"
exit "$failed"
