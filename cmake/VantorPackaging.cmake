# Debian packages with CPack (`make package`): libvantor-dev (headers,
# libraries, CMake and pkg-config files), vantor-tools (the command-line
# tools) and vantor-launcher (the login-item launcher).
if(NOT VANTOR_INSTALL)
  return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vantor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Vantor developers <vantor@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Desktop and general services libraries, tools and login-item launcher")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL development tools launcher)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
# Run-time library dependencies of the programs, as dpkg-shlibdeps finds them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvantor-dev)
# A static library's users link what it wraps: their -dev packages.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libglib2.0-dev, libgdk-pixbuf-2.0-dev, libicu-dev, libexpat1-dev, libcurl4-openssl-dev | libcurl-dev, zlib1g-dev, libdeflate-dev, libsimdjson-dev, pkg-config")
if(VANTOR_UI)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", qt6-base-dev")
endif()
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vantor-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_LAUNCHER_PACKAGE_NAME vantor-launcher)
set(CPACK_DEBIAN_LAUNCHER_PACKAGE_SECTION x11)
include(CPack)
