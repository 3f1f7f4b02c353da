# Every source file of the library and the program, found by folder: a new file needs no line here.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set(VEL_PLATFORM_FOLDER Linux)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
    set(VEL_PLATFORM_FOLDER Apple)
else()
    message(FATAL_ERROR "No platform folder answers for ${CMAKE_SYSTEM_NAME}.")
endif()

# The library, and what records and describes machines for the program, the tests, and the tests of
# hosts.
file(GLOB VEL_LIBRARY_SOURCES CONFIGURE_DEPENDS
    Base/*.cpp Classes/Shared/*.cpp Classes/Mac/*.cpp Platform/*.cpp Platform/POSIX/*.cpp
    Platform/${VEL_PLATFORM_FOLDER}/*.cpp)
file(GLOB VEL_DESCRIBED_SOURCES CONFIGURE_DEPENDS
    Classes/Described/*.cpp Platform/Recording/*.cpp Platform/Simulated/*.cpp)

# A Mac has certificates, trust and a work queue of its own.
file(GLOB VEL_X509_SOURCES CONFIGURE_DEPENDS Platform/X509/*.cpp)
if(APPLE)
    list(FILTER VEL_LIBRARY_SOURCES EXCLUDE REGEX "/VELPOSIXWorkQueue\\.cpp$")
    list(APPEND VEL_DESCRIBED_SOURCES ${VEL_X509_SOURCES})
else()
    list(APPEND VEL_LIBRARY_SOURCES ${VEL_X509_SOURCES})
endif()

file(GLOB_RECURSE VEL_PROGRAM_SOURCES CONFIGURE_DEPENDS Tools/vel-posture/*.cpp)
list(FILTER VEL_PROGRAM_SOURCES EXCLUDE REGEX "/main\\.cpp$")
