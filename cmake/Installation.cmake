# What is installed, in three components: library (with the helper programs, which it runs),
# development, tools. Everything is found from where it lies: an installation can be moved.
include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
# Folders are never open to others, whatever the umask: helper programs in one that is are not run.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(VEL_CMAKE_DIRECTORY ${CMAKE_INSTALL_LIBDIR}/cmake/vel_device_trust)

install(TARGETS vel_device_trust EXPORT vel_device_trustTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
            NAMELINK_COMPONENT development
    FRAMEWORK DESTINATION Frameworks COMPONENT library)
install(TARGETS vel-posture RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
if(NOT APPLE)
    # The framework of a Mac brings its headers, and is found without pkg-config.
    install(DIRECTORY include/vel_device_trust DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)
    install(FILES ${PROJECT_BINARY_DIR}/cmake/vel_device_trust.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

install(DIRECTORY Documentation/schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/vel_device_trust
    COMPONENT tools FILES_MATCHING PATTERN "*.schema.json")

install(EXPORT vel_device_trustTargets NAMESPACE vel_device_trust::
    DESTINATION ${VEL_CMAKE_DIRECTORY} COMPONENT development)
if(VEL_STATIC_LIBRARY)
    install(TARGETS vel_device_trust_static EXPORT vel_device_trustStaticTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
    install(EXPORT vel_device_trustStaticTargets NAMESPACE vel_device_trust::
        DESTINATION ${VEL_CMAKE_DIRECTORY} COMPONENT development)
endif()
configure_package_config_file(cmake/vel_device_trustConfig.cmake.in
    ${PROJECT_BINARY_DIR}/cmake/vel_device_trustConfig.cmake
    INSTALL_DESTINATION ${VEL_CMAKE_DIRECTORY} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/vel_device_trustConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/vel_device_trustConfig.cmake
              ${PROJECT_BINARY_DIR}/cmake/vel_device_trustConfigVersion.cmake
    DESTINATION ${VEL_CMAKE_DIRECTORY} COMPONENT development)

# A package is not moved, and pkg-config leaves out the system's own folders only by their plain name.
file(RELATIVE_PATH VEL_PKGCONFIG_PREFIX
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "^(.*[^/])/?$" "\${pcfiledir}/\\1" VEL_PKGCONFIG_PREFIX ${VEL_PKGCONFIG_PREFIX})
if(VEL_DEBIAN_LAYOUT)
    set(VEL_PKGCONFIG_PREFIX ${CMAKE_INSTALL_PREFIX})
endif()
foreach(folder LIBDIR INCLUDEDIR)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_${folder}
        BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE VEL_PKGCONFIG_${folder})
endforeach()
set(VEL_PKGCONFIG_PRIVATE "")
if(VEL_STATIC_LIBRARY)
    set(VEL_PKGCONFIG_PRIVATE
        "Requires.private: expat, libcrypto >= 3, libutf8proc\nLibs.private: -lstdc++ -lm -ldl -pthread\n")
endif()
configure_file(cmake/vel_device_trust.pc.in ${PROJECT_BINARY_DIR}/cmake/vel_device_trust.pc @ONLY)

set(VEL_DOC_DIRECTORY ${CMAKE_INSTALL_DATADIR}/doc)
if(VEL_DEBIAN_LAYOUT)
    set(VEL_NOTICES_DIRECTORY ${VEL_DOC_DIRECTORY}/libvel-device-trust${PROJECT_VERSION_MAJOR})
    set(VEL_TOOLS_PAGES_DIRECTORY ${VEL_DOC_DIRECTORY}/vel-posture)
    set(VEL_DEVELOPMENT_PAGES_DIRECTORY ${VEL_DOC_DIRECTORY}/libvel-device-trust-dev)
    set(VEL_NOTICES THIRD-PARTY-NOTICES)
else()
    set(VEL_NOTICES_DIRECTORY ${VEL_DOC_DIRECTORY}/vel_device_trust)
    set(VEL_TOOLS_PAGES_DIRECTORY ${VEL_NOTICES_DIRECTORY})
    set(VEL_DEVELOPMENT_PAGES_DIRECTORY ${VEL_NOTICES_DIRECTORY})
    set(VEL_NOTICES LICENSE THIRD-PARTY-NOTICES)
endif()
install(FILES ${VEL_NOTICES} DESTINATION ${VEL_NOTICES_DIRECTORY} COMPONENT library)
install(FILES Documentation/requests.md Documentation/checks.md Documentation/errors.md
              Documentation/why.md Documentation/running.md Documentation/rolling-out.md
              Documentation/trying-a-policy.md Documentation/linux-sources.md
              Documentation/linux-volumes.md Documentation/certificate-forms.md
              Documentation/threat-model.md
    DESTINATION ${VEL_TOOLS_PAGES_DIRECTORY} COMPONENT tools)
install(FILES Documentation/host-developer.md Documentation/mac.md
    DESTINATION ${VEL_DEVELOPMENT_PAGES_DIRECTORY} COMPONENT development)
