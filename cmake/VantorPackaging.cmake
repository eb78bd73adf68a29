# Debian packages with CPack (`make package`), from a shared build installed
# under /usr:
#   libvantor-<library>0.1  one shared library each, named after its SONAME,
#                           so that a program pulls in only the libraries it
#                           links (a Keel user gets neither libcurl nor Qt)
#   libvantor-common        the libraries' localized texts, which every
#                           version of the libraries shares
#   libvantor-dev           headers, link names, CMake and pkg-config files
#   libvantor-qt-dev        the same for the Qt user interface, which alone
#                           needs qt6-base-dev
#   vantor-tools            the command-line tools, with their manual pages
#   vantor-launcher         the login-item launcher
# Every package carries the copyright file and the changelog made from
# CHANGELOG.md; binaries are stripped and no debug-symbol package is made.
if(NOT VANTOR_INSTALL OR NOT BUILD_SHARED_LIBS)
  return()
endif()

set(VANTOR_MAINTAINER "Vantor developers <developers@vantor.example>")
set(VANTOR_RELEASE_DATE "")  # from CHANGELOG.md, for the changelog's trailer

# One entry per package: component, Debian name, section, description (a
# synopsis line, then the extended text).
set(_vantor_packages "")
macro(_vantor_package component name section description)
  list(APPEND _vantor_packages ${component})
  string(TOUPPER "${component}" _up)
  set(CPACK_DEBIAN_${_up}_PACKAGE_NAME "${name}")
  set(CPACK_DEBIAN_${_up}_PACKAGE_SECTION "${section}")
  # Written indented below for reading; CPack indents the control field itself.
  string(REGEX REPLACE "\n " "\n" _description "${description}")
  set(CPACK_DEBIAN_${_up}_DESCRIPTION "${_description}")
  set(_vantor_package_name_${component} "${name}")
endmacro()

# The shared libraries' runtime packages, and what each needs of the others.
set(_vantor_descriptions_KeelCore "Vantor general-services library: core
 Keel's core holds the main run loop, task queues and thread-confined
 containers, gzip and deflate coding of byte buffers, polyline
 simplification, date, time and number texts, newest-file selection,
 application bundles and the reading of XML and binary property lists.")
set(_vantor_descriptions_KeelCoding "Vantor general-services library: coding
 Keel's coding layer encodes and decodes values as JSON and property lists,
 keeps untyped coding values, compares version numbers, reads the machine's
 hardware facts and offers a multicast delegate.")
set(_vantor_descriptions_KeelServices "Vantor general-services library: services
 Keel's services send small HTTP requests, watch network reachability and
 folders, keep user defaults in property-list files, ask for reviews, write
 byte counts and speeds as text, and post in-process and desktop
 notifications.")
set(_vantor_descriptions_Plinth "Vantor desktop-services library
 Plinth lists running and installed applications, posts and observes
 system-wide notifications over the D-Bus session bus, runs an application's
 main loop, keeps folder permissions, and knows Apple's mobile devices by
 model identifier.")
set(_vantor_descriptions_PlinthQt "Vantor desktop-services library: Qt user interface
 Plinth's user interface on Qt 6: status items with their menus and host
 views, confirmation alerts, folder pickers, and the light or dark
 appearance.")

get_property(_vantor_exported GLOBAL PROPERTY VANTOR_EXPORTED_TARGETS)
set(_vantor_runtime "")
set(_vantor_qt_runtime "")
foreach(_target IN LISTS _vantor_exported)
  get_target_property(_type ${_target} TYPE)
  if(NOT _type STREQUAL "SHARED_LIBRARY")
    continue()
  endif()
  get_target_property(_export ${_target} EXPORT_NAME)
  _vantor_dashed(${_export} _component)
  string(REPLACE "_" "-" _name "lib${_component}${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
  string(APPEND _vantor_descriptions_${_export} "\n\n This package holds the shared library.")
  _vantor_package(${_component} ${_name} libs "${_vantor_descriptions_${_export}}")
  string(TOUPPER "${_component}" _up)
  # The other libraries it links; the rest dpkg-shlibdeps finds.
  set(_needs "")
  get_target_property(_privateLinks ${_target} LINK_LIBRARIES)
  get_target_property(_interfaceLinks ${_target} INTERFACE_LINK_LIBRARIES)
  foreach(_link IN LISTS _privateLinks _interfaceLinks)
    if(_link IN_LIST _vantor_exported)
      get_target_property(_linkExport ${_link} EXPORT_NAME)
      _vantor_dashed(${_linkExport} _linkComponent)
      list(APPEND _needs ${_linkComponent})
    endif()
  endforeach()
  # Resource bundles are looked up at run time by Keel's core and by Plinth.
  if(_export STREQUAL "KeelCore" OR _export STREQUAL "Plinth")
    list(APPEND _needs common)
  endif()
  list(REMOVE_DUPLICATES _needs)
  set(CPACK_COMPONENT_${_up}_DEPENDS ${_needs})
  # The loader's cache is refreshed once per dpkg run, by trigger.
  set(CPACK_DEBIAN_${_up}_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/debian/runtime.lintian-overrides"
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${_name} COMPONENT ${_component})
  if(_export MATCHES "Qt$")
    list(APPEND _vantor_qt_runtime ${_component})
  else()
    list(APPEND _vantor_runtime ${_component})
  endif()
endforeach()

_vantor_package(common libvantor-common libs "localized texts of the Vantor libraries
 The resource bundles Keel_Keel.bundle and Plinth_Plinth.bundle: button
 titles and other texts of the Vantor libraries' user interface, in each
 language they are translated to.")
set(CPACK_DEBIAN_COMMON_PACKAGE_ARCHITECTURE all)

_vantor_package(development libvantor-dev libdevel "Vantor Keel and Plinth libraries: development files
 Headers, link names, pkg-config modules (vantor-keel-core,
 vantor-keel-coding, vantor-keel-services, vantor-keel, vantor-plinth) and
 the CMake package Vantor (targets Vantor::KeelCore, Vantor::KeelCoding,
 Vantor::KeelServices, Vantor::Keel and Vantor::Plinth) for programs that
 use Keel's general services and Plinth's desktop services. The libraries
 require C++20 of their users.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS ${_vantor_runtime})

if(_vantor_qt_runtime)
  _vantor_package(qt-development libvantor-qt-dev libdevel "Vantor Plinth Qt user interface: development files
 Headers, link name, the pkg-config module vantor-plinth-qt and the CMake
 target Vantor::PlinthQt (find_package(Vantor COMPONENTS PlinthQt)) for
 programs that show Plinth's status items, alerts and folder pickers
 through Qt 6.")
  set(CPACK_COMPONENT_QT-DEVELOPMENT_DEPENDS development ${_vantor_qt_runtime})
  # Its headers include Qt's.
  set(CPACK_DEBIAN_QT-DEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev")
endif()

_vantor_package(tools vantor-tools utils "command-line tools of the Vantor libraries
 vantor-decode prints and converts JSON and property lists, vantor-facts
 the machine's hardware facts, vantor-inventory the installed and running
 applications, vantor-devices Apple's mobile devices by model and those
 attached; vantor-notify posts and observes system-wide notifications, and
 vantor-login-item places the Vantor launcher in an application bundle and
 makes it, or not, a login item.")
set(CPACK_COMPONENT_TOOLS_DEPENDS ${_vantor_runtime})
# vantor-login-item install copies the launcher from its package;
# vantor-devices --connected asks the usbmuxd daemon for the attached devices
# (libimobiledevice itself, which it links, dpkg-shlibdeps finds).
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "vantor-launcher, usbmuxd")

_vantor_package(launcher vantor-launcher x11 "login item that opens a main application once per session
 The Vantor launcher starts at login, opens the main application of the
 bundle it sits in unless that application already runs, and quits when
 the main application posts the system-wide notification \"killme\" over
 the D-Bus session bus. vantor-login-item (in vantor-tools) places it in an
 application bundle and writes the XDG autostart entry that starts it.")
set(CPACK_COMPONENT_LAUNCHER_DEPENDS ${_vantor_runtime})

# Each package's copyright file and changelog.
set(_vantor_doc_sources "")
foreach(_component IN LISTS _vantor_packages)
  set(_name "${_vantor_package_name_${_component}}")
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/debian/copyright" "${PROJECT_BINARY_DIR}/debian/changelog.gz"
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${_name} COMPONENT ${_component})
endforeach()
find_package(Python3 REQUIRED COMPONENTS Interpreter)
add_custom_command(OUTPUT "${PROJECT_BINARY_DIR}/debian/changelog.gz"
  COMMAND ${CMAKE_COMMAND} -E make_directory "${PROJECT_BINARY_DIR}/debian"
  COMMAND Python3::Interpreter "${PROJECT_SOURCE_DIR}/scripts/debian-changelog.py"
    --source vantor --maintainer "${VANTOR_MAINTAINER}" --version ${PROJECT_VERSION}
    "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_BINARY_DIR}/debian/changelog.gz"
  DEPENDS "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/scripts/debian-changelog.py"
  COMMENT "Writing the Debian changelog from CHANGELOG.md" VERBATIM)
add_custom_target(vantor_debian_changelog ALL DEPENDS "${PROJECT_BINARY_DIR}/debian/changelog.gz")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vantor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${VANTOR_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SOURCE vantor)
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${_vantor_packages})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_STRIP_FILES ON)
# Run-time dependencies of every binary, as dpkg-shlibdeps finds them; our
# own libraries (in the build tree, not yet in any package) are the
# component dependencies above.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/Keel" "${PROJECT_BINARY_DIR}/Plinth")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
include(CPack)
