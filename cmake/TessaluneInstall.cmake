# What `cmake --install` lays down: the library with its headers, the files by which CMake and
# pkg-config find it, the program, the documents. Whatever is installed can be moved as a whole.
# One prefix holds one kind of library, shared or static.
#
# There are three components: `library` has what programs need to run, `development` what they need
# to be built, `program` all the rest.

include(CMakePackageConfigHelpers)

install(TARGETS tessalune EXPORT tessaluneTargets
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(EXPORT tessaluneTargets
  NAMESPACE tessalune::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tessalune
  COMPONENT development)

# All headers but those that only sources of the library include.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tessalune
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development
  FILES_MATCHING PATTERN "*.h"
  PATTERN kernels EXCLUDE
  PATTERN icons EXCLUDE
  PATTERN ArgumentChecks.h EXCLUDE
  PATTERN BuiltIns.h EXCLUDE
  PATTERN StateMemory.h EXCLUDE
  PATTERN KLTopology.h EXCLUDE)

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/tessaluneConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tessaluneConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tessalune)
# Before 1.0 a new minor version may break its users; the SONAME says the same.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tessaluneConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tessaluneConfig.cmake
  ${PROJECT_BINARY_DIR}/tessaluneConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tessalune
  COMPONENT development)

# From one installed folder to another, as a path to append to the first.
function(tessalune_relative_path Result From To)
  file(RELATIVE_PATH Path ${From} ${To})
  string(REGEX REPLACE "/$" "" Path "${Path}")
  set(${Result} "${Path}" PARENT_SCOPE)
endfunction()

tessalune_relative_path(PkgConfigToPrefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/tessalune.pc.in tessalune.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessalune.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

# The program, which host/ installs, finds the library beside it.
if(TARGET tessalune_program)
  tessalune_relative_path(ProgramToLibrary
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(tessalune_program PROPERTIES INSTALL_RPATH "$ORIGIN/${ProgramToLibrary}")
endif()

# What comes with the program: its manual page, what shells complete, the documents, the icons.
if(TARGET tessalune_program)
  set(Manual docs/tessalune.1)
  set(ZshFolder site-functions)
  if(TESSALUNE_DEBIAN)
    find_program(GZIP gzip REQUIRED)
    set(Manual ${PROJECT_BINARY_DIR}/debian/tessalune.1.gz)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/debian)
    execute_process(COMMAND ${GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/docs/tessalune.1
      OUTPUT_FILE ${Manual} COMMAND_ERROR_IS_FATAL ANY)
    set(ZshFolder vendor-completions)
  endif()
  install(FILES ${Manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
  install(FILES packaging/completion/tessalune.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tessalune
    COMPONENT program)
  install(FILES packaging/completion/_tessalune
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${ZshFolder} COMPONENT program)
endif()
# The icons that the library holds, as files for programs that draw components without it.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tessalune/icons/bitmaps/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/tessalune/icons COMPONENT program)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT license)
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT program)
if(TESSALUNE_DEBIAN)
  execute_process(COMMAND ${GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/debian/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${PROJECT_BINARY_DIR}/debian/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT program)
else()
  install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT program)
endif()
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT program
  PATTERN tessalune.1 EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT program)
