# SPDX-License-Identifier: Apache-2.0
# Compiles SOURCE twice with COMPILER: as it is, which must succeed; and with VEL_REFUSED_CALLS,
# where each line that follows a "refused:" comment, and no other, must be an error.

set(ENV{LC_ALL} C)
set(compile ${COMPILER} -std=c++20 -fsyntax-only -DJSON_USE_IMPLICIT_CONVERSIONS=0
    -I${ROOT} -I${ROOT}/include ${SOURCE})

execute_process(COMMAND ${compile} RESULT_VARIABLE status ERROR_VARIABLE diagnostics)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "does not compile:\n${diagnostics}")
endif()

if(COMPILER MATCHES "clang")
    list(APPEND compile -ferror-limit=0)
endif()
execute_process(COMMAND ${compile} -DVEL_REFUSED_CALLS ERROR_VARIABLE diagnostics)
get_filename_component(name ${SOURCE} NAME)
string(REPLACE ";" "," diagnostics "${diagnostics}")
# g++ names the call as the place whose evaluation failed, clang as the error's own.
string(REGEX MATCHALL "${name}:[0-9]+:[0-9]+: +(error|in 'constexpr' expansion)" errors
       "${diagnostics}")
string(REGEX REPLACE ":[0-9]+: +(error|in 'constexpr' expansion)" "" errors "${errors}")
list(REMOVE_DUPLICATES errors)
list(SORT errors)

file(READ ${SOURCE} text)
string(REGEX REPLACE "[;\\[]|\\]" "," text "${text}")
string(REPLACE "\n" ";" lines "${text}")
set(number 0)
set(expected "")
set(is_refused FALSE)
foreach(line IN LISTS lines)
    math(EXPR number "${number} + 1")
    if(is_refused)
        list(APPEND expected "${name}:${number}")
    endif()
    set(is_refused FALSE)
    if(line MATCHES "^ *// refused:")
        set(is_refused TRUE)
    endif()
endforeach()
list(SORT expected)

if(expected STREQUAL "")
    message(FATAL_ERROR "${name} names no call to refuse")
endif()
if(NOT errors STREQUAL expected)
    message(FATAL_ERROR
        "refused: ${errors}\nto be refused: ${expected}\n${diagnostics}")
endif()
list(LENGTH expected count)
message(STATUS "${count} calls refused")
