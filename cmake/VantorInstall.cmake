# Installing the libraries as a package: headers under include/Keel and
# include/Plinth, the libraries, a CMake package (find_package(Vantor)) with
# Vantor:: targets, and a pkg-config file for each library.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Libraries, by target: the name consumers see after Vantor:: and the
# pkg-config modules and plain libraries it needs when linked statically.
set_property(GLOBAL PROPERTY VANTOR_EXPORTED_TARGETS "")

# vantor_export(<target> <ExportName> [PC_REQUIRES mod...] [PC_LIBS -lx...] [PC_DEPENDS target...])
# Names the target Vantor::<ExportName> in the build tree and, when installing,
# puts it in the exported package with a pkg-config file of its own.
function(vantor_export target exportName)
  cmake_parse_arguments(A "" "" "PC_REQUIRES;PC_LIBS;PC_DEPENDS" ${ARGN})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${exportName})
  add_library(Vantor::${exportName} ALIAS ${target})
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "INTERFACE_LIBRARY")
    # libvantor_keel_core.a: a name that cannot clash in a shared lib folder.
    string(REGEX REPLACE "([a-z])([A-Z])" "\\1_\\2" fileName "${exportName}")
    string(TOLOWER "vantor_${fileName}" fileName)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME ${fileName})
    set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  endif()
  target_compile_features(${target} INTERFACE cxx_std_20)
  if(NOT VANTOR_INSTALL)
    return()
  endif()
  install(TARGETS ${target} EXPORT VantorTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

  # pkg-config: the module is vantor-<lower-case name with dashes>.
  string(REGEX REPLACE "([a-z])([A-Z])" "\\1-\\2" pcName "${exportName}")
  string(TOLOWER "vantor-${pcName}" pcName)
  set(requires "")
  foreach(dep IN LISTS A_PC_DEPENDS)
    get_target_property(depName ${dep} EXPORT_NAME)
    string(REGEX REPLACE "([a-z])([A-Z])" "\\1-\\2" depName "${depName}")
    string(TOLOWER "vantor-${depName}" depName)
    list(APPEND requires ${depName})
  endforeach()
  list(JOIN requires ", " requires)
  list(JOIN A_PC_REQUIRES ", " requiresPrivate)
  list(JOIN A_PC_LIBS " " libsPrivate)
  if(type STREQUAL "INTERFACE_LIBRARY")
    set(libs "")
  else()
    set(libs "-L\${libdir} -l$<TARGET_FILE_BASE_NAME:${target}>")
  endif()
  file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/pkgconfig/${pcName}.pc" CONTENT
"prefix=\${pcfiledir}/../..
libdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}
includedir=\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}

Name: ${pcName}
Description: Vantor ${exportName} library (C++20: compile with -std=c++20)
Version: ${PROJECT_VERSION}
Requires: ${requires}
Requires.private: ${requiresPrivate}
Cflags: -I\${includedir}
Libs: ${libs}
Libs.private: ${libsPrivate}
")
  install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/${pcName}.pc"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

# The headers, the CMake package files; called once at the end.
function(vantor_install_package)
  if(NOT VANTOR_INSTALL)
    return()
  endif()
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/Keel" "${PROJECT_SOURCE_DIR}/Plinth"
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h"
    # internal: they expose the wrapped libraries' own headers
    PATTERN "icu_support.h" EXCLUDE
    PATTERN "zlib_reference_decode.h" EXCLUDE
    # the seams between a library's own files
    PATTERN "*_internal.h" EXCLUDE
    PATTERN "fuzz_corpus" EXCLUDE
    # resources go to <datadir>/vantor (vantor_resource_bundle); programs are not headers
    PATTERN "*.bundle" EXCLUDE
    PATTERN "demo" EXCLUDE)
  set(cmakeDir ${CMAKE_INSTALL_LIBDIR}/cmake/Vantor)
  install(EXPORT VantorTargets NAMESPACE Vantor:: DESTINATION ${cmakeDir} COMPONENT development)
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/VantorConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/VantorConfig.cmake" INSTALL_DESTINATION ${cmakeDir})
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake"
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
  install(FILES "${PROJECT_BINARY_DIR}/VantorConfig.cmake" "${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake"
    DESTINATION ${cmakeDir} COMPONENT development)
endfunction()
