# The Debian 12 packages each set-up level needs: the one place where they are listed.
# Sourced by tools/setup.sh and tools/sysroot.sh; it only sets arrays.
# shellcheck shell=bash disable=SC2034  # the arrays are read by the scripts that source this file

# Every level: enough to build and run the demonstration for the machine's own word size.
packages_demo=(
    g++ cmake ninja-build pkg-config util-linux
    libglib2.0-dev libjson-glib-dev libboost1.74-dev libmuparser-dev libsqlite3-dev
)

# What the tests and the checks need on top.
packages_test=(
    libgtest-dev libgmock-dev
    binutils clang-format clang-tidy file
    python3-jsonschema
    abigail-tools dpkg-dev mmdebstrap
    gdb doxygen perl
    systemd
    valgrind gnuplot-nox
)

# What making Debian packages needs on top of the demonstration's.
packages_package=(dpkg-dev file)

# What comparing the libraries' interface with its record needs on top of the demonstration's.
packages_abi=(abigail-tools)

# What counting the instructions of the hottest operations needs on top of the demonstration's.
packages_bench_check=(valgrind)

# What making the pages of docs/ and the headers needs.
packages_docs=(doxygen perl)

# What the coverage report needs on top of the tests' packages.
packages_coverage=(gcovr)

# What the benchmarks need on top of the demonstration's.
packages_bench=(libbenchmark-dev python3 gnuplot-nox)

# What letting other software do the same work needs on top of the demonstration's. redis-tools has the
# server's program; redis-server would also start a service.
packages_bench_peers=(libsystemd-dev dbus-daemon libhiredis-dev redis-tools python3)

# What building 32-bit programs on an x86-64 machine needs: the compiler's half, and the tool that
# makes the sysroot, and the one that names another loader in installed programs. The metapackage
# g++-multilib is avoided: it conflicts with Arm cross compilers.
packages_32=(g++-12-multilib mmdebstrap patchelf)

# What building and running 32-bit Arm programs needs on top of the tests' packages: a compiler, the emulator, and the
# tool that makes the sysroot.
packages_arm=(g++-12-arm-linux-gnueabihf qemu-user mmdebstrap)

# What fuzzing needs on top of the tests' packages.
packages_reliability=(clang libclang-rt-14-dev)

# The 32-bit libraries, unpacked into build/sysroot-<architecture> and never installed on the machine.
packages_sysroot=(
    libc6-dev libc6-dbg libstdc++-12-dev
    libglib2.0-dev libjson-glib-dev libboost1.74-dev
    libgtest-dev libgmock-dev libmuparser-dev libsqlite3-dev
    libbenchmark-dev
)
