#!/usr/bin/env bash
# Runs clang-tidy, every warning an error, over our sources (not over tests and benchmarks), with the
# compiler options of one build.
#
#   tools/check-tidy.sh <preset> [file...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
database=build/$preset/compile_commands.json
if [[ ! -f $database ]]; then
    echo "check-tidy: $database is missing; run tools/build.sh $preset" >&2
    exit 1
fi

files=("$@")
if ((${#files[@]} == 0)); then
    mapfile -t files < <(tools/source-files.sh {src,platform,host,tool,examples}/'*.c' {src,platform,host,tool,examples}/'*.cpp')
fi
if ((${#files[@]} == 0)); then
    echo "check-tidy: found no source file" >&2
    exit 1
fi

# A file that no target compiles would be read with guessed options: say so instead.
failed=0
for file in "${files[@]}"; do
    if ! grep -qF "\"file\": \"$PWD/$file\"" "$database"; then
        echo "check-tidy: $file is compiled by no target of $preset" >&2
        failed=1
    fi
done
((failed == 0)) || exit 1

# Each file's findings are kept together; the counts of suppressed warnings that it adds are left out.
check_one() {
    local output
    if ! output=$(clang-tidy -p "build/$1" --quiet --warnings-as-errors='*' "$2" 2>&1); then
        grep -vE '^[0-9]+ warnings? .*(generated|treated as error)' <<<"$output" >&2
        return 1
    fi
}
export -f check_one
# shellcheck disable=SC2016  # the inner shell expands its own arguments
if ! printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" bash -c 'check_one "$0" "$1"' "$preset"; then
    echo "check-tidy: see the findings above" >&2
    exit 1
fi
