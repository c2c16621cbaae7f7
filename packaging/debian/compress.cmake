# Compresses man pages and the changelog, as Debian requires; -n omits the time of the build.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/man/*)
file(GLOB changelog ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/doc/quintora-cgi/changelog)
execute_process(COMMAND gzip -9n ${pages} ${changelog} COMMAND_ERROR_IS_FATAL ANY)
