#!/usr/bin/env bash
# Makes the public headers and the pages of docs/ as HTML. Exit status 1, with the warnings, when a public function,
# type or macro has no comment, or a link leads nowhere.
#
#   tools/docs.sh [output folder]      build/docs when it is not given
set -euo pipefail
cd "$(dirname "$0")/.."

output=${1:-build/docs}
if ! command -v doxygen >/dev/null; then
    echo "docs: doxygen is missing: run tools/setup.sh docs, or install the package doxygen" >&2
    exit 1
fi
mkdir -p "$output"
# Doxygen takes a link of a page apart at a blank in the folder's name, so it reads a copy elsewhere then.
if [[ $PWD == *[[:space:]]* ]]; then
    output=$(realpath "$output")
    copy=$(mktemp -d)
    trap 'rm -rf "$copy"' EXIT
    cp -R --parents README.md docs include inc host/include platform/include tools/doxygen-filter.pl "$copy"
    cd "$copy"
fi
if ! { cat docs/Doxyfile && printf 'OUTPUT_DIRECTORY = "%s"\n' "$output"; } | doxygen -; then
    echo "docs: doxygen warned of the above; a warning counts as a failure" >&2
    exit 1
fi
echo "docs: $output/html/index.html"
