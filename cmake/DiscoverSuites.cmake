# Registers every suite of a test program with ctest as one test, run in a process of its own: a
# process for each test would take longer to start than most tests take.
#
#   vel_discover_suites(program [property value]...)
#
# When the program is built, this file is run as a script, which asks the program for its suites and
# writes the file that ctest reads.
if(CMAKE_SCRIPT_MODE_FILE)
    execute_process(COMMAND ${PROGRAM} --gtest_list_tests
        OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
    # A suite counts as skipped if all its tests are.
    set(skipped "PASSED  . 0 tests\\.\n(\\[  SKIPPED \\][^\n]*\n*)+$")
    # "Suite.", perhaps with a comment behind it, then its tests, indented.
    string(REGEX REPLACE "\n  DISABLED_[^\n]*" "" listing "${listing}")
    string(REGEX MATCHALL "(^|\n)[^ \n]+\\.( [^\n]*)?\n  " suites "${listing}")
    foreach(suite IN LISTS suites)
        string(REGEX REPLACE "^\n|\\.( [^\n]*)?\n  $" "" suite "${suite}")
        string(APPEND tests "add_test([[${suite}]] [[${PROGRAM}]] [[--gtest_filter=${suite}.*]])\n"
            "set_tests_properties([[${suite}]] PROPERTIES ${PROPERTIES}\n"
            "    SKIP_REGULAR_EXPRESSION [==[${skipped}]==])\n")
    endforeach()
    file(WRITE ${FILE} "${tests}")
    return()
endif()

function(vel_discover_suites program)
    list(TRANSFORM ARGN REPLACE "(.+)" "[==[\\1]==]")
    list(JOIN ARGN " " properties)
    set(file ${CMAKE_CURRENT_BINARY_DIR}/${program}Suites.cmake)
    add_custom_command(TARGET ${program} POST_BUILD VERBATIM BYPRODUCTS ${file}
        COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${program}> -DFILE=${file}
                "-DPROPERTIES=${properties}" -P ${CMAKE_CURRENT_FUNCTION_LIST_FILE})
    file(CONFIGURE OUTPUT ${file}.in CONTENT [[
if(EXISTS "@file@")
    include("@file@")
else()
    add_test(@program@.NotBuilt @program@)
endif()
]] @ONLY)
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${file}.in)
endfunction()
