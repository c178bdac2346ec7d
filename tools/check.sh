#!/usr/bin/env bash
# All checks of the sources. Runs every one of them, so that one run shows all there is to mend.
#
#   tools/check.sh <preset...>     builds that are up to date; clang-tidy reads the last one's options
set -euo pipefail
cd "$(dirname "$0")/.."

failed=()
check() {
    local start=$SECONDS
    "$@" || failed+=("$1")
    printf '%5d s  %s\n' $((SECONDS - start)) "$1"
}

check tools/check-format.sh
check tools/check-includes.sh
check tools/check-exports.sh "$@"
check tools/check-tidy.sh "${@: -1}"
if ((${#failed[@]} > 0)); then
    echo "make check FAILED: ${failed[*]}" >&2
    exit 1
fi
