#!/usr/bin/env bash
# Runs the core's tests in a counting build and prints the share of src/ that they reach, file by
# file. Fails when a test fails or a share is under its limit; the lines that were not reached are in
# coverage.txt of the build folder.
#
#   tools/coverage.sh <build folder>
set -euo pipefail
cd "$(dirname "$0")/.."

least_lines=95 least_branches=85
core='^(unit_(pub|shmem|classtree|classnode|mxroute|expression|ipcmsg|lom)|process_core)$'
build=$1

find "$build" -name '*.gcda' -delete
if ! ctest --test-dir "$build" -L "$core" -j2 --timeout 120 --no-tests=error >"$build/ctest.log" 2>&1; then
    grep -vE '^ +Start +[0-9]+: | \.+ +Passed +[0-9.]+ sec$' "$build/ctest.log" >&2
    echo "coverage: a test failed (the whole log is in $build/ctest.log)" >&2
    exit 1
fi
grep 'tests passed' "$build/ctest.log"
count=(gcovr --root . --object-directory "$build" --filter 'src/' --exclude-unreachable-branches)
"${count[@]}" --txt "$build/coverage.txt" --html-details "$build/coverage.html" --print-summary \
    --fail-under-line "$least_lines" --fail-under-branch "$least_branches"
echo "coverage: $build/coverage.txt and $build/coverage.html have the lines that no test reaches"
