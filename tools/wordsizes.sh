#!/usr/bin/env bash
# Prints the word sizes to build for, "32", "64" or "32 64".
#
#   tools/wordsizes.sh demo|test|bench|coverage
#
# WORDSIZE in the environment decides; otherwise "demo" and "coverage" take the machine's own word size
# and the others take all that this machine can build and run.
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
    if [[ ${1:-} == demo || ${1:-} == coverage ]]; then echo "$native"; else echo "$possible"; fi
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
