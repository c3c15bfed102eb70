# The files of a Linux desktop, and the SQLite tool where it was built.

# Where the program looks for it: core/database/SalvagerTool_linux.cpp.
set(VANTOREL_SQLITE_TOOL ${CMAKE_SOURCE_DIR}/build/tools/vantorel-sqlite3)
install(PROGRAMS ${VANTOREL_SQLITE_TOOL} COMPONENT programs DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/vantorel OPTIONAL)

install(FILES ${CMAKE_SOURCE_DIR}/docs/guide.md ${CMAKE_SOURCE_DIR}/app/resources/acknowledgements.txt
  COMPONENT programs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs/pictures COMPONENT programs DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL
  FILES_MATCHING PATTERN "*.png")

if(VANTOREL_WINDOWS)
  install(FILES linux/${VANTOREL_ID}.desktop COMPONENT programs DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  configure_file(linux/${VANTOREL_ID}.metainfo.xml.in ${VANTOREL_ID}.metainfo.xml @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${VANTOREL_ID}.metainfo.xml COMPONENT programs
    DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

  set(_icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
  install(FILES ${VANTOREL_ICON} COMPONENT programs RENAME ${VANTOREL_ID}.svg DESTINATION ${_icons}/scalable/apps)
  if(RSVG_CONVERT)
    foreach(_size 16 24 32 48 64 128 256)
      add_custom_command(OUTPUT icon-${_size}.png
        COMMAND ${RSVG_CONVERT} -w ${_size} -h ${_size} -o icon-${_size}.png ${VANTOREL_ICON}
        DEPENDS ${VANTOREL_ICON} VERBATIM)
      list(APPEND _drawn ${CMAKE_CURRENT_BINARY_DIR}/icon-${_size}.png)
      install(FILES ${CMAKE_CURRENT_BINARY_DIR}/icon-${_size}.png COMPONENT programs RENAME ${VANTOREL_ID}.png
        DESTINATION ${_icons}/${_size}x${_size}/apps)
    endforeach()
    add_custom_target(vantorel-icons ALL DEPENDS ${_drawn})
  else()
    message(STATUS "rsvg-convert is missing, so the icon is installed as a drawing alone (Debian: librsvg2-bin).")
  endif()
endif()
