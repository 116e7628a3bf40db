# Run by cpack when the files of every package are in their trees: strips, compresses, adds what
# Debian wants in every package, and sets the fields that are known only now. Two runs on the same
# build give the same packages, byte for byte.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

set(here ${CMAKE_CURRENT_LIST_DIR})

# run(OUTPUT COMMAND ARGUMENT...)
function(run output)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY}
    OUTPUT_VARIABLE text OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${output} ${text} PARENT_SCOPE)
endfunction()

foreach(field Version Maintainer Timestamp)
  run(changelog_${field} dpkg-parsechangelog -l ${here}/changelog -S ${field})
endforeach()
if(NOT changelog_Version MATCHES "^${CPACK_PACKAGE_VERSION}-([^-]+)$")
  message(FATAL_ERROR "packaging/debian/changelog is for version ${changelog_Version}, "
    "this build is of ${CPACK_PACKAGE_VERSION}: add an entry")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${changelog_Maintainer})
set(ENV{SOURCE_DATE_EPOCH} ${changelog_Timestamp})

# What dpkg-shlibdeps wants to see: a source package's control file, a DEBIAN folder in the tree of a
# package, and where our own library is.
file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/debian/control "")
file(GLOB_RECURSE library ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/runtime/*.so.${CPACK_PACKAGE_VERSION})
get_filename_component(library_dir ${library} DIRECTORY)
list(GET CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA 0 shlibs)

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} COMPONENT)
  set(tree ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component})
  set(doc ${tree}/usr/share/doc/${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME})
  file(COPY ${here}/copyright ${here}/changelog ${here}/../../CHANGELOG.md DESTINATION ${doc})
  file(RENAME ${doc}/changelog ${doc}/changelog.Debian)
  file(RENAME ${doc}/CHANGELOG.md ${doc}/changelog)
  file(GLOB compressible ${doc}/changelog* ${tree}/usr/share/man/man*/*)
  run(_ gzip -9n ${compressible})

  file(GLOB_RECURSE binaries ${tree}/usr/bin/* ${tree}/usr/lib/*.so.${CPACK_PACKAGE_VERSION})
  file(GLOB_RECURSE archives ${tree}/usr/lib/*.a)
  if(binaries)
    run(_ strip --strip-unneeded --remove-section=.comment --remove-section=.note ${binaries})
    file(MAKE_DIRECTORY ${tree}/DEBIAN)
    run(depends dpkg-shlibdeps -O -l${library_dir} -L${shlibs} ${binaries})
    string(REGEX REPLACE "^.*Depends=" "" CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS ${depends})
    file(REMOVE_RECURSE ${tree}/DEBIAN)
  endif()
  if(archives)
    run(_ strip --strip-debug --remove-section=.comment --remove-section=.note
      --enable-deterministic-archives ${archives})
  endif()
  run(_ chmod -R u=rwX,go=rX ${tree})  # whatever the umask
endforeach()

# Where the prefix is the system's own, compilers need no option to find header and library, and
# pkg-config gives none if it sees the prefix as such.
file(GLOB_RECURSE pc ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/development/*/kelp.pc)
run(_ sed -i "s,^prefix=.*,prefix=/usr," ${pc})
