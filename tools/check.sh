#!/usr/bin/env bash
# All checks of the sources and of what is installed. Runs every one of them, so that one run shows all
# there is to mend.
#
#   tools/check.sh <preset...>     optimised builds that are up to date; clang-tidy reads the last one's options
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
check test/abi/abi_record_test.sh
check tools/check-abi.sh "$@"
check tools/size.sh "$@"
check test/bench/report_test.py
check test/bench/instruction_counts_test.sh
check tools/check-instructions.sh "$@"
check tools/check-install.sh "$@"
check tools/docs.sh
check tools/check-tutorial.sh "$@"
# Packages are for the machine's own architecture. They set the build's prefix to /usr, so they come after whatever
# installs elsewhere.
if [[ " $* " == *" $(getconf LONG_BIT)-release "* ]]; then
    check tools/check-packages.sh
fi
check tools/check-tidy.sh "${@: -1}"
if ((${#failed[@]} > 0)); then
    echo "make check FAILED: ${failed[*]}" >&2
    exit 1
fi
