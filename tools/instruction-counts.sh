# How instruction counts are measured, compared with those kept and accepted: the one place for all three.
# Sourced by tools/check-instructions.sh and its test. Measured counts are lines "<operation> <processor> <count>",
# the kept ones the same and comments; the processor is x86-32, x86-64 or another's name and word size.
# shellcheck shell=bash

# Calls per operation: a multiple of the objects that take turns in hot_operations.
counted_calls=512

# processor_of <32|64>: what the counts of a build of this word size hold for.
processor_of() {
    local machine
    machine=$(uname -m)
    [[ $machine != x86_64 && $machine != i?86 ]] || machine=x86
    echo "$machine-$1"
}

# measure_counts <build folder> <32|64>: prints the instructions of one call of each operation. The string functions that
# the C library picks differ between processors, so its choice is pinned to what all x86 have; the environment is empty
# because its size moves the stack.
measure_counts() {
    local program=$1/hot_operations operation collected operations processor valgrind
    local plain=-AVX2,-AVX,-AVX512VL,-EVEX,-ERMS,-FSRM,-BMI2,-RTM,-SSSE3,-SSE4_1,-SSE4_2
    processor=$(processor_of "$2")
    valgrind=$(command -v valgrind) || { echo "check-instructions: needs valgrind: apt-get install valgrind" >&2; return 1; }
    operations=$("$program") || operations=
    [[ -n $operations ]] || { echo "check-instructions: $program names no operations; run it to see why" >&2; return 1; }
    for operation in $operations; do
        if ! collected=$(env -i GLIBC_TUNABLES="glibc.cpu.hwcaps=$plain" timeout 60 \
            "$valgrind" --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect=counted_call \
            "$program" "$operation" "$counted_calls" 2>&1); then
            printf 'check-instructions: %s: callgrind could not run "%s":\n%s\n' "$program" "$operation" "$collected" >&2
            return 1
        fi
        collected=$(sed -nE 's/^==[0-9]+== Collected : ([0-9]+)$/\1/p' <<<"$collected")
        if [[ ! $collected =~ ^[1-9][0-9]*$ ]]; then
            echo "check-instructions: $program: callgrind counted nothing of \"$operation\": has it counted_call?" >&2
            return 1
        fi
        echo "$operation $processor $(((collected + counted_calls / 2) / counted_calls))"
    done
}

# compare_counts <kept> <measured>: tells every operation that takes over 5 % more instructions than is kept, everything
# that has no number on either side and every line that is none, and fails if there is any; hints at what takes less.
compare_counts() {
    awk '
        function fail(text) { print "check-instructions: " text > "/dev/stderr"; failed = 1 }
        /^#/ || NF == 0 { next }
        NF != 3 || $3 !~ /^[1-9][0-9]*$/ || $2 !~ /^[a-z0-9_]+-(32|64)$/ {
            fail(FILENAME ":" FNR ": \"" $0 "\" is not \"<operation> <processor> <instructions>\""); next
        }
        FILENAME == ARGV[1] {
            if (($1, $2) in kept) fail(FILENAME ":" FNR ": a second number of " $1 " " $2)
            kept[$1, $2] = $3; line_of[$1, $2] = FNR
            next
        }
        {
            ++count; is_measured[$1, $2] = 1; processors[$2] = 1
            if (!(($1, $2) in kept)) {
                fail(ARGV[1] " has no number of " $1 " on " $2 ", which takes " $3 "; keep it: make bench-check-accept"); next
            }
            old = kept[$1, $2]; change = 100 * ($3 - old) / old
            printf "%-7s %-20s %7d instructions, %7d kept, %+.1f %%\n", $2, $1, $3, old, change
            if ($3 * 100 > old * 105) {
                fail(sprintf("%s on %s takes %d instructions, %d before: %.1f %% more, allowed are 5 %%. Take out what " \
                     "makes it longer, or, if that is worth its price, accept it: make bench-check-accept", $1, $2, $3, old, change))
            } else if ($3 * 100 < old * 95) {
                printf "check-instructions: %s on %s takes %.1f %% less; keep that: make bench-check-accept\n", $1, $2, -change
            }
        }
        END {
            if (count == 0) fail(ARGV[2] ": nothing was measured")
            for (key in kept) {
                split(key, part, SUBSEP)
                if (part[2] in processors && !(key in is_measured)) {
                    fail(ARGV[1] ":" line_of[key] ": " part[1] " on " part[2] " was not measured; is it still an operation of hot_operations?")
                }
            }
            exit failed
        }' "$1" "$2"
}

# accept_counts <kept> <measured>: prints the kept file anew, with the measured counts in place of all of their
# processors' lines; comments and the lines of other processors stay.
accept_counts() {
    awk '
        FILENAME == ARGV[1] { measured[++count] = sprintf("%-20s %-7s %7d", $1, $2, $3); processors[$2] = 1; next }
        /^#/ || NF == 0 || !($2 in processors) { print }
        END { for (at = 1; at <= count; ++at) print measured[at] }' "$2" "$1"
}
