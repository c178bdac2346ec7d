#!/usr/bin/env bash
# Makes build/sysroot-<architecture>: the libraries of another architecture, unpacked beside the machine's own and not
# installed.
#
#   tools/sysroot.sh [i386|armhf]     i386 when none is named
#
# The directory is there whole or not at all: it is built under another name, stamped with its package
# list and then renamed. With a stamp that fits there is nothing to do. Needs mmdebstrap and the
# network, but no root: packages are only unpacked, none of their scripts is run.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/packages.sh
source tools/archive.sh

say() { printf 'setup: %s\n' "$*" >&2; }

architecture=${1:-i386}
sysroot=build/sysroot-$architecture
wanted="$architecture ${packages_sysroot[*]}"
is_current() { [[ -f $sysroot/.packages && $(<"$sysroot/.packages") == "$wanted" ]]; }

is_current && exit 0
mkdir -p build
exec 9>build/.sysroot.lock
flock 9
is_current && exit 0 # another run made it while this one waited

if ! command -v mmdebstrap >/dev/null; then
    say "mmdebstrap is missing; install it with: apt-get install --no-install-recommends mmdebstrap"
    exit 1
fi

find_archive "$architecture" || exit 1

say "building the sysroot of $architecture (half a minute, about 350 MB in build/)"
log=build/sysroot.log
rm -rf "$sysroot.new"
trap 'rm -rf "$sysroot.new"' EXIT
packages=$(IFS=,; echo "${packages_sysroot[*]}")
if ! mmdebstrap --mode=chrootless --variant=extract --architectures="$architecture" --skip=check/qemu \
    --include="$packages" "${archive_options[@]}" "$archive_codename" "$sysroot.new" "${archive_mirrors[@]}" >"$log" 2>&1; then
    grep -E '^(E|Err)[: ]' "$log" | tail -n 12 >&2 || tail -n 12 "$log" >&2
    say "could not build the sysroot of $architecture; the whole log is in $log."
    say "Is the network there? Nothing half-built was left; run again when that is mended."
    [[ $architecture != i386 ]] || say "Without it the machine's own word size still works: WORDSIZE=64 make test"
    exit 1
fi
# Development links such as libz.so name their library by an absolute path: make them stay inside.
find "$sysroot.new/usr/lib" -lname '/*' -print0 | while IFS= read -r -d '' link; do
    ln -sfr "$sysroot.new$(readlink "$link")" "$link"
done
# Only libraries and headers are of use. What an emulator found here it would take in place of the machine's own: a
# device, a system file, a shell.
find "$sysroot.new" -mindepth 1 -maxdepth 1 ! -name usr ! -name 'lib*' -exec rm -rf {} +
rm -rf "$sysroot.new"/usr/{bin,sbin}
printf '%s\n' "$wanted" >"$sysroot.new/.packages"
rm -rf "$sysroot"
mv "$sysroot.new" "$sysroot"
rm -f "$log"
