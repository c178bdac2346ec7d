#!/usr/bin/env bash
# Builds the fuzz targets for 32-bit with AddressSanitizer and UndefinedBehaviorSanitizer, and runs each of them, two at
# a time, on the inputs in test/fuzz/corpus and on what earlier runs here found to reach new code.
#
#   tools/fuzz.sh <seconds for each target> [target...]
#
# Prints a row of a Markdown table for each target. An input that breaks one is kept in build/fuzz/<target>/, the run
# fails and names it; mended, it belongs into test/fuzz/corpus/<target>/ under a name that says what it was.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: tools/fuzz.sh <seconds for each target> [target...]" >&2
    exit 2
fi
shift
targets=("$@")
((${#targets[@]} > 0)) || mapfile -t targets < <(find test/fuzz -name '*_fuzz.cpp' -printf '%f\n' | sed 's/_fuzz\.cpp$//' | sort)
for target in "${targets[@]}"; do
    if [[ ! -f test/fuzz/${target}_fuzz.cpp ]]; then
        echo "fuzz: there is no target $target; test/fuzz has their sources" >&2
        exit 2
    fi
done

tools/build.sh 32-fuzz fuzzers

export G_SLICE=always-malloc UBSAN_OPTIONS=print_stacktrace=1
export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1

# run <target>: fuzzes one target; its output goes into a log. What it prints itself, mostly log lines, is thrown away.
run() {
    local target=$1 place=build/fuzz/$1 dictionary=()
    mkdir -p "$place/new"
    [[ ! -f test/fuzz/$target.dict ]] || dictionary=("-dict=test/fuzz/$target.dict")
    # Longer than it may take by far: a target that hangs is ended, too.
    timeout --kill-after=10 $((seconds + 120)) build/32-fuzz/"fuzz_$target" -max_total_time="$seconds" \
        -rss_limit_mb=1024 -timeout=10 -close_fd_mask=1 -artifact_prefix="$place/" "${dictionary[@]}" \
        "$place/new" "test/fuzz/corpus/$target" >"$place/log" 2>&1
}

# tell <target> <exit status>: prints its row, or what was found.
tell() {
    local target=$1 status=$2 log=build/fuzz/$1/log runs edges artifact
    runs=$(sed -nE 's/^Done ([0-9]+) runs.*/\1/p' "$log")
    edges=$(sed -nE 's/.* cov: ([0-9]+) .*/\1/p' "$log" | tail -n 1)
    if [[ $status == 0 && -n $runs && -n $edges ]]; then
        printf '| fuzz %s, %d s | %d runs, %d edges, no finding |\n' "$target" "$seconds" "$runs" "$edges"
        return 0
    fi
    artifact=$(sed -nE 's/.*Test unit written to (.*)/\1/p' "$log" | tail -n 1)
    grep -vE '^#[0-9]+[[:space:]]+(NEW|REDUCE|pulse|INITED|RELOAD)' "$log" | tail -n 60 >&2
    printf 'fuzz %s FAILED, exit status %d: %s; the whole log is in %s\n' "$target" "$status" \
        "${artifact:-no input was written}" "$log" >&2
    return 1
}

# In pairs, each with a processor of its own where there are two.
declare -A pids=()
failed=0
for ((first = 0; first < ${#targets[@]}; first += 2)); do
    pair=("${targets[@]:first:2}")
    for target in "${pair[@]}"; do
        run "$target" &
        pids[$target]=$!
    done
    for target in "${pair[@]}"; do
        status=0
        wait "${pids[$target]}" || status=$?
        tell "$target" "$status" || failed=1
    done
done
exit "$failed"
