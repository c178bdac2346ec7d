#!/bin/sh
# Runs a 32-bit Arm program under the emulator, on the libraries of build/sysroot-armhf.
#
#   tools/run-arm.sh <program> [argument...]
#
# tools/arm-stand-in.c is loaded into it, and does what the emulated system cannot. Several may start at once.
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
source=$here/tools/arm-stand-in.c
export QEMU_LD_PREFIX="$here/build/sysroot-armhf"

# library <path> <compiler...>: makes it unless it is there.
library() {
    output=$1
    shift
    if [ ! -f "$output" ] || [ "$output" -ot "$source" ]; then
        "$@" -shared -fPIC -O2 -Wall -Wextra -Werror -o "$output.$$" "$source" -ldl
        mv "$output.$$" "$output"
    fi
}
guest=$here/build/arm-stand-in.guest.so
host=$here/build/arm-stand-in.host.so
library "$guest" arm-linux-gnueabihf-gcc-12 "--sysroot=$QEMU_LD_PREFIX"
library "$host" gcc

MOX_ARM_EMULATOR=$(command -v qemu-arm)
export MOX_ARM_EMULATOR MOX_ARM_HOST_PRELOAD="$host" QEMU_SET_ENV="LD_PRELOAD=$guest"
exec "$MOX_ARM_EMULATOR" "$@"
