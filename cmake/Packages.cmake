# Debian packages, one per component: cpack --preset package, or ./dev package.
set(VEL_PACKAGE_MAINTAINER "vel_device_trust developers <developers@vel-device-trust.example>"
    CACHE STRING "Maintainer of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vel-device-trust)
set(CPACK_PACKAGE_VENDOR vel_device_trust)
set(CPACK_PACKAGE_CONTACT "${VEL_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL library development tools python documentation)
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
# Debug symbols go into separate packages, NAME-dbgsym.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(VEL_PACKAGE_VERSION "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(VEL_LIBRARY_PACKAGE libvel-device-trust${PROJECT_VERSION_MAJOR})

set(VEL_PACKAGE_TEXT
"vel_device_trust answers a JSON request that lists posture checks (firewall,
disk encryption, version, domain, processes, certificates) with a JSON result
that says, per check and in total, whether the machine passed.")

# Helper programs belong to the library, which runs them. libudev and libsystemd are loaded at run
# time, so that no tool finds these dependencies.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${VEL_LIBRARY_PACKAGE})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libudev1, libsystemd0")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS nftables)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS "p11-kit-modules, realmd")
# Debian requires the trigger. CPack also adds scripts that call ldconfig and has no option to leave
# them out.
configure_file(cmake/debian/shlibs.in ${PROJECT_BINARY_DIR}/debian/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/debian/triggers ${PROJECT_BINARY_DIR}/debian/shlibs
    ${PROJECT_BINARY_DIR}/debian/symbols)
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
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS vel-device-trust-doc)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Device-posture library (development files)
${VEL_PACKAGE_TEXT}

This package contains the headers for C and C++, and the files for CMake and
pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vel-posture)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${VEL_LIBRARY_PACKAGE} ${VEL_PACKAGE_VERSION}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS vel-device-trust-doc)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Device-posture checks on the command line
${VEL_PACKAGE_TEXT}

This package contains the program vel-posture, its manual page and completions
for bash, zsh and fish.")

# Python's byte code is made and removed by the scripts, as Debian does.
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vel-device-trust)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_DEBUGINFO_PACKAGE OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "${VEL_LIBRARY_PACKAGE} (>= ${PROJECT_VERSION}), python3:any (>= 3.9)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/debian/python/postinst
    ${PROJECT_SOURCE_DIR}/cmake/debian/python/prerm)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Device-posture library (Python module)
${VEL_PACKAGE_TEXT}

This package contains the Python module vel_device_trust.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME vel-device-trust-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DOCUMENTATION_DEBUGINFO_PACKAGE OFF)
set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION "Device-posture library (pages and examples)
${VEL_PACKAGE_TEXT}

This package contains the pages for administrators and developers, schemas and
examples: requests, hosts, recipes for rolling out.")

# The version that a package which links the library depends on, symbol by symbol.
if(VEL_DEBIAN_LAYOUT)
    set(VEL_SYMBOLS ${PROJECT_SOURCE_DIR}/cmake/debian/symbols)
    set(command dpkg-gensymbols -p${VEL_LIBRARY_PACKAGE} -v${PROJECT_VERSION} -c4
        -I${VEL_SYMBOLS} -O${PROJECT_BINARY_DIR}/debian/symbols
        -e$<TARGET_FILE_DIR:vel_device_trust>/$<TARGET_SONAME_FILE_NAME:vel_device_trust>)
    add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/debian/symbols
        COMMAND ${command} DEPENDS vel_device_trust ${VEL_SYMBOLS} VERBATIM)
    add_custom_target(vel_symbols ALL DEPENDS ${PROJECT_BINARY_DIR}/debian/symbols)
endif()

# The files that Debian requires in a package's documentation.
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
    foreach(component LIBRARY DEVELOPMENT TOOLS PYTHON DOCUMENTATION)
        string(TOLOWER ${component} name)
        install(FILES cmake/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}
            COMPONENT ${name})
    endforeach()
endif()

include(CPack)
