#!/usr/bin/env bash
# Breaks the system on purpose for a quarter of an hour and keeps what was seen: processes killed at
# every step, full queues, a compressed hour of mixed work, races, every single failure of what the
# core relies on, and inputs made by fuzzers. Writes its table into docs/RELIABILITY.md.
#
#   tools/reliability.sh [--short]
#
# --short: each program's short run and 5 s of fuzzing a target, and the page stays as it is.
set -euo pipefail
cd "$(dirname "$0")/.."

length=() fuzz_seconds=60
if [[ ${1:-} == --short ]]; then
    length=(--short) fuzz_seconds=5
elif (($# > 0)); then
    echo "usage: tools/reliability.sh [--short]" >&2
    exit 2
fi

if [[ -n ${WORDSIZE:-} ]]; then
    echo "reliability: needs both word sizes; run it without WORDSIZE" >&2
    exit 2
fi

rows=build/reliability.rows
mkdir -p build
: >"$rows"

# keep_rows <heading> <command...>: runs it, shows its rows and keeps them; its other output is shown
# when it fails.
keep_rows() {
    local heading=$1 log=build/reliability.log
    shift
    printf '== %s\n' "$heading"
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        echo "reliability: failed at: $heading (output above)" >&2
        exit 1
    fi
    if ! grep '^| ' "$log" | tee -a "$rows"; then
        cat "$log" >&2
        echo "reliability: no figures from: $heading (output above)" >&2
        exit 1
    fi
}

# every_test <preset> <label>: the tests of one label; of those that make each call fail, how many calls.
every_test() {
    local log=build/$1/reliability.ctest.log
    if ! tools/under-preset.sh "$1" ctest --preset "$1" --label-regex "$2" --verbose >"$log" 2>&1; then
        cat "$log"
        return 1
    fi
    awk '
        match($0, /^ +Start +[0-9]+: /) {
            test = substr($0, RLENGTH + 1)
            sub(/ *# GetParam.*/, "", test)
            gsub(/^[^.]*\/|\/.*/, "", test)
            name[$2] = test
        }
        match($0, /^[0-9]+: [0-9]+ calls, each made to fail/) {
            what = name[$1]
            calls = $2
            sub(/^.*each made to/, "calls, each made to")
            what = what ": " $0
            if (!(what in sum)) order[++kinds] = what
            sum[what] += calls
        }
        END { for (i = 1; i <= kinds; ++i) print "| " order[i] " | " sum[order[i]] " |" }
        /^100% tests passed, 0 tests failed out of/ { print "| tests of what runs out, passed | " $NF " |" }' "$log"
}

tools/build.sh 32-release moxd moxctl kill_modules kill_owner full_queues soak
tools/build.sh 64-tsan races
tools/build.sh 32-asan exhaustion_model exhaustion_store exhaustion_system exhaustion_transport

release=build/32-release
keep_rows "modules killed" "$release/kill_modules" "${length[@]}"
keep_rows "owners killed" "$release/kill_owner" "${length[@]}"
keep_rows "queues that nobody reads" "$release/full_queues" "${length[@]}"
keep_rows "an hour of work" "$release/soak" "${length[@]}"
keep_rows "eight threads" tools/under-preset.sh 64-tsan build/64-tsan/races "${length[@]}"
keep_rows "everything that can run out" every_test 32-asan '^exhaustion'
keep_rows "fuzzing" tools/fuzz.sh "$fuzz_seconds"

if ((${#length[@]} == 0)); then
    page=docs/RELIABILITY.md
    awk -v rows="$rows" '
        /^<!-- reliability:end figures/ { skip = 0 }
        !skip { print }
        /^<!-- reliability:begin figures/ {
            skip = 1
            print "| What was tried | What was seen |\n|---|---|"
            while ((getline line < rows) > 0) print line
        }' "$page" >build/RELIABILITY.md
    cp build/RELIABILITY.md "$page"
    echo "the table is in $page"
fi
echo "make reliability passed after $SECONDS s"
