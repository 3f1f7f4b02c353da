# The manual page and the shells' completions, made from the option table of vel-posture.
file(GLOB VEL_DOCUMENTS_SOURCES CONFIGURE_DEPENDS Tools/documents/*.cpp)
list(FILTER VEL_DOCUMENTS_SOURCES EXCLUDE REGEX "/main\\.cpp$")
add_library(vel_documents_objects OBJECT ${VEL_DOCUMENTS_SOURCES})
target_link_libraries(vel_documents_objects PUBLIC vel_settings PRIVATE CLI11::CLI11)
target_include_directories(vel_documents_objects
    PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)

add_executable(vel-posture-documents Tools/documents/main.cpp)
target_link_libraries(vel-posture-documents
    PRIVATE vel_documents_objects vel_program_objects vel_objects CLI11::CLI11)

set(VEL_DOCUMENTS_DIRECTORY ${PROJECT_BINARY_DIR}/documents)
file(MAKE_DIRECTORY ${VEL_DOCUMENTS_DIRECTORY})
set(VEL_DOCUMENTS)
foreach(extension 1 bash zsh fish)
    list(APPEND VEL_DOCUMENTS ${VEL_DOCUMENTS_DIRECTORY}/vel-posture.${extension})
endforeach()
add_custom_command(OUTPUT ${VEL_DOCUMENTS}
    COMMAND vel-posture-documents
            ${PROJECT_SOURCE_DIR}/Tools/documents/vel-posture.1.in ${VEL_SOURCE_DATE}
            ${VEL_DOCUMENTS_DIRECTORY}
    DEPENDS ${PROJECT_SOURCE_DIR}/Tools/documents/vel-posture.1.in VERBATIM)
set(VEL_MANUAL_PAGE ${VEL_DOCUMENTS_DIRECTORY}/vel-posture.1)
set(VEL_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
if(VEL_DEBIAN_LAYOUT)
    set(VEL_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
    add_custom_command(OUTPUT ${VEL_MANUAL_PAGE}.gz COMMAND gzip -9nkf ${VEL_MANUAL_PAGE}
        DEPENDS ${VEL_MANUAL_PAGE} VERBATIM)
    string(APPEND VEL_MANUAL_PAGE .gz)
endif()
add_custom_target(vel_documents ALL DEPENDS ${VEL_DOCUMENTS} ${VEL_MANUAL_PAGE})

install(FILES ${VEL_MANUAL_PAGE}
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES ${VEL_DOCUMENTS_DIRECTORY}/vel-posture.bash RENAME vel-posture
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
install(FILES ${VEL_DOCUMENTS_DIRECTORY}/vel-posture.zsh RENAME _vel-posture
    DESTINATION ${VEL_ZSH_COMPLETIONS} COMPONENT tools)
install(FILES ${VEL_DOCUMENTS_DIRECTORY}/vel-posture.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tools)
