# 32-bit x86 programs on an x86-64 machine, against build/sysroot-i386, run directly: programs carry
# the sysroot's dynamic linker and library path. On a 32-bit machine this file changes nothing.

execute_process(COMMAND getconf LONG_BIT OUTPUT_VARIABLE mox_host_bits OUTPUT_STRIP_TRAILING_WHITESPACE)
if(mox_host_bits STREQUAL "32")
    return()
endif()

get_filename_component(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-i386" ABSOLUTE)
if(NOT EXISTS "${CMAKE_SYSROOT}/.packages")
    message(FATAL_ERROR "The 32-bit sysroot is missing: run tools/setup.sh test")
endif()

set(mox_sysroot_libs "${CMAKE_SYSROOT}/usr/lib/i386-linux-gnu")

set(CMAKE_C_FLAGS_INIT "-m32")
# Assertions in headers of the sysroot name them as the system does, wherever the sysroot lies.
set(CMAKE_CXX_FLAGS_INIT "-m32 -fmacro-prefix-map=${CMAKE_SYSROOT}=")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)

# The sysroot's libraries are found where they lie by what is built, and by nothing that is installed: installing takes
# the build's library path out and names the loader of a 32-bit system. DT_RPATH and not DT_RUNPATH (new-dtags): it also
# serves the libraries of libraries.
set(CMAKE_BUILD_RPATH "${mox_sysroot_libs};${CMAKE_SYSROOT}/lib/i386-linux-gnu")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,--disable-new-dtags")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${CMAKE_SHARED_LINKER_FLAGS_INIT}")
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "${CMAKE_SHARED_LINKER_FLAGS_INIT} -Wl,--dynamic-linker=${CMAKE_SYSROOT}/lib/ld-linux.so.2")
set(MOX_INSTALLED_LOADER /lib/ld-linux.so.2)

# Programs come from the machine, everything else from the sysroot only.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${mox_sysroot_libs}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
