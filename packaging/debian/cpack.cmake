# Settings that differ between the kinds of package. CPack reads this file once for each kind.
if(CPACK_GENERATOR STREQUAL "DEB")
  list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 build)
  set(CPACK_INSTALL_CMAKE_PROJECTS
    "${build};${CPACK_PACKAGE_NAME};Unspecified;/;${build};${CPACK_PACKAGE_NAME};Debian;/")
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/compress.cmake)
  unset(ENV{QUINTORA_PREFIX})
else()
  set(ENV{QUINTORA_PREFIX} /usr/local)  # where docs/apache.md has an archive unpacked
endif()
