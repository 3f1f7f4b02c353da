# How everything of this project is compiled: link vel_settings.
add_library(vel_settings INTERFACE)
target_compile_features(vel_settings INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

target_compile_options(vel_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wformat=2
    # In sources compiled as one, a variable may have the name of another source's function.
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>
    # No path of the build machine in what is built, and "Classes/..." as the file of a log line.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # With -O3 g++ 12 sees overlaps in "text" + std::string that are not there (GCC bug 105651).
    target_compile_options(vel_settings INTERFACE -Wno-restrict)
    if(VEL_PRECOMPILE_HEADERS)
        # In a precompiled header it does not recognize system headers, for which it would not warn.
        target_compile_options(vel_settings INTERFACE -Wno-stringop-overflow -Wno-array-bounds)
    endif()
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND VEL_PRECOMPILE_HEADERS)
    # 1 GB for each compiler before it looks for memory to free, which took a tenth of its time.
    target_compile_options(vel_settings INTERFACE --param=ggc-min-heapsize=1000000)
endif()
if(APPLE)
    # A call that the oldest macOS does not have stops the build.
    target_compile_options(vel_settings INTERFACE -Werror=unguarded-availability)
endif()
target_compile_definitions(vel_settings INTERFACE JSON_USE_IMPLICIT_CONVERSIONS=0)
if(VEL_WARNINGS_AS_ERRORS)
    target_compile_options(vel_settings INTERFACE -Werror)
endif()

if(VEL_SANITIZERS)
    target_compile_options(vel_settings INTERFACE
        -fsanitize=${VEL_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vel_settings INTERFACE -fsanitize=${VEL_SANITIZERS})
endif()

if(VEL_BUILD_FUZZERS)
    # Coverage counters in all code but that of targets with this property; the fuzzers alone link
    # libFuzzer's main.
    target_compile_options(vel_settings INTERFACE
        $<$<NOT:$<BOOL:$<TARGET_PROPERTY:VEL_WITHOUT_COVERAGE>>>:-fsanitize=fuzzer-no-link>)
    target_link_options(vel_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Compiles the headers once, for all sources of the target and of those that share them. It hides
# includes that are missing, so the library's packages are built without.
function(vel_precompile_headers target)
    if(VEL_PRECOMPILE_HEADERS)
        target_precompile_headers(${target} PRIVATE ${ARGN})
    endif()
endfunction()

# Lets a target use the headers that `owner` has compiled: with the same options, and with no macro
# that the target does not define, too.
function(vel_share_precompiled_headers target owner)
    if(VEL_PRECOMPILE_HEADERS)
        target_precompile_headers(${target} REUSE_FROM ${owner})
        target_compile_options(${target} PRIVATE -fPIC) # a program's own would be -fPIE
    endif()
endfunction()

# With VEL_COMPILE_BY_FOLDER, compiles the target's sources of each folder as one: g++ spends most of
# its time on headers. What a source keeps to itself needs a name that is unique in the folder.
function(vel_compile_by_folder target)
    if(NOT VEL_COMPILE_BY_FOLDER)
        return()
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        cmake_path(GET source PARENT_PATH folder)
        cmake_path(ABSOLUTE_PATH folder)
        cmake_path(RELATIVE_PATH folder BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
        string(MAKE_C_IDENTIFIER "${folder}" group)
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
    endforeach()
endfunction()
