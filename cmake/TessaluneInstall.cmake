# What `cmake --install` lays down: the library with its headers, the files by which CMake and
# pkg-config find it, the program, the documents. Whatever is installed can be moved as a whole.
# One prefix holds one kind of library, shared or static.

include(CMakePackageConfigHelpers)

install(TARGETS tessalune EXPORT tessaluneTargets)
install(EXPORT tessaluneTargets
  NAMESPACE tessalune::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tessalune)

# All headers but those that only sources of the library include.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tessalune
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
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
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tessalune)

# From one installed folder to another, as a path to append to the first.
function(tessalune_relative_path Result From To)
  file(RELATIVE_PATH Path ${From} ${To})
  string(REGEX REPLACE "/$" "" Path "${Path}")
  set(${Result} "${Path}" PARENT_SCOPE)
endfunction()

tessalune_relative_path(PkgConfigToPrefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/tessalune.pc.in tessalune.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessalune.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The program, which host/ installs, finds the library beside it.
if(TARGET tessalune_program)
  tessalune_relative_path(ProgramToLibrary
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(tessalune_program PROPERTIES INSTALL_RPATH "$ORIGIN/${ProgramToLibrary}")
endif()

# The icons that the library holds, as files for programs that draw components without it.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tessalune/icons/bitmaps/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/tessalune/icons)

install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
