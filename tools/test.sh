#!/usr/bin/env bash
# Everything that has to hold, step by step: each word size with its sanitizers and optimised, programs
# of both word sizes together, then the checks. Stops at the first step that fails and names it.
#
# WORDSIZE=32 or 64 narrows it to one word size.
set -euo pipefail
cd "$(dirname "$0")/.."

wordsizes=$(tools/wordsizes.sh test)
declare -A sanitizer=([32]=asan [64]=tsan)
presets=() releases=()
for bits in $wordsizes; do
    presets+=("$bits-${sanitizer[$bits]}" "$bits-release")
    releases+=("$bits-release")
done

names=() seconds=()

# step <name> <command...>: runs it, keeps its duration, ends everything when it fails.
step() {
    local name=$1 start=$SECONDS
    shift
    printf '== %s\n' "$name"
    if ! "$@"; then
        printf 'make test FAILED at "%s" after %d s\n' "$name" "$SECONDS" >&2
        exit 1
    fi
    names+=("$name")
    seconds+=($((SECONDS - start)))
}

# run_tests <preset>: shows ctest's closing line, or what failed and how.
run_tests() {
    local log=build/$1/ctest.log
    if tools/under-preset.sh "$1" ctest --preset "$1" >"$log" 2>&1; then
        grep 'tests passed' "$log"
    else
        grep -vE '^ +Start +[0-9]+: | \.+ +Passed +[0-9.]+ sec$' "$log" >&2
        printf 'The whole log is in %s\n' "$log" >&2
        return 1
    fi
}

step "set-up" tools/setup.sh test
for preset in "${presets[@]}"; do
    step "$preset: build" tools/build.sh "$preset"
    step "$preset: tests" run_tests "$preset"
done
if [[ $wordsizes == "32 64" ]]; then
    step "32-bit and 64-bit together" test/process/cross_width.sh build/32-release build/64-release
fi
step "checks" tools/check.sh "${releases[@]}"

echo
for i in "${!names[@]}"; do
    printf '%5d s  %s\n' "${seconds[i]}" "${names[i]}"
done
printf '%5d s  make test passed, word sizes: %s\n' "$SECONDS" "$wordsizes"
