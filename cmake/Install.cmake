# What is installed where, and the packages that CPack builds from it (script/package).

include(GNUInstallDirs)
set(CGI_DIR lib/cgi-bin CACHE STRING "Where the bridge is installed, below the prefix")
if("$CACHE{CMAKE_INSTALL_DOCDIR}" STREQUAL "")
  set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/quintora-cgi)
endif()

install(TARGETS Quintora.cgi RUNTIME DESTINATION ${CGI_DIR})
install(TARGETS quintora-doctor RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# install_text(FILE DIRECTORY [COMPONENT...]): installs a text that names installed files, with their
# places below the prefix that is in effect then.
configure_file(cmake/NamePrefix.cmake.in NamePrefix.cmake @ONLY)
function(install_text file directory)
  cmake_path(GET file FILENAME name)
  install(FILES ${file} DESTINATION ${directory} ${ARGN})
  install(CODE "set(installed_text \"${directory}/${name}\")" ${ARGN})
  install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/NamePrefix.cmake ${ARGN})
endfunction()
foreach(section 1 5 8)
  file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.${section})
  foreach(page ${pages})
    install_text(${page} ${CMAKE_INSTALL_MANDIR}/man${section})
  endforeach()
endforeach()
# A Debian package has Apache's rules where a2enconf looks; elsewhere they are an example.
set(apache_rules packaging/apache/quintora-cgi.conf)
install_text(${apache_rules} ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT Elsewhere)
install_text(${apache_rules} /etc/apache2/conf-available COMPONENT Debian EXCLUDE_FROM_ALL)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
  FILES_MATCHING PATTERN *.md PATTERN *.png PATTERN man EXCLUDE)
# For authors of servers: the example server, with the files that it needs beside it, and the first
# servers of docs/server.md.
install(PROGRAMS examples/quintora_server.py DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(FILES examples/apple_events.py examples/pages.py examples/answer.html examples/form.html
  examples/style.css DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(DIRECTORY examples/servers DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(FILES packaging/com.quintora.QuintoraServer.conf
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

if(PORTABLE)  # it has the licences of the libraries that are linked into these programs
  install(FILES packaging/debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()
install(FILES packaging/debian/changelog
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Debian EXCLUDE_FROM_ALL)
install(FILES packaging/debian/lintian-overrides RENAME quintora-cgi
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
  COMPONENT Debian EXCLUDE_FROM_ALL)

set(CPACK_PACKAGE_NAME quintora-cgi)
set(CPACK_PACKAGE_VENDOR "the authors of Quintora.cgi")
set(CPACK_PACKAGE_CONTACT "Maintainers of Quintora.cgi <maintainers@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "CGI program that hands web requests to a Quintora Server")
set(CPACK_PACKAGE_DESCRIPTION "\
A web server starts Quintora.cgi once for each request. It forwards the
request to a Quintora Server on the same machine, waits for the answer
and prints it.
.
Several copies of the program reach several servers by their file names.
A snippet for Apache comes with the package.")
set(CPACK_PACKAGE_FILE_NAME
  quintora-cgi-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/debian/cpack.cmake)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION web)
if(PORTABLE)  # static programs depend on no other package
  set(debian_name_of_x86_64 amd64)
  set(debian_name_of_aarch64 arm64)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${debian_name_of_${CMAKE_SYSTEM_PROCESSOR}})
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "apache2 | httpd-cgi")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/debian/conffiles
  ${PROJECT_SOURCE_DIR}/packaging/debian/postinst
  ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
