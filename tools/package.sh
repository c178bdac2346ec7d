#!/usr/bin/env bash
# Makes the Debian packages libmoxbase, libmoxbase-dev and libmoxbase-tools in build/packages, for the
# machine's own architecture.
set -euo pipefail
cd "$(dirname "$0")/.."

native=$(getconf LONG_BIT)
if [[ ${WORDSIZE:-$native} != "$native" ]]; then
    echo "package: this machine makes $native-bit packages: leave WORDSIZE out, or run this on a $WORDSIZE-bit Debian" >&2
    exit 2
fi
preset=$native-release
source tools/install-prefix.sh
keep_prefix "$preset"
trap put_prefixes_back EXIT
tools/build.sh "$preset" --product -DCMAKE_INSTALL_PREFIX=/usr installed_files >&2
rm -rf build/packages
log=build/package.log
if ! cpack --config "build/$preset/CPackConfig.cmake" >"$log" 2>&1; then
    cat "$log" >&2
    echo "package: could not make the packages (output above)" >&2
    exit 1
fi
rm -rf build/packages/_CPack_Packages
ls build/packages/*.deb
