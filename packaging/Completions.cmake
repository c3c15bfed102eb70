# Completions of the shells, in the folders in which each looks for those of installed programs. Debian's zsh has a folder
# for packages of its own.
set(VANTOREL_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Folder of zsh's completions")
foreach(_program vantorel vantorel-sample)
  install(FILES completions/${_program}.bash COMPONENT programs RENAME ${_program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES completions/_${_program} COMPONENT programs DESTINATION ${VANTOREL_ZSH_COMPLETIONS})
  install(FILES completions/${_program}.fish COMPONENT programs
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endforeach()
