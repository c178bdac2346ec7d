# Where builds would be installed, kept over checks that install them elsewhere. Sourced by the scripts that do that.
# shellcheck shell=bash

declare -A kept_prefixes=()

# keep_prefix <preset>: call it before the build is installed elsewhere.
keep_prefix() {
    local found
    found=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "build/$1/CMakeCache.txt" 2>/dev/null || :)
    kept_prefixes[$1]=${found:-/usr/local}
}

# put_prefixes_back: for the end of the script, also after a failure.
put_prefixes_back() {
    local preset
    for preset in "${!kept_prefixes[@]}"; do
        if [[ -f build/$preset/CMakeCache.txt ]]; then
            cmake -S . -B "build/$preset" -DCMAKE_INSTALL_PREFIX="${kept_prefixes[$preset]}" >/dev/null || :
        fi
    done
}
