#!/usr/bin/env bash
# Configures and builds one preset, quietly: all output is shown when a step fails.
#
#   tools/build.sh <preset> [--product] [-D<name>=<value>...] [target...]
#
# --product is for what does without the tests: they are left out, with the packages that they need,
# unless this build has them already.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
cache=build/$preset/CMakeCache.txt
settings=() targets=()
for argument in "$@"; do
    if [[ $argument == --product ]]; then
        grep -qs '^MOX_BUILD_TESTS:[A-Z]*=ON$' "$cache" || settings+=(-DMOX_BUILD_TESTS=OFF)
    elif [[ $argument == -D* ]]; then settings+=("$argument"); else targets+=(--target "$argument"); fi
done

# A build made elsewhere, in a tree since moved or copied, names files that are not ours: start afresh.
if [[ -f $cache ]]; then
    made_for=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$cache")
    if [[ ${made_for:-$PWD} != "$PWD" && $(realpath -m "$made_for") != "$(pwd -P)" ]]; then
        rm -rf "build/$preset"
    fi
fi

mkdir -p build
log=build/$preset.configure.log
if ! cmake --preset "$preset" "${settings[@]}" >"$log" 2>&1; then
    cat "$log" >&2
    echo "build: could not configure $preset (output above)" >&2
    exit 1
fi

# On a terminal ninja shows its one status line; elsewhere only the output of what fails.
quiet=(--quiet)
[[ ! -t 1 ]] || quiet=()
if ! tools/under-preset.sh "$preset" cmake --build --preset "$preset" "${targets[@]}" -- "${quiet[@]}"; then
    echo "build: could not build $preset (output above)" >&2
    exit 1
fi
