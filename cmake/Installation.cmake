# What is installed, in five components: library (with the helper programs, which it runs),
# development, tools, python, documentation. Paths are relative: an installation can be moved.
include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
# With any umask, only the owner can write to folders: else the library runs no helper in them.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(VEL_CMAKE_DIRECTORY ${CMAKE_INSTALL_LIBDIR}/cmake/vel_device_trust)

if(NOT PROJECT_IS_TOP_LEVEL)
    # A project that embeds this one installs what its programs need when they run.
    install(TARGETS vel_device_trust
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_SKIP
        FRAMEWORK DESTINATION Frameworks COMPONENT library)
    install(FILES LICENSE THIRD-PARTY-NOTICES
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vel-device-trust COMPONENT library)
    return()
endif()

install(TARGETS vel_device_trust EXPORT vel_device_trustTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
            NAMELINK_COMPONENT development
    FRAMEWORK DESTINATION Frameworks COMPONENT library)
if(VEL_BUILD_PROGRAM)
    install(TARGETS vel-posture RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    include(cmake/Documents.cmake)
endif()
if(NOT APPLE)
    # The framework of a Mac contains its headers, and is found without pkg-config.
    install(DIRECTORY include/vel_device_trust DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)
    install(FILES ${PROJECT_BINARY_DIR}/cmake/vel_device_trust.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

set(VEL_PYTHON_DIRECTORY ${CMAKE_INSTALL_DATADIR}/vel_device_trust/python)
if(VEL_DEBIAN_LAYOUT)
    set(VEL_PYTHON_DIRECTORY lib/python3/dist-packages)
endif()
install(DIRECTORY Python/vel_device_trust DESTINATION ${VEL_PYTHON_DIRECTORY}
    COMPONENT python PATTERN __pycache__ EXCLUDE)

install(DIRECTORY Documentation/schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/vel_device_trust
    COMPONENT tools FILES_MATCHING PATTERN "*.schema.json")

install(EXPORT vel_device_trustTargets NAMESPACE vel_device_trust::
    DESTINATION ${VEL_CMAKE_DIRECTORY} COMPONENT development)
if(VEL_STATIC_LIBRARY)
    install(TARGETS vel_device_trust_static EXPORT vel_device_trustStaticTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
    if(VEL_DEBIAN_LAYOUT)
        set(archive ${CMAKE_INSTALL_LIBDIR}/libvel_device_trust.a)
        install(CODE "execute_process(COMMAND ${CMAKE_STRIP} --strip-debug
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${archive}\" COMMAND_ERROR_IS_FATAL ANY)"
            COMPONENT development)
    endif()
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

# Packages are not moved; their prefix is absolute: pkg-config leaves out the system's own folders
# only if they are written that way.
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

# Pages and examples are arranged as in the source tree, so that links between them resolve.
set(VEL_PAGES_DIRECTORY ${CMAKE_INSTALL_DATADIR}/doc/vel-device-trust)
set(VEL_NOTICES_DIRECTORY ${VEL_PAGES_DIRECTORY})
set(VEL_NOTICES LICENSE THIRD-PARTY-NOTICES)
if(VEL_DEBIAN_LAYOUT)
    set(VEL_NOTICES_DIRECTORY
        ${CMAKE_INSTALL_DATADIR}/doc/libvel-device-trust${PROJECT_VERSION_MAJOR})
    set(VEL_NOTICES THIRD-PARTY-NOTICES)
endif()
install(FILES ${VEL_NOTICES} DESTINATION ${VEL_NOTICES_DIRECTORY} COMPONENT library)
install(FILES CHANGELOG.md SECURITY.md DESTINATION ${VEL_PAGES_DIRECTORY} COMPONENT documentation)
set(files OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
install(DIRECTORY Documentation DESTINATION ${VEL_PAGES_DIRECTORY} COMPONENT documentation
    FILE_PERMISSIONS ${files}
    FILES_MATCHING PATTERN "*.md" PATTERN "*.schema.json" PATTERN manual EXCLUDE)
install(DIRECTORY Examples DESTINATION ${VEL_PAGES_DIRECTORY} COMPONENT documentation
    FILE_PERMISSIONS ${files}
    PATTERN update-results EXCLUDE
    PATTERN __pycache__ EXCLUDE
    REGEX "/(make-certificates|host(_test)?\\.py|fleet\\.py|vel-posture-report|json-object|result-element)$"
        PERMISSIONS ${files} OWNER_EXECUTE GROUP_EXECUTE WORLD_EXECUTE)
