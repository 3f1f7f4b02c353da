# Each layer has to link only with those below it. These libraries verify that; nothing
# uses them. Shared is linked without Mac, and without the file that chooses the host's platform.
set(VEL_FLOOR_Base "/vel_objects\\.dir/(\\./)?(Base|cmake)/")
set(VEL_FLOOR_Platform "/vel_objects\\.dir/(\\./)?(Base|cmake|Platform)/")
set(VEL_FLOOR_Shared "/vel_objects\\.dir/(\\./)?(Base/|cmake/|Classes/Shared/|Platform/VEL)")
set(VEL_FLOOR_Mac "/vel_objects\\.dir/(\\./)?(Base|cmake|Platform|Classes)/")
file(WRITE ${PROJECT_BINARY_DIR}/floors/empty.cpp "")
foreach(floor IN ITEMS Base Platform Shared Mac)
    set(objects $<FILTER:$<TARGET_OBJECTS:vel_objects>,INCLUDE,${VEL_FLOOR_${floor}}>)
    if(floor STREQUAL "Shared")
        set(objects $<FILTER:${objects},EXCLUDE,/VELPlatform\\.cpp>)
    endif()
    add_library(floor_${floor} SHARED ${PROJECT_BINARY_DIR}/floors/empty.cpp)
    target_link_libraries(floor_${floor} PRIVATE ${objects} ${VEL_LIBRARY_DEPENDENCIES})
    target_link_options(floor_${floor} PRIVATE -Wl,--no-undefined)
    set_target_properties(floor_${floor} PROPERTIES
        LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/floors)
    add_dependencies(floor_${floor} vel_objects)
endforeach()

# Recording only needs the platform interface.
add_library(floor_Recording SHARED ${PROJECT_BINARY_DIR}/floors/empty.cpp)
target_link_libraries(floor_Recording PRIVATE
    $<FILTER:$<TARGET_OBJECTS:vel_described_objects>,INCLUDE,/Platform/Recording/>
    $<FILTER:$<TARGET_OBJECTS:vel_objects>,INCLUDE,${VEL_FLOOR_Base}>
    ${VEL_LIBRARY_DEPENDENCIES})
target_link_options(floor_Recording PRIVATE -Wl,--no-undefined)
set_target_properties(floor_Recording PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/floors)
add_dependencies(floor_Recording vel_objects vel_described_objects)
