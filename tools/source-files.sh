#!/usr/bin/env bash
# Prints the project's own files, one a line, relative to its root: what git tracks or would track.
#
#   tools/source-files.sh <pattern...>     shell patterns matched against the whole path, such as '*.cpp'
#
# In a tree without git, everything outside build/ and hidden folders counts.
set -euo pipefail
cd "$(dirname "$0")/.."

if git -c safe.directory='*' rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    files=$(git -c safe.directory='*' ls-files --cached --others --exclude-standard)
else
    files=$(find . \( -path ./build -o -path './.?*' \) -prune -o -type f -print | cut -c3-)
fi

sort -u <<<"$files" | while IFS= read -r file; do
    [[ -f $file ]] || continue # deleted, but not yet in git's eyes
    for pattern in "$@"; do
        # shellcheck disable=SC2053  # the right side is a pattern
        if [[ $file == $pattern ]]; then
            printf '%s\n' "$file"
            break
        fi
    done
done
