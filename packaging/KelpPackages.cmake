# Debian packages by `cpack`, one for each component of the installation:
#
#     cmake --preset debian && cmake --build build-debian --target package
#
# The preset has Debian's prefix, and so its multiarch directories. packaging/debian/changelog gives
# revision, date and maintainer; packaging/debian/stage.cmake prepares the trees of files.

set(debian ${PROJECT_SOURCE_DIR}/packaging/debian)
set(soname_package libkelp${PROJECT_VERSION_MAJOR})
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET kelp_tool)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PRE_BUILD_SCRIPTS ${debian}/stage.cmake)
set(CPACK_PACKAGE_CONTACT "The libkelp authors")  # stage.cmake has the address
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")         # each package has its own

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_DEBIAN_PACKAGE_SOURCE libkelp)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)  # of the same version

# Multi-Arch rides along with the section: this CPack has no variable for it.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${soname_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION "libs\nMulti-Arch: same")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"variable-rate narrow-band speech codec - shared library
libkelp codes 20 ms of speech (8000 Hz, mono, 16 bit) as one packet of 4
to 35 bytes and back, at the variable rate of TIA/EIA IS-733, in integer
arithmetic that gives the same bits on every processor. It starts no
threads, opens no files and needs nothing but the C library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkelp-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION "libdevel\nMulti-Arch: same")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"variable-rate narrow-band speech codec - development files
libkelp codes 20 ms of speech (8000 Hz, mono, 16 bit) as one packet of 4
to 35 bytes and back, at the variable rate of TIA/EIA IS-733.

This package holds the header, the static library, and what CMake and
pkg-config need to find them.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kelp-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION "sound\nMulti-Arch: foreign")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"variable-rate narrow-band speech codec - command-line tool
kelp encodes recordings with libkelp, a codec of 8000 Hz speech at the
variable rate of TIA/EIA IS-733, decodes its streams, and tells what is
in them.")

# The trigger leaves ldconfig to dpkg. CPack would call it from maintainer scripts if it looked into
# the shared library itself, so stage.cmake is what runs dpkg-shlibdeps.
set(control ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(CONFIGURE OUTPUT ${control}/shlibs
  CONTENT "libkelp ${PROJECT_VERSION_MAJOR} ${soname_package} (>= ${PROJECT_VERSION})\n")
file(CONFIGURE OUTPUT ${control}/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/triggers)

include(CPack)
