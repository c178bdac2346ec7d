# Warnings for our own code, all fatal.
add_library(mox_warnings INTERFACE)
target_compile_options(mox_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-align -Wformat=2 -Wundef -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi>
    # The headers mark their flexible arrays as the extension they are in C++; clang does not heed the mark there.
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-c99-extensions>)
