# Debian packages of what is installed, one for each part: libmoxbase (the libraries), libmoxbase-dev (to build against
# them), libmoxbase-tools (the owner and the operator's tool). make package makes them, for the machine's own
# architecture: their dependencies are read from its installed packages, and a sysroot's are only unpacked.
if(CMAKE_SYSROOT)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libmoxbase)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "moxbase maintainers <root@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Its own libraries are found where they were built; what they need of each other is said below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# What is packed against the libraries asks for this version, until there is a promise about the next.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libmoxbase)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Object model of a management controller in shared memory: libraries
Objects of classes carry typed properties in a pool of shared memory that the
processes of a management controller map at one address. This package has the
shared libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmoxbase-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libmoxbase (= ${PROJECT_VERSION}), libglib2.0-dev (>= 2.68)")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Object model of a management controller in shared memory: headers
What building modules against libmoxbase needs: headers, files for pkg-config
and CMake, and a small module to start from.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME libmoxbase-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libmoxbase (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Object model of a management controller in shared memory: programs
The owner of the object model (moxd) with its systemd unit, and the operator's
tool (moxctl) with its manual page and completion.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA
    ${CMAKE_SOURCE_DIR}/cmake/packages/prerm ${CMAKE_SOURCE_DIR}/cmake/packages/postrm)

include(CPack)
