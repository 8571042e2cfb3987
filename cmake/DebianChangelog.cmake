# Run by CPack while it stages the Debian package (CPACK_INSTALL_SCRIPTS): adds the package's changelog, compressed
# as Debian policy asks (-9, and -n so that the same text always makes the same bytes). CPack runs this with
# CMAKE_INSTALL_PREFIX still the project's (/usr/local), not the package's: the staging folder and the package's
# prefix come from CPack's own variables.
set(doc_dir "${CPACK_TEMPORARY_INSTALL_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX}/share/doc/tackpad")
file(MAKE_DIRECTORY "${doc_dir}")
execute_process(COMMAND gzip -9 -n -c "${CPACK_TACKPAD_CHANGELOG}"
  OUTPUT_FILE "${doc_dir}/changelog.gz"
  COMMAND_ERROR_IS_FATAL ANY)
