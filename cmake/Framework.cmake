# On the Mac the shared library is the framework vel_device_trust.
file(GLOB VEL_PUBLIC_HEADERS CONFIGURE_DEPENDS include/vel_device_trust/*.h)
set(VEL_FRAMEWORK_MODULE_MAP ${PROJECT_BINARY_DIR}/framework/module.modulemap)
configure_file(cmake/framework.modulemap ${VEL_FRAMEWORK_MODULE_MAP} COPYONLY)
target_sources(vel_device_trust PRIVATE ${VEL_PUBLIC_HEADERS} ${VEL_FRAMEWORK_MODULE_MAP})
set_source_files_properties(${VEL_FRAMEWORK_MODULE_MAP} PROPERTIES MACOSX_PACKAGE_LOCATION Modules)
set_target_properties(vel_device_trust PROPERTIES
    FRAMEWORK TRUE
    FRAMEWORK_VERSION A
    MACHO_COMPATIBILITY_VERSION ${PROJECT_VERSION_MAJOR}.0.0
    MACHO_CURRENT_VERSION ${PROJECT_VERSION}
    PUBLIC_HEADER "${VEL_PUBLIC_HEADERS}"
    MACOSX_FRAMEWORK_INFO_PLIST ${PROJECT_SOURCE_DIR}/cmake/Info.plist.in
    # A host says where its frameworks are: its run path is searched.
    BUILD_WITH_INSTALL_NAME_DIR TRUE
    INSTALL_NAME_DIR "@rpath")
target_link_options(vel_device_trust PRIVATE -Wl,-dead_strip)
# CMake makes the other links of a bundle itself.
add_custom_command(TARGET vel_device_trust POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E create_symlink Versions/Current/Modules
            $<TARGET_BUNDLE_DIR:vel_device_trust>/Modules VERBATIM)
