# vel_device_trust_described, for the tests of hosts: all of the library and described Macs. A test
# links it instead of the library. If a process has both, all calls go to the one that was loaded
# first.
add_library(vel_device_trust_described SHARED)
add_library(vel_device_trust::vel_device_trust_described ALIAS vel_device_trust_described)
target_link_libraries(vel_device_trust_described PRIVATE vel_described_objects vel_objects)
vel_offer_headers(vel_device_trust_described)
target_include_directories(vel_device_trust_described INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(vel_device_trust_described PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LIBRARY_OUTPUT_DIRECTORY ${VEL_OUTPUT_DIRECTORY}/lib)
if(APPLE)
    target_link_options(vel_device_trust_described PRIVATE -Wl,-dead_strip)
    set_target_properties(vel_device_trust_described PROPERTIES INSTALL_NAME_DIR "@rpath")
else()
    target_link_options(vel_device_trust_described PRIVATE -Wl,-z,nodelete)
endif()
if(NOT VEL_SANITIZERS)
    if(NOT APPLE)
        target_link_options(vel_device_trust_described PRIVATE -Wl,--no-undefined)
    endif()
    vel_export_names(vel_device_trust_described exported-names.txt exported-described-names.txt)
endif()

if(NOT PROJECT_IS_TOP_LEVEL)
    # Built if the tests of the project around this one link it, and not installed.
    set_target_properties(vel_described_objects vel_device_trust_described PROPERTIES
        EXCLUDE_FROM_ALL ON)
    return()
endif()

install(TARGETS vel_device_trust_described EXPORT vel_device_trustTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/vel_device_trust_described DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development)
if(NOT APPLE)
    configure_file(cmake/vel_device_trust_described.pc.in
        ${PROJECT_BINARY_DIR}/cmake/vel_device_trust_described.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/cmake/vel_device_trust_described.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()
