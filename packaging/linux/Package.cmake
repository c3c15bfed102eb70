# The Debian package; scripts/package makes and checks it.
if(VANTOREL_DEBIAN)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date -u -R -d ${VANTOREL_RELEASE_DATE}
    OUTPUT_VARIABLE VANTOREL_RELEASE_DATE_RFC OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  configure_file(linux/changelog.Debian.in changelog.Debian @ONLY)
  add_custom_command(OUTPUT changelog.Debian.gz changelog.gz
    COMMAND gzip -9 -n -c changelog.Debian > changelog.Debian.gz
    COMMAND gzip -9 -n -c ${CMAKE_SOURCE_DIR}/CHANGELOG.md > changelog.gz
    DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian ${CMAKE_SOURCE_DIR}/CHANGELOG.md
    VERBATIM)
  add_custom_target(vantorel-changelog ALL DEPENDS changelog.Debian.gz changelog.gz)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz linux/copyright
    COMPONENT programs DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(FILES linux/lintian-overrides COMPONENT programs RENAME vantorel
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vantorel)
set(CPACK_PACKAGE_VENDOR "The Vantorel authors")
set(CPACK_PACKAGE_CONTACT "The Vantorel authors <${VANTOREL_supportAddress}>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A tool of its own where it was built; else the distribution's, which then is one that recovers.
if(NOT EXISTS ${VANTOREL_SQLITE_TOOL})
  set(CPACK_DEBIAN_PACKAGE_DEPENDS sqlite3)
endif()
# Without them the windows do not open, or not on every desktop; a machine without a display needs neither.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-qpa-plugins, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "udisks2, libfsapfs-utils, libimage-exiftool-perl")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "sees and saves what is in a photo library, also a damaged one")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Vantorel shows what is in a Photos library (a \".photoslibrary\" package of
macOS), also one that Photos no longer opens, and saves it: the original files
in folders named after the albums, a sidecar with caption, keywords, People,
dates and place beside each, and a report of every item. It only reads the
library.
.
It finds libraries on connected disks and in Time Machine backups, reads
damaged databases and the change journals beside them, is patient with sick
disks, checks every saved file, and continues an export that stopped.
.
This package holds the windows (vantorel-app), the command line (vantorel) and
a writer of sample libraries for trying things out (vantorel-sample).")
include(CPack)
