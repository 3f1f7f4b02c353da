# Debian packages, one a component: cpack --preset package, or ./dev package.
set(VEL_PACKAGE_MAINTAINER "vel_device_trust developers <developers@vel-device-trust.example>"
    CACHE STRING "Maintainer of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vel-device-trust)
set(CPACK_PACKAGE_VENDOR vel_device_trust)
set(CPACK_PACKAGE_CONTACT "${VEL_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
configure_file(cmake/debian/PackageSettings.cmake.in
    ${PROJECT_BINARY_DIR}/cmake/PackageSettings.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/cmake/PackageSettings.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VEL_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SOURCE vel-device-trust)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(VEL_PACKAGE_VERSION "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(VEL_LIBRARY_PACKAGE libvel-device-trust${PROJECT_VERSION_MAJOR})

set(VEL_PACKAGE_TEXT
"vel_device_trust answers a JSON request that lists posture checks (firewall,
disk encryption, version, domain, processes, certificates) with a JSON result
that says, per check and in total, whether the machine passed.")

# Helper programs belong to the library, which runs them. What it loads only where it is there:
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${VEL_LIBRARY_PACKAGE})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libudev1, libsystemd0")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS nftables)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS "p11-kit-modules, realmd")
# Debian asks for the trigger; the scripts that call ldconfig too are CPack's, which cannot be told
# to leave them out.
configure_file(cmake/debian/shlibs.in ${PROJECT_BINARY_DIR}/debian/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/debian/triggers ${PROJECT_BINARY_DIR}/debian/shlibs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Device-posture library
${VEL_PACKAGE_TEXT}

This package contains the shared library and the helper programs that it runs.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvel-device-trust-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${VEL_LIBRARY_PACKAGE} ${VEL_PACKAGE_VERSION}, nlohmann-json3-dev (>= 3.11)")
if(VEL_STATIC_LIBRARY)
    string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
        ", libexpat1-dev, libssl-dev, libutf8proc-dev")
endif()
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Device-posture library (development files)
${VEL_PACKAGE_TEXT}

This package contains the headers for C and C++, and the files for CMake and
pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vel-posture)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${VEL_LIBRARY_PACKAGE} ${VEL_PACKAGE_VERSION}")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Device-posture checks on the command line
${VEL_PACKAGE_TEXT}

This package contains the program vel-posture, its manual page and completions
for bash, zsh and fish.")

# What Debian asks of a package's documentation.
if(VEL_DEBIAN_LAYOUT)
    set(epoch "$ENV{SOURCE_DATE_EPOCH}")
    set(ENV{SOURCE_DATE_EPOCH} ${VEL_SOURCE_DATE})
    string(TIMESTAMP VEL_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
    if(epoch STREQUAL "")
        unset(ENV{SOURCE_DATE_EPOCH})
    endif()
    configure_file(cmake/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog.Debian @ONLY)
    execute_process(COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/debian/changelog.Debian
        COMMAND_ERROR_IS_FATAL ANY)
    foreach(component LIBRARY DEVELOPMENT TOOLS)
        string(TOLOWER ${component} name)
        install(FILES cmake/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}
            COMPONENT ${name})
    endforeach()
endif()

include(CPack)
