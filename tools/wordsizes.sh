#!/usr/bin/env bash
# Prints the word sizes to build for, "32", "64" or "32 64".
#
#   tools/wordsizes.sh demo|test|test-arm|reliability|bench|bench-check|bench-peers|coverage|install|package|size|abi|docs
#
# WORDSIZE in the environment decides; otherwise "test", "reliability", "bench", "bench-check", "size" and "abi" take all
# that this machine can build and run, and the others its own word size.
set -euo pipefail

native=$(getconf LONG_BIT)
if [[ $native == 32 ]]; then
    possible="32"
elif [[ $(uname -m) == x86_64 ]]; then
    possible="32 64"
else
    possible="64"
fi

wanted=${WORDSIZE:-}
if [[ -z $wanted ]]; then
    case ${1:-} in
        test | reliability | bench | bench-check | size | abi) echo "$possible" ;;
        *) echo "$native" ;;
    esac
    exit 0
fi
if [[ $wanted != 32 && $wanted != 64 ]]; then
    echo "WORDSIZE must be 32 or 64, not '$wanted'; leave it out for the default." >&2
    exit 2
fi
if [[ " $possible " != *" $wanted "* ]]; then
    echo "This machine ($(uname -m), $native-bit) can only build for $possible-bit: leave WORDSIZE out." >&2
    exit 2
fi
echo "$wanted"
