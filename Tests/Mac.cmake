# The tests on a Mac, in one program: what needs no service of Linux, over described Macs and POSIX.
# No Mac has built them yet.
find_package(GTest REQUIRED)
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
include(${PROJECT_SOURCE_DIR}/cmake/DiscoverSuites.cmake)

file(GLOB_RECURSE VEL_TEST_SOURCES CONFIGURE_DEPENDS
    Base/*.cpp Classes/*.cpp Platform/*.cpp Support/*.cpp Tools/*.cpp)
# The stand-ins for the system's services are for other systems.
list(FILTER VEL_TEST_SOURCES EXCLUDE REGEX "/Linux/|/Platform/Apple/")
foreach(source IN LISTS VEL_TEST_SOURCES)
    file(STRINGS ${source} foreign REGEX
        "(Platform|Helpers)/Linux/|ContractMachines|MadeTokens|ProcessResources|RegisteredModules|<unicode/")
    if(foreign)
        list(REMOVE_ITEM VEL_TEST_SOURCES ${source})
    endif()
endforeach()

add_executable(task-tool Programs/TaskTool.cpp)
target_compile_features(task-tool PRIVATE cxx_std_20)

add_executable(vel_tests ${VEL_TEST_SOURCES})
target_link_libraries(vel_tests PRIVATE
    vel_program_objects vel_described_objects vel_objects CLI11::CLI11 ${VEL_LIBCRYPTO}
    GTest::gmock GTest::gtest_main)
target_compile_definitions(vel_tests PRIVATE
    VEL_SOURCE_DIRECTORY="${PROJECT_SOURCE_DIR}"
    VEL_POSTURE_PROGRAM="$<TARGET_FILE:vel-posture>"
    VEL_TASK_TOOL="$<TARGET_FILE:task-tool>")
add_dependencies(vel_tests vel-posture task-tool)
vel_discover_suites(vel_tests)

add_executable(public-interface-host Programs/PublicInterfaceHost.cpp)
target_link_libraries(public-interface-host
    PRIVATE vel_device_trust vel_settings nlohmann_json::nlohmann_json)
add_test(NAME PublicInterface COMMAND public-interface-host)

if(NOT VEL_SANITIZERS)
    add_test(NAME ExportedSymbols
        COMMAND Python3::Interpreter -B
                ${CMAKE_CURRENT_SOURCE_DIR}/Installation/ExportedSymbolsTest.py ${CMAKE_NM}
                $<TARGET_FILE:vel_device_trust> ${PROJECT_SOURCE_DIR}/cmake/exported-symbols.txt)
endif()
