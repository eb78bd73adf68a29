# Installing the libraries: headers under include/Keel and include/Plinth, the
# libraries in the (multiarch) library folder, a CMake package
# (find_package(Vantor)) with Vantor:: targets, and a pkg-config module for
# each library.
#
# Shared builds (the Debian packages) keep every dependency a library wraps
# private: the loader finds it through the library's DT_NEEDED entries, and
# `pkg-config --static` lists it as plain link flags for those who link the
# archives. Static builds (the default developer build) put the same flags in
# `Libs`, since an archive's users must link them all.
#
# Install components, one Debian package each (VantorPackaging.cmake):
#   vantor-keel-core ... vantor-plinth-qt   one shared library each (runtime)
#   common        the libraries' resource bundles
#   development   headers, link names, CMake and pkg-config files
#   qt-development  the same for the Qt user interface alone
#   tools, launcher  the programs
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_property(GLOBAL PROPERTY VANTOR_EXPORTED_TARGETS "")

# Headers that are no part of the interface: platform implementations, the
# fuzzers' checks, the seams between a library's own files, and the ones that
# would pull a wrapped library's headers into every user's build.
set(VANTOR_INTERNAL_HEADER_PATTERNS "*_linux.h" "*_testing.h" "*_internal.h")
set(VANTOR_INTERNAL_HEADERS
  Keel/core/icu_support.h
  Keel/core/zlib_reference_decode.h
  Keel/core/byte_coding_memory.h
  Keel/core/file_contents.h
  Keel/core/property_list_formats.h
  Keel/core/property_list_tree_check.h
  Keel/core/tree_arena_pages.h
  Keel/coding/system_parsing.h
  Keel/services/inotify_watcher.h
  Plinth/inventory/file_revealer.h
  Plinth/inventory/workspace_icons.h)

# The pkg-config module, CMake name and Debian runtime package of a library:
# ExportName KeelCore gives vantor-keel-core, libvantor_keel_core.so.0.1 and
# libvantor-keel-core0.1.
function(_vantor_dashed exportName out)
  string(REGEX REPLACE "([a-z])([A-Z])" "\\1-\\2" name "${exportName}")
  string(TOLOWER "vantor-${name}" name)
  set(${out} "${name}" PARENT_SCOPE)
endfunction()

# vantor_export(<target> <ExportName> [PC_REQUIRES module...])
# Names the target Vantor::<ExportName> in the build tree and, when installing,
# puts it in the CMake package with a pkg-config module of its own. Only the
# modules the library's headers need belong in PC_REQUIRES; what it links
# privately is read from the target when the build is generated.
function(vantor_export target exportName)
  cmake_parse_arguments(A "" "" "PC_REQUIRES" ${ARGN})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${exportName})
  add_library(Vantor::${exportName} ALIAS ${target})
  target_compile_features(${target} INTERFACE cxx_std_20)
  _vantor_dashed(${exportName} pcName)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "INTERFACE_LIBRARY")
    # libvantor_keel_core: a name that cannot clash in a shared library folder.
    string(REPLACE "-" "_" fileName "${pcName}")
    # A 0.x release may change the interface with every minor version.
    set_target_properties(${target} PROPERTIES OUTPUT_NAME ${fileName}
      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  endif()
  if(NOT VANTOR_INSTALL)
    return()
  endif()
  set_property(GLOBAL APPEND PROPERTY VANTOR_EXPORTED_TARGETS ${target})
  set_property(TARGET ${target} PROPERTY VANTOR_PC_REQUIRES "${A_PC_REQUIRES}")
  # The Qt user interface is a package of its own, so that the rest never
  # needs Qt's development files.
  if(exportName MATCHES "Qt$")
    set(exportSet VantorQtTargets)
    set(devComponent qt-development)
  else()
    set(exportSet VantorTargets)
    set(devComponent development)
  endif()
  set_property(TARGET ${target} PROPERTY VANTOR_DEV_COMPONENT ${devComponent})
  set_property(TARGET ${target} PROPERTY VANTOR_EXPORT_SET ${exportSet})
  install(TARGETS ${target} EXPORT ${exportSet}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${devComponent}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${pcName} NAMELINK_COMPONENT ${devComponent}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()

# A link item without the generator expressions that only say how or whether
# it is linked: $<LINK_ONLY:x> is x, $<TARGET_NAME_IF_EXISTS:x> is x when x
# is a target here (an optional dependency) and nothing otherwise.
function(_vantor_link_item item out)
  if(item MATCHES "^\\$<LINK_ONLY:(.*)>$")
    set(item "${CMAKE_MATCH_1}")
  endif()
  if(item MATCHES "^\\$<TARGET_NAME_IF_EXISTS:(.*)>$")
    if(TARGET ${CMAKE_MATCH_1})
      set(item "${CMAKE_MATCH_1}")
    else()
      set(item "")
    endif()
  endif()
  set(${out} "${item}" PARENT_SCOPE)
endfunction()

# The link flags of a library other than ours, for a pkg-config file:
# imported targets are followed to their files and flags.
function(_vantor_link_flags item out)
  set(flags "")
  _vantor_link_item("${item}" item)
  if(item MATCHES "^\\$<" OR item STREQUAL "")
    # other generator expressions are build-only (the warning set)
  elseif(TARGET ${item})
    get_target_property(imported ${item} IMPORTED)
    if(imported)
      get_target_property(type ${item} TYPE)
      if(NOT type STREQUAL "INTERFACE_LIBRARY")
        get_target_property(location ${item} IMPORTED_LOCATION)
        if(NOT location)
          get_target_property(configs ${item} IMPORTED_CONFIGURATIONS)
          list(GET configs 0 config)
          get_target_property(location ${item} IMPORTED_LOCATION_${config})
        endif()
        if(location)
          _vantor_link_flags("${location}" flags)
        endif()
      endif()
      get_target_property(interface ${item} INTERFACE_LINK_LIBRARIES)
      if(interface)
        foreach(dep IN LISTS interface)
          _vantor_link_flags("${dep}" depFlags)
          list(APPEND flags ${depFlags})
        endforeach()
      endif()
    endif()
  elseif(item MATCHES "^-")
    set(flags "${item}")
  elseif(item MATCHES "/lib([^/]+)\\.(so|a)(\\.[0-9.]+)?$")
    set(flags "-l${CMAKE_MATCH_1}")
  elseif(item MATCHES "/")
    set(flags "${item}")
  else()
    set(flags "-l${item}")
  endif()
  set(${out} "${flags}" PARENT_SCOPE)
endfunction()

# Writes <pc module>.pc for each exported target, from what it links.
function(_vantor_write_pkg_config target exportedTargets)
  get_target_property(exportName ${target} EXPORT_NAME)
  get_target_property(type ${target} TYPE)
  get_target_property(publicModules ${target} VANTOR_PC_REQUIRES)
  get_target_property(devComponent ${target} VANTOR_DEV_COMPONENT)
  _vantor_dashed(${exportName} pcName)
  if(type STREQUAL "INTERFACE_LIBRARY")
    get_target_property(links ${target} INTERFACE_LINK_LIBRARIES)
  else()
    get_target_property(links ${target} LINK_LIBRARIES)
  endif()
  set(requires ${publicModules})
  set(flags "")
  foreach(item IN LISTS links)
    if(item IN_LIST exportedTargets)
      get_target_property(depName ${item} EXPORT_NAME)
      _vantor_dashed(${depName} depModule)
      list(APPEND requires ${depModule})
    elseif(item MATCHES "^Qt6::")
      # Qt's own modules (PC_REQUIRES) bring its libraries.
    else()
      _vantor_link_flags("${item}" itemFlags)
      list(APPEND flags ${itemFlags})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES requires)
  list(REMOVE_DUPLICATES flags)
  list(JOIN requires ", " requires)
  list(JOIN flags " " flags)
  if(type STREQUAL "INTERFACE_LIBRARY")
    set(libs "")
  else()
    set(libs "-L\${libdir} -l$<TARGET_FILE_BASE_NAME:${target}>")
  endif()
  if(type STREQUAL "STATIC_LIBRARY")
    string(APPEND libs " ${flags}")
    set(flags "")
  endif()
  set(pcDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  # The install prefix as is: pkg-config then knows /usr/include and the
  # multiarch library folder for system folders and leaves them out of the
  # flags, so they never come before a user's own -I and -L. An unpacked tree
  # is checked through PKG_CONFIG_SYSROOT_DIR.
  get_filename_component(pcFile "${PROJECT_BINARY_DIR}/pkgconfig/${pcName}.pc" ABSOLUTE)
  file(GENERATE OUTPUT "${pcFile}" CONTENT
"prefix=${CMAKE_INSTALL_PREFIX}
libdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}
includedir=\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}

Name: ${pcName}
Description: Vantor ${exportName} library (C++20: compile with -std=c++20)
Version: ${PROJECT_VERSION}
Requires: ${requires}
Cflags: -I\${includedir}
Libs: ${libs}
Libs.private: ${flags}
")
  install(FILES "${pcFile}" DESTINATION ${pcDir} COMPONENT ${devComponent})
endfunction()

# find_dependency() calls for what the targets of `exportSet` make their
# users link: the packages of the imported targets they name.
function(_vantor_config_dependencies exportSet exportedTargets out)
  set(namespaces "")
  set(pkgPrefixes "")
  set(qtComponents "")
  foreach(target IN LISTS exportedTargets)
    get_target_property(set ${target} VANTOR_EXPORT_SET)
    get_target_property(links ${target} INTERFACE_LINK_LIBRARIES)
    if(NOT set STREQUAL exportSet OR NOT links)
      continue()
    endif()
    foreach(item IN LISTS links)
      _vantor_link_item("${item}" item)
      if(item IN_LIST exportedTargets OR NOT item MATCHES "^([A-Za-z0-9_]+)::(.+)$")
        continue()
      endif()
      if(CMAKE_MATCH_1 STREQUAL "PkgConfig")
        list(APPEND pkgPrefixes ${CMAKE_MATCH_2})
      elseif(CMAKE_MATCH_1 STREQUAL "Qt6")
        list(APPEND qtComponents ${CMAKE_MATCH_2})
      else()
        list(APPEND namespaces ${CMAKE_MATCH_1})
      endif()
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES namespaces)
  list(REMOVE_DUPLICATES pkgPrefixes)
  list(REMOVE_DUPLICATES qtComponents)
  set(text "")
  foreach(ns IN LISTS namespaces)
    string(APPEND text "find_dependency(${ns})\n")
  endforeach()
  if(qtComponents)
    list(JOIN qtComponents " " qtComponents)
    string(APPEND text "find_dependency(Qt6 ${Qt6_VERSION_MAJOR}.${Qt6_VERSION_MINOR} COMPONENTS ${qtComponents})\n")
  endif()
  if(pkgPrefixes)
    string(APPEND text "find_dependency(PkgConfig)\n")
  endif()
  foreach(prefix IN LISTS pkgPrefixes)
    set(modules "")
    foreach(entry IN LISTS VANTOR_PKG_MODULES)
      if(entry MATCHES "^${prefix}=(.*)$")
        string(REPLACE "," " " modules "${CMAKE_MATCH_1}")
      endif()
    endforeach()
    string(APPEND text "_vantor_pkg_modules(${prefix} ${modules})\n")
  endforeach()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# The headers, the pkg-config and CMake package files; called once at the
# end, when every library's links are known.
function(vantor_install_package)
  if(NOT VANTOR_INSTALL)
    return()
  endif()
  get_property(exported GLOBAL PROPERTY VANTOR_EXPORTED_TARGETS)
  foreach(target IN LISTS exported)
    _vantor_write_pkg_config(${target} "${exported}")
  endforeach()

  set(excludes "")
  foreach(pattern IN LISTS VANTOR_INTERNAL_HEADER_PATTERNS)
    list(APPEND excludes PATTERN "${pattern}" EXCLUDE)
  endforeach()
  foreach(header IN LISTS VANTOR_INTERNAL_HEADERS)
    list(APPEND excludes REGEX "/${header}$" EXCLUDE)
  endforeach()
  # Resources go to <datadir>/vantor (vantor_resource_bundle); programs are
  # not headers.
  list(APPEND excludes PATTERN "fuzz_corpus" EXCLUDE PATTERN "*.bundle" EXCLUDE PATTERN "demo" EXCLUDE)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/Keel" "${PROJECT_SOURCE_DIR}/Plinth"
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h" PATTERN "*_qt.h" EXCLUDE ${excludes})
  if(TARGET plinth_qt)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/Plinth"
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT qt-development
      FILES_MATCHING PATTERN "*_qt.h" ${excludes})
  endif()

  set(cmakeDir ${CMAKE_INSTALL_LIBDIR}/cmake/Vantor)
  _vantor_config_dependencies(VantorTargets "${exported}" VANTOR_CONFIG_DEPENDENCIES)
  _vantor_config_dependencies(VantorQtTargets "${exported}" VANTOR_QT_CONFIG_DEPENDENCIES)
  install(EXPORT VantorTargets NAMESPACE Vantor:: DESTINATION ${cmakeDir} COMPONENT development)
  if(TARGET plinth_qt)
    install(EXPORT VantorQtTargets NAMESPACE Vantor:: DESTINATION ${cmakeDir} COMPONENT qt-development)
  endif()
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/VantorConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/VantorConfig.cmake" INSTALL_DESTINATION ${cmakeDir})
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake"
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
  install(FILES "${PROJECT_BINARY_DIR}/VantorConfig.cmake" "${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake"
    DESTINATION ${cmakeDir} COMPONENT development)
endfunction()
