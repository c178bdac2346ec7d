#!/usr/bin/env bash
# Runs a command in the surroundings that a preset's programs need.
#
#   tools/under-preset.sh <preset> <command> [argument...]
#
# Only TSan's programs need any: with more than 28 random bits in its addresses, which newer kernels
# choose, GCC 12's TSan ends at start with "unexpected memory mapping". Address randomisation is then
# switched off for the command and its children; nothing of the machine is changed.
set -euo pipefail

preset=$1
shift
if [[ $preset == *-tsan ]] && (($(cat /proc/sys/vm/mmap_rnd_bits) > 28)); then
    if ! setarch --addr-no-randomize true 2>/dev/null; then
        echo "$preset: TSan needs vm.mmap_rnd_bits of 28 or less and this machine has more; it could" >&2
        echo "not be switched off for one program either. As root: sysctl vm.mmap_rnd_bits=28" >&2
        exit 1
    fi
    exec setarch --addr-no-randomize "$@"
fi
exec "$@"
