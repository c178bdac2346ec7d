#!/usr/bin/env bash
# The unit tests and those with several processes, as 32-bit Arm programs under an emulator. What it cannot run is left
# out and counted: test/left-out-on-arm.txt names each test with the reason.
#
#   tools/test-arm.sh      needs what tools/setup.sh test-arm sets up
set -euo pipefail
cd "$(dirname "$0")/.."

preset=arm-release
start=$SECONDS
tools/build.sh "$preset" arm_tests
built=$((SECONDS - start))

choice=(--label-regex '^(unit_|process_|abi_record_layout|abi_caller|exhaustion_model)')
mapfile -t left_out < <(sed -nE 's/^([^#:]+):.*/\1/p' test/left-out-on-arm.txt)
known=$(ctest --preset "$preset" "${choice[@]}" --show-only | sed -nE 's/^ +Test +#[0-9]+: //p')
for name in "${left_out[@]}"; do
    if ! grep -qxF "$name" <<<"$known"; then
        echo "test-arm: test/left-out-on-arm.txt names $name, and there is no such test" >&2
        exit 1
    fi
done
pattern=$(printf '%s\n' "${left_out[@]}" | sed 's/\./\\./g' | paste -sd '|')

# run_tests <what> <ctest argument...>: shows ctest's closing line, or what failed and how.
run_tests() {
    local log=build/$preset/ctest.$1.log
    shift
    if ctest --preset "$preset" "${choice[@]}" "$@" >"$log" 2>&1; then
        grep 'tests passed' "$log"
    else
        grep -vE '^ +Start +[0-9]+: | \.+ +Passed +[0-9.]+ sec$' "$log" >&2
        echo "make test-arm FAILED; the whole log is in $log" >&2
        return 1
    fi
}

# These want an answer within a second: under the emulator only when nothing else runs.
alone='^RestartWithOwner\.'
run_tests together --exclude-regex "^($pattern)\$|$alone"
run_tests alone --tests-regex "$alone" --exclude-regex "^($pattern)\$" --parallel 1

echo "left out: ${#left_out[@]} of $(wc -l <<<"$known"), with what the emulator cannot do, in test/left-out-on-arm.txt"
printf '%5d s  make test-arm passed, of these %d s for the build\n' $((SECONDS - start)) "$built"
