# The manual page and the shells' completions.
set(VEL_MANUAL_PAGE ${PROJECT_SOURCE_DIR}/Documentation/manual/vel-posture.1)
set(VEL_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
if(VEL_DEBIAN_LAYOUT)
    set(VEL_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
    set(compressed ${PROJECT_BINARY_DIR}/vel-posture.1.gz)
    add_custom_command(OUTPUT ${compressed}
        COMMAND gzip -9nc ${VEL_MANUAL_PAGE} > ${compressed} DEPENDS ${VEL_MANUAL_PAGE} VERBATIM)
    add_custom_target(vel_manual_page ALL DEPENDS ${compressed})
    set(VEL_MANUAL_PAGE ${compressed})
endif()
install(FILES ${VEL_MANUAL_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES Tools/completions/vel-posture.bash RENAME vel-posture
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
install(FILES Tools/completions/_vel-posture DESTINATION ${VEL_ZSH_COMPLETIONS} COMPONENT tools)
install(FILES Tools/completions/vel-posture.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tools)
