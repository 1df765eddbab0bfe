# SPDX-License-Identifier: Apache-2.0
# The sanitizers' build takes the tests' objects from the release build, which `./dev` makes first.
# The sanitizers watch the product and not its tests, so both builds compile the tests' own sources in
# the same way: doing that once more would take minutes of the half hour that `./dev test` has, and
# show nothing new. A test of which the other build lacks an object is compiled here.
set(ZAFO_TEST_OBJECTS "" CACHE PATH "The build whose objects of the tests are linked, if any")
if(NOT ZAFO_TEST_OBJECTS)
    return()
endif()

# Included when all batches are known: objects are named after them.
get_property(targets GLOBAL PROPERTY ZAFO_BORROWERS)
foreach(target IN LISTS targets)
    get_target_property(sources ${target} SOURCES)
    get_target_property(binary_dir ${target} BINARY_DIR)
    file(RELATIVE_PATH folder ${CMAKE_BINARY_DIR} ${binary_dir})
    set(objects)
    set(missing OFF)
    foreach(source IN LISTS sources)
        # CMake names an object after its source: "__" stands for "..".
        string(REPLACE ${binary_dir}/ "" name ${source})
        string(REPLACE ${PROJECT_SOURCE_DIR}/ __/__/ name ${name})
        list(APPEND objects ${ZAFO_TEST_OBJECTS}/${folder}/CMakeFiles/${target}.dir/${name}.o)
        if(NOT EXISTS ${ZAFO_TEST_OBJECTS}/${folder}/CMakeFiles/${target}.dir/${name}.o)
            set(missing ON)
        endif()
    endforeach()
    if(NOT missing)
        set_target_properties(${target} PROPERTIES SOURCES "${objects}" LINKER_LANGUAGE CXX)
    endif()
endforeach()
