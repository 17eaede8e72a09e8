# Debian packages through CPack, one per install component:
#   libkxsupt9     the shared library (section libs), with a shlibs file so
#                  that packages built against it depend on it
#   libkxsupt-dev  headers, link, pkg-config file, CMake package; depends on
#                  libkxsupt9 of the same version
#   kxsupt         the command-line tool and its man page; depends on
#                  libkxsupt9 of the same version
# Dependencies on the C and C++ runtimes come from dpkg-shlibdeps.
# scripts/package.sh builds them (configured with the prefix /usr).
set(CPACK_PACKAGE_NAME kxsupt)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "kxsupt maintainers <maintainers@kxsupt.invalid>"
    CACHE STRING "Maintainer named in the Debian packages")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_GENERATOR DEB)
set(CPACK_SOURCE_GENERATOR "")

set(CPACK_COMPONENTS_ALL runtime dev tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool links the library being packaged: dpkg-shlibdeps finds it in the
# build tree, and the component dependency below names its package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkxsupt${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# A shlibs file: packages built against libkxsupt.so.9 depend on
# libkxsupt9 of at least this version.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkxsupt-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME kxsupt)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)

# Debian descriptions: a synopsis line, then the extended description.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "support library for server-management agents
libkxsupt.so.9 gives management agents, services and tools one portable
layer: containers, UCS-2 and UTF-8 text, its own printf engine, SDO
self-describing data objects, INI and property files, the product registry,
named inter-process objects, threads, event logs, CRC32, MD5, Base64 and
network helpers.")
set(CPACK_DEBIAN_DEV_DESCRIPTION "support library for server-management agents - development files
The C headers (kxsupt.h and kxsupt/*.h), the link to the shared library, the
pkg-config file kxsupt.pc and the CMake package: find_package(kxsupt 9) and
the target kxsupt::kxsupt.")
set(CPACK_DEBIAN_TOOL_DESCRIPTION "looks at and changes libkxsupt's data formats by hand
The kxsupt command looks at and changes the library's formats and files
through its public C interface; kxsupt(1) lists its commands.")

include(CPack)
cpack_add_component(runtime DISPLAY_NAME "Shared library")
cpack_add_component(dev DISPLAY_NAME "Development files" DEPENDS runtime)
cpack_add_component(tool DISPLAY_NAME "Command-line tool" DEPENDS runtime)
