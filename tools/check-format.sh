#!/usr/bin/env bash
# Checks that our C and C++ files are formatted as .clang-format says; `make format` formats them.
#
#   tools/check-format.sh [--fix]
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t files < <(tools/source-files.sh '*.h' '*.hpp' '*.c' '*.cpp')
if ((${#files[@]} == 0)); then
    echo "check-format: found no source file" >&2
    exit 1
fi
if [[ ${1:-} == --fix ]]; then
    exec clang-format -i "${files[@]}"
fi
if ! clang-format --dry-run -Werror "${files[@]}"; then
    echo "check-format: run make format" >&2
    exit 1
fi
