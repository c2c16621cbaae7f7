# Man pages and the changelog, compressed as Debian asks for; -n leaves the time of the build out.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/man/*)
file(GLOB changelog ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/doc/quintora-cgi/changelog)
execute_process(COMMAND gzip -9n ${pages} ${changelog} COMMAND_ERROR_IS_FATAL ANY)
