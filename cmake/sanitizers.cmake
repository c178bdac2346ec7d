# Compiles and links everything with the sanitizers that MOX_SANITIZE names.
#
# "address,undefined" is for 32-bit: on 64-bit the pool's fixed address lies inside ASan's own memory.
# "thread" is for 64-bit, the only width TSan has; code then sees MOX_TSAN=1, because GLib's GMutex is
# invisible to TSan and its wrapper has to announce itself.

set(MOX_SANITIZE "" CACHE STRING "Sanitizers: empty, address,undefined or thread")
set_property(CACHE MOX_SANITIZE PROPERTY STRINGS "" "address,undefined" "thread")

if(MOX_SANITIZE STREQUAL "thread")
    add_compile_definitions(MOX_TSAN=1)
elseif(NOT MOX_SANITIZE STREQUAL "" AND NOT MOX_SANITIZE STREQUAL "address,undefined")
    message(FATAL_ERROR "MOX_SANITIZE is '${MOX_SANITIZE}': use address,undefined or thread, or leave it empty")
endif()

if(MOX_SANITIZE)
    add_compile_options(
        -fsanitize=${MOX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${MOX_SANITIZE} -fno-sanitize-recover=all)
endif()

# For libFuzzer (clang only): all code tells it what it runs; the fuzz programs alone are linked with its main, and the
# shared libraries find it there.
set(mox_no_undefined -Wl,--no-undefined)
option(MOX_FUZZ "build for libFuzzer: see tools/fuzz.sh" OFF)
if(MOX_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR NOT MOX_SANITIZE STREQUAL "address,undefined")
        message(FATAL_ERROR "MOX_FUZZ needs clang and MOX_SANITIZE=address,undefined: use the preset 32-fuzz")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
    set(mox_no_undefined)
endif()
