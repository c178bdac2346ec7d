# What is installed, where, and as which part: the libraries (runtime), what building against them needs (development),
# and the programs of the reference host (tools). cmake/packages.cmake makes a Debian package of each part.
#
# An installed copy finds itself: under any prefix but /usr, which the loader searches anyway, programs and libraries
# carry the way to each other relative to where they lie. Nothing installed names the build.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The libraries of the framework that are this build's own; a product's own come with the product.
set(mox_platform_targets ${MOX_OSAL_LIBRARY} ${MOX_SPACE_LIBRARY} ${MOX_DRIVER_LIBRARY} ${MOX_PERSIST_LIBRARY})
list(REMOVE_DUPLICATES mox_platform_targets)
list(FILTER mox_platform_targets INCLUDE REGEX "^moxplat_(osal|space|driver|persist)$")
set(mox_installed_libraries moxbase ${mox_platform_targets})
set(mox_installed_programs)
if(MOX_BUILD_HOST)
    list(APPEND mox_installed_libraries moxhost)
    set(mox_installed_programs moxd moxctl)
endif()
add_custom_target(installed_files DEPENDS ${mox_installed_libraries} ${mox_installed_programs})

if(mox_platform_targets)
    set_target_properties(${mox_platform_targets} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endif()
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH mox_libraries_from_programs
        ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(${mox_installed_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
    if(mox_installed_programs)
        set_target_properties(${mox_installed_programs} PROPERTIES
            INSTALL_RPATH "$ORIGIN/${mox_libraries_from_programs}")
    endif()
endif()

install(TARGETS ${mox_installed_libraries}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)

# Headers with short names such as pub.h stay in a folder of their own; moxbase.pc and the CMake package name it.
set(mox_header_dir ${CMAKE_INSTALL_INCLUDEDIR}/moxbase)
install(DIRECTORY include/ inc/ platform/include/
    DESTINATION ${mox_header_dir} COMPONENT development FILES_MATCHING PATTERN "*.h")

# mox_install_package_files(<name>...): moxbase.pc and the like. They name their folders relative to themselves, so that
# a copy that was moved, or unpacked into another system's root, still fits.
file(RELATIVE_PATH mox_prefix_from_pc
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
set(mox_platform_flags "")
foreach(target IN LISTS mox_platform_targets)
    get_target_property(name ${target} OUTPUT_NAME)
    string(APPEND mox_platform_flags " -l${name}")
endforeach()
function(mox_install_package_files)
    foreach(name IN LISTS ARGN)
        configure_file(cmake/install/${name}.pc.in ${CMAKE_BINARY_DIR}/install/${name}.pc @ONLY)
        install(FILES ${CMAKE_BINARY_DIR}/install/${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
    endforeach()
endfunction()
mox_install_package_files(moxbase)
if(mox_platform_targets)
    mox_install_package_files(moxplat)
endif()

set(mox_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/moxbase)
configure_package_config_file(cmake/install/moxbase-config.cmake.in ${CMAKE_BINARY_DIR}/install/moxbase-config.cmake
    INSTALL_DESTINATION ${mox_package_dir} PATH_VARS mox_header_dir CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/install/moxbase-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/install/moxbase-config.cmake ${CMAKE_BINARY_DIR}/install/moxbase-config-version.cmake
    DESTINATION ${mox_package_dir} COMPONENT development)

if(MOX_BUILD_HOST)
    include(cmake/install-host.cmake)
endif()

# Programs that are run here against a sysroot name its loader; installed ones name that of the system they are for.
if(MOX_INSTALLED_LOADER AND mox_installed_programs)
    find_program(MOX_PATCHELF patchelf REQUIRED)
    foreach(program IN LISTS mox_installed_programs)
        install(CODE "
            execute_process(COMMAND ${MOX_PATCHELF} --set-interpreter ${MOX_INSTALLED_LOADER}
                \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${program}\"
                COMMAND_ERROR_IS_FATAL ANY)" COMPONENT tools)
    endforeach()
endif()

include(cmake/packages.cmake)
