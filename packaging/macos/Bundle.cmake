# The application bundle. scripts/package puts the libraries into it, signs it and makes the disk image.
if(NOT VANTOREL_WINDOWS)
  return()
endif()

set(VANTOREL_UPDATE_KEY "" CACHE STRING
  "Public key of the update feed; without it, or without the framework, the program has no update items")
if(NOT CMAKE_OSX_DEPLOYMENT_TARGET)
  execute_process(COMMAND sw_vers -productVersion OUTPUT_VARIABLE _here OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(REGEX MATCH "^[0-9]+" _major "${_here}")
  set(VANTOREL_MINIMUM_SYSTEM ${_major}.0)
else()
  set(VANTOREL_MINIMUM_SYSTEM ${CMAKE_OSX_DEPLOYMENT_TARGET})
endif()
# Without a key an update could not be trusted, so then the feed is not named either.
set(VANTOREL_UPDATE_ENTRIES "")
if(VANTOREL_UPDATE_KEY)
  set(VANTOREL_UPDATE_ENTRIES "
  <key>SUFeedURL</key>
  <string>${VANTOREL_updateFeed}</string>
  <key>SUPublicEDKey</key>
  <string>${VANTOREL_UPDATE_KEY}</string>")
endif()
configure_file(macos/Info.plist.in Info.plist @ONLY)

set_target_properties(vantorel-app PROPERTIES
  MACOSX_BUNDLE ON
  OUTPUT_NAME Vantorel
  MACOSX_BUNDLE_INFO_PLIST ${CMAKE_CURRENT_BINARY_DIR}/Info.plist)

# The icon: every size is drawn from the one SVG.
set(_resources Vantorel.app/Contents/Resources)
if(RSVG_CONVERT)
  add_custom_command(OUTPUT Vantorel.icns
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/macos/make-icon ${RSVG_CONVERT} ${VANTOREL_ICON} Vantorel.icns
    DEPENDS ${VANTOREL_ICON} macos/make-icon VERBATIM)
  add_custom_target(vantorel-icons ALL DEPENDS Vantorel.icns)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/Vantorel.icns COMPONENT programs DESTINATION ${_resources})
else()
  message(STATUS "rsvg-convert is missing, so the bundle gets no icon (Homebrew: librsvg).")
endif()
install(FILES ${CMAKE_SOURCE_DIR}/app/resources/acknowledgements.txt ${CMAKE_SOURCE_DIR}/LICENSE COMPONENT programs
  DESTINATION ${_resources})
