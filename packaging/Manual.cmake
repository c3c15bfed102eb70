# The manual pages, with version and date filled in, compressed without a time stamp.
set(_pages vantorel vantorel-sample)
if(VANTOREL_WINDOWS)
  list(APPEND _pages vantorel-app)
endif()
foreach(_page IN LISTS _pages)
  configure_file(${CMAKE_SOURCE_DIR}/docs/man/${_page}.1.in ${_page}.1 @ONLY)
  add_custom_command(OUTPUT ${_page}.1.gz
    COMMAND gzip -9 -n -c ${_page}.1 > ${_page}.1.gz
    DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${_page}.1
    VERBATIM)
  list(APPEND _compressed ${CMAKE_CURRENT_BINARY_DIR}/${_page}.1.gz)
endforeach()
add_custom_target(vantorel-manual ALL DEPENDS ${_compressed})
install(FILES ${_compressed} COMPONENT programs DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
