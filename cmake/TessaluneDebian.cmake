# Debian packages of what `cmake --install` lays down, by CPack: libtessalune0, libtessalune-dev and
# tessalune, one for each component. `./run package` makes them; packaging/debian holds what a
# package carries beside the files.

set(Packages library=libtessalune0 development=libtessalune-dev program=tessalune)

# The version is that of the project; the first line of the changelog has to say it.
file(STRINGS ${PROJECT_SOURCE_DIR}/packaging/debian/changelog Heading LIMIT_COUNT 1)
if(NOT Heading MATCHES "^tessalune \\(([0-9.]+)-([0-9]+)\\)" OR
    NOT CMAKE_MATCH_1 VERSION_EQUAL PROJECT_VERSION)
  message(FATAL_ERROR "packaging/debian/changelog begins with '${Heading}', not with version "
    "${PROJECT_VERSION}; give it an entry for this version")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_2})

file(READ ${PROJECT_SOURCE_DIR}/LICENSE License)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" Line "${License}")
set(TESSALUNE_COPYRIGHT "${CMAKE_MATCH_1}")
string(REGEX REPLACE "^.*${CMAKE_MATCH_1}\n+" "" License "${License}")
string(REGEX REPLACE "\n\n" "\n.\n" License "${License}")
string(STRIP "${License}" License)
string(REGEX REPLACE "\n" "\n " TESSALUNE_LICENSE " ${License}")
set(Folder ${PROJECT_BINARY_DIR}/debian)
configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/copyright.in ${Folder}/copyright @ONLY)
execute_process(COMMAND ${GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/packaging/debian/changelog
  OUTPUT_FILE ${Folder}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)

foreach(Package ${Packages})
  string(REGEX MATCH "^(.*)=(.*)$" Package ${Package})
  set(Component ${CMAKE_MATCH_1})
  set(Name ${CMAKE_MATCH_2})
  install(FILES ${Folder}/copyright ${Folder}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${Name} COMPONENT ${Component})
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/debian/${Name}.lintian-overrides)
    install(FILES packaging/debian/${Name}.lintian-overrides
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${Name}
      COMPONENT ${Component})
  endif()
  string(TOUPPER ${Component} Component)
  set(CPACK_DEBIAN_${Component}_PACKAGE_NAME ${Name})
  set(CPACK_DEBIAN_${Component}_FILE_NAME DEB-DEFAULT)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development program)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_CONTACT "The Tessalune authors <maintainers@tessalune.example>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Where the program's library lies while it is packed; the component's dependency names its package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/tessalune)
# A program asks for the very version that it was built with: before 1.0 each may differ.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# Behind the project's description, which is the first line of each.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"Sources, filters and sinks of samples with typed pins. Linked pins make a
graph, and blocks of samples flow through it: generators, players and
loggers, filters and their design, Fourier and other transforms, arithmetic
on several streams, meters, triggers.
.
This package has the library that programs need to run.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"Headers of the library, and what CMake and pkg-config need to find it. It
wants a compiler for C++20. Packages of components of one's own, which the
program tessalune loads, are built with it too.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"A graph is a JSON file that names sources, filters and sinks of samples and
links their pins. The program tessalune runs graphs, tells the mistakes in
them, shows what components there are, and converts between raw samples,
WAV, FLAC and CSV files. There is nothing to compile.")

include(CPack)
cpack_add_component(library)
cpack_add_component(development DEPENDS library)
cpack_add_component(program DEPENDS library)
