# What is installed where, and the packages that CPack builds from it (script/package).

include(GNUInstallDirs)
set(CGI_DIR lib/cgi-bin CACHE STRING "Where the bridge is installed, below the prefix")
if("$CACHE{CMAKE_INSTALL_DOCDIR}" STREQUAL "")
  set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/quintora-cgi)
endif()

install(TARGETS Quintora.cgi RUNTIME DESTINATION ${CGI_DIR})
install(TARGETS quintora-doctor RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(section 1 5 8)
  file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.${section})
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
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

# Apache's rules name the installation directory, so they match the configured prefix. The Debian
# package installs them where a2enconf looks for them; elsewhere they are an example.
cmake_path(ABSOLUTE_PATH CGI_DIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}
  OUTPUT_VARIABLE CGI_FOLDER)
set(apache_rules ${CMAKE_CURRENT_BINARY_DIR}/quintora-cgi.conf)
configure_file(packaging/apache/quintora-cgi.conf.in ${apache_rules} @ONLY)
install(FILES ${apache_rules} DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT Elsewhere)
install(FILES ${apache_rules} DESTINATION /etc/apache2/conf-available
  COMPONENT Debian EXCLUDE_FROM_ALL)
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
  ${PROJECT_SOURCE_DIR}/packaging/debian/conffiles ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
