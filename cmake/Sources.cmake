# Every source file of the library and the program, found by folder: a new file needs no line here.
file(GLOB VEL_LIBRARY_SOURCES CONFIGURE_DEPENDS
    Base/*.cpp Classes/Shared/*.cpp Classes/Mac/*.cpp Platform/*.cpp Platform/Simulated/*.cpp
    Platform/X509/*.cpp)
file(GLOB VEL_PROGRAM_SOURCES CONFIGURE_DEPENDS Tools/vel-posture/*.cpp)
list(FILTER VEL_PROGRAM_SOURCES EXCLUDE REGEX "/main\\.cpp$")

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    file(GLOB VEL_PLATFORM_SOURCES CONFIGURE_DEPENDS Platform/Linux/*.cpp Platform/POSIX/*.cpp)
else()
    message(FATAL_ERROR "No platform folder answers for ${CMAKE_SYSTEM_NAME}.")
endif()
list(APPEND VEL_LIBRARY_SOURCES ${VEL_PLATFORM_SOURCES})
