# mox_version_script(<target> <symfile>): the shared library <target> exports the names in <symfile>
# and nothing else.
#
# <symfile> is a plain list, one name a line; '#' starts a comment. A change to it configures again
# and links again.

function(mox_version_script target symfile)
    get_filename_component(symfile "${symfile}" ABSOLUTE)
    if(NOT EXISTS "${symfile}")
        message(FATAL_ERROR "${symfile} is missing: it lists the names that ${target} exports")
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${symfile}")

    file(STRINGS "${symfile}" lines)
    set(names "")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "#.*" "" line "${line}")
        string(STRIP "${line}" name)
        if(name STREQUAL "")
            continue()
        endif()
        if(NOT name MATCHES "^[A-Za-z_][A-Za-z0-9_]*$")
            message(FATAL_ERROR "${symfile}: '${name}' is not the name of a function or variable")
        endif()
        string(APPEND names "        ${name};\n")
    endforeach()
    if(names STREQUAL "")
        message(FATAL_ERROR "${symfile}: no names in it")
    endif()

    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
    file(CONFIGURE OUTPUT "${script}"
        CONTENT "{\n    global:\n${names}    local:\n        *;\n};\n" @ONLY)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${script}")
endfunction()
