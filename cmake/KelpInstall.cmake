# What `cmake --install` puts where. Components: runtime (the shared library), development (what
# programs are built with) and tools, which tools/kelp/ installs. The tree may be moved as a whole:
# its files find each other by their relative places.

install(TARGETS kelp EXPORT kelp
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS kelp_archive ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
target_link_libraries(kelp_static INTERFACE
  $<INSTALL_INTERFACE:$<INSTALL_PREFIX>/${CMAKE_INSTALL_LIBDIR}/libkelp.a>)
set_target_properties(kelp_static PROPERTIES EXPORT_NAME static)
install(TARGETS kelp_static EXPORT kelp INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/kelp.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kelp)
install(EXPORT kelp FILE kelp-targets.cmake NAMESPACE kelp::
  DESTINATION ${package_dir} COMPONENT development)
write_basic_package_version_file(kelp-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/kelp-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/kelp-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
string(REGEX REPLACE "[^/]+" ".." KELP_PREFIX_FROM_PC ${pkgconfig_dir})
configure_file(cmake/kelp.pc.in kelp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelp.pc
  DESTINATION ${pkgconfig_dir} COMPONENT development)
