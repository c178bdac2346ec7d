#!/usr/bin/env bash
# Builds what is installed, without the tests, and installs it, stripped.
#
#   tools/install.sh <preset> <prefix>     DESTDIR in the environment goes before the prefix
#
# Everything that can be known to go wrong is found before anything is built.
set -euo pipefail
cd "$(dirname "$0")/.."

refuse() {
    printf 'install: %s\n' "$@" >&2
    exit 1
}

(($# == 2)) || refuse "usage: tools/install.sh <preset> <prefix>"
preset=$1
prefix=$2
[[ $prefix == /* ]] || refuse "PREFIX is '$prefix', which is not absolute; say make install PREFIX=$PWD/$prefix"
prefix=$(realpath -ms "$prefix")
[[ $prefix != / ]] || refuse "PREFIX is '/'; say make install PREFIX=/usr for the system's own folders"
# The unit and the files for pkg-config and CMake would each need a blank, a per cent sign and the like marked otherwise.
[[ $prefix != *[!A-Za-z0-9/._+~-]* ]] ||
    refuse "PREFIX is '$prefix'; its characters may be A to Z, a to z, 0 to 9 and / . _ + ~ - only"
root=${DESTDIR:-}
[[ -z $root || $root == /* ]] || refuse "DESTDIR is '$root', which is not absolute; say make install DESTDIR=$PWD/$root"

# The folder to install into, or the nearest above it that is there, is the one to write to.
target=$(realpath -ms "$root$prefix")
nearest=$target
while [[ ! -e $nearest && ! -L $nearest ]]; do
    nearest=${nearest%/*}
    nearest=${nearest:-/}
done
[[ -d $nearest ]] || refuse "cannot install into $target: $nearest is no folder; give another PREFIX or DESTDIR"
[[ -w $nearest && -x $nearest ]] ||
    refuse "cannot install into $target: $nearest is not yours to write" \
        "become root for it, or give a folder of your own: make install PREFIX=\$HOME/moxbase"

tools/build.sh "$preset" --product -DCMAKE_INSTALL_PREFIX="$prefix" installed_files
log=build/$preset.install.log
if ! DESTDIR=$root cmake --install "build/$preset" --strip >"$log" 2>&1; then
    cat "$log" >&2
    refuse "could not install into $target (output above); what was copied before that is still there"
fi
printf 'installed %d files into %s\n' "$(wc -l <"build/$preset/install_manifest.txt")" "$target"

# The loader keeps a list of the libraries in the system's own folders; a folder that it does not list needs nothing,
# because what is installed there carries the way to its libraries.
if [[ -z $root && $prefix =~ ^/usr(/local)?$ ]]; then
    if ((EUID == 0)); then ldconfig; else echo "now run, as root: ldconfig"; fi
fi
