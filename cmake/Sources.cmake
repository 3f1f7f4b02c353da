# Every source file of the library and the program, found by folder: a new file needs no line here.
file(GLOB VEL_LIBRARY_SOURCES CONFIGURE_DEPENDS
    Base/*.cpp Classes/Shared/*.cpp Classes/Mac/*.cpp Platform/*.cpp Platform/Simulated/*.cpp
    Platform/X509/*.cpp)
file(GLOB_RECURSE VEL_PROGRAM_SOURCES CONFIGURE_DEPENDS Tools/vel-posture/*.cpp)
list(FILTER VEL_PROGRAM_SOURCES EXCLUDE REGEX "/main\\.cpp$")

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set(VEL_PLATFORM_FOLDER Linux)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
    set(VEL_PLATFORM_FOLDER Apple)
else()
    message(FATAL_ERROR "No platform folder answers for ${CMAKE_SYSTEM_NAME}.")
endif()
if(NOT IS_DIRECTORY ${PROJECT_SOURCE_DIR}/Platform/${VEL_PLATFORM_FOLDER})
    message(FATAL_ERROR
        "Platform/${VEL_PLATFORM_FOLDER}, which answers for ${CMAKE_SYSTEM_NAME}, is not there yet.")
endif()
file(GLOB VEL_PLATFORM_SOURCES CONFIGURE_DEPENDS
    Platform/${VEL_PLATFORM_FOLDER}/*.cpp Platform/POSIX/*.cpp)
list(APPEND VEL_LIBRARY_SOURCES ${VEL_PLATFORM_SOURCES})
