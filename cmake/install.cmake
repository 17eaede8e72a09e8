# What `cmake --install` puts where (GNUInstallDirs), in three components that
# become the Debian packages of cmake/packages.cmake:
#   runtime  libkxsupt.so.9 and its real file, the README and the licence
#   dev      the headers, the libkxsupt.so link, kxsupt.pc, the CMake package
#   tool     the kxsupt tool and its man page
# Nothing internal is installed: not kxsupt_core, the tests, the benchmarks or
# the examples.
include(CMakePackageConfigHelpers)

set(KXSUPT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kxsupt)

install(TARGETS kxsupt EXPORT kxsuptTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT runtime)

install(FILES ${PROJECT_SOURCE_DIR}/include/kxsupt.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kxsupt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT dev FILES_MATCHING PATTERN "*.h")

# find_package(kxsupt 9) gives the imported target kxsupt::kxsupt; any 9.x
# satisfies a request for 9 (the SONAME's promise).
install(EXPORT kxsuptTargets NAMESPACE kxsupt:: DESTINATION ${KXSUPT_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kxsuptConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kxsuptConfig.cmake INSTALL_DESTINATION ${KXSUPT_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kxsuptConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kxsuptConfig.cmake
  ${PROJECT_BINARY_DIR}/kxsuptConfigVersion.cmake DESTINATION ${KXSUPT_CMAKE_DIR} COMPONENT dev)

# kxsupt.pc holds absolute paths, so its prefix is the one in force when the
# install runs (`cmake --install --prefix`, or /usr inside a package), not the
# one configured. The other directories follow from it unless set absolute.
set(KXSUPT_PC_LIBDIR "\${exec_prefix}/${CMAKE_INSTALL_LIBDIR}")
set(KXSUPT_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(KXSUPT_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(KXSUPT_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
endif()
set(KXSUPT_PC_PREFIX "@KXSUPT_PC_PREFIX@")
configure_file(${PROJECT_SOURCE_DIR}/cmake/kxsupt.pc.in ${PROJECT_BINARY_DIR}/kxsupt.pc.in @ONLY)
install(CODE "set(KXSUPT_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/kxsupt.pc.in\" \"${PROJECT_BINARY_DIR}/kxsupt.pc\" @ONLY)"
  COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/kxsupt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)

# The tool finds the library beside it ($ORIGIN/../lib) when the library
# directory is not one the system searches anyway.
if(TARGET kxsupt_tool)
  list(FIND CMAKE_C_IMPLICIT_LINK_DIRECTORIES "${CMAKE_INSTALL_FULL_LIBDIR}" system_libdir)
  if(system_libdir EQUAL -1)
    file(RELATIVE_PATH libdir_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(kxsupt_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${libdir_from_bin}")
  endif()
  install(TARGETS kxsupt_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)

  # The man page's source is docs/kxsupt.1; it is installed compressed.
  set(KXSUPT_MAN_PAGE ${PROJECT_BINARY_DIR}/kxsupt.1.gz)
  add_custom_command(OUTPUT ${KXSUPT_MAN_PAGE}
    COMMAND sh -c "gzip -9n -c \"$1\" > \"$2\"" sh ${PROJECT_SOURCE_DIR}/docs/kxsupt.1
            ${KXSUPT_MAN_PAGE}
    DEPENDS ${PROJECT_SOURCE_DIR}/docs/kxsupt.1 VERBATIM)
  add_custom_target(kxsupt_man_page ALL DEPENDS ${KXSUPT_MAN_PAGE})
  install(FILES ${KXSUPT_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
endif()

# The API reference from the public headers: `cmake --build build --target
# kxsupt_docs` writes build/api/html (scripts/api-docs.sh, docs/api-reference.md).
add_custom_target(kxsupt_docs
  COMMAND ${PROJECT_SOURCE_DIR}/scripts/api-docs.sh ${PROJECT_BINARY_DIR}/api
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} USES_TERMINAL VERBATIM)
