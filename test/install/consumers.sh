# Builds the programs of this folder against an installed copy, in C and in C++, by pkg-config and by find_package.
# Sourced by tools/check-install.sh, which has quietly().
# shellcheck shell=bash disable=SC2034  # the arrays are read by the script that sources this file

# use_word_size <32|64> <tree> <root>: sets how programs of that word size are compiled, linked and run on this
# machine. For the word size that is not its own, the root is completed to that of another system, with the copy in it.
use_word_size() {
    c_compiler=(gcc)
    cpp_compiler=(g++)
    link_options=()
    cmake_options=()
    program_prefix=()
    unset PKG_CONFIG_LIBDIR PKG_CONFIG_SYSROOT_DIR
    if [[ $1 == 32 && $(getconf LONG_BIT) == 64 ]]; then
        local sysroot libraries
        sysroot=$(realpath "$2/build/sysroot-i386")
        libraries=$sysroot/usr/lib/i386-linux-gnu
        ln -s "$sysroot/usr" "$sysroot/lib" "$3/"
        c_compiler+=(-m32 "--sysroot=$sysroot")
        cpp_compiler+=(-m32 "--sysroot=$sysroot")
        link_options=("-Wl,--dynamic-linker=$sysroot/lib/ld-linux.so.2" -Wl,--disable-new-dtags
            "-Wl,-rpath,$libraries:$sysroot/lib/i386-linux-gnu")
        cmake_options=("-DCMAKE_TOOLCHAIN_FILE=$2/cmake/toolchain-32.cmake" "-DCMAKE_FIND_ROOT_PATH=$3")
        # Installed 32-bit programs name the loader of a 32-bit system, which this one need not have.
        program_prefix=("$sysroot/lib/ld-linux.so.2" --library-path "$libraries:$sysroot/lib/i386-linux-gnu")
        export PKG_CONFIG_LIBDIR=$3/usr/lib/i386-linux-gnu/pkgconfig:$3/usr/share/pkgconfig
        export PKG_CONFIG_SYSROOT_DIR=$3
    fi
}

# compile_by_pkg_config <source> <program> <packages>
compile_by_pkg_config() {
    local -a compiler flags libraries
    case $1 in
        *.c) compiler=("${c_compiler[@]}" -std=c99) ;;
        *) compiler=("${cpp_compiler[@]}" -std=c++20) ;;
    esac
    # shellcheck disable=SC2086  # package names and compiler options, words by design
    read -ra flags < <(pkg-config --cflags $3)
    # shellcheck disable=SC2086
    read -ra libraries < <(pkg-config --libs $3)
    "${compiler[@]}" -O1 -Wall -Wextra -Wpedantic -Werror "${flags[@]}" "$1" -o "$2" \
        "${link_options[@]}" "-Wl,-rpath,$installed_libraries" "${libraries[@]}"
}

# build_consumers <copy> <its libraries> <folder>: builds all programs in a folder, and sets owning_consumers and
# joining_consumers to those that own a pool and those that join an owner.
build_consumers() {
    local language
    installed_libraries=$2
    owning_consumers=()
    joining_consumers=()
    cp -R test/install "$3/project"
    export PKG_CONFIG_PATH=$2/pkgconfig
    for language in c cpp; do
        quietly "building with pkg-config" compile_by_pkg_config "$3/project/pool_owner.$language" \
            "$3/owner_$language" "moxbase moxplat"
        quietly "building with pkg-config" compile_by_pkg_config "$3/project/module.$language" \
            "$3/module_$language" moxhost
        owning_consumers+=("$3/owner_$language" "$3/project/build/pool_owner_$language")
        joining_consumers+=("$3/module_$language" "$3/project/build/module_$language")
    done
    quietly "the example's Makefile" make -C "$1/share/moxbase/examples" CXX="${cpp_compiler[*]}" \
        LDFLAGS="${link_options[*]}"
    unset PKG_CONFIG_PATH
    quietly "find_package" cmake -G Ninja -S "$3/project" -B "$3/project/build" -DCMAKE_PREFIX_PATH="$1" "${cmake_options[@]}"
    quietly "building with find_package" cmake --build "$3/project/build" -- -j2
}
