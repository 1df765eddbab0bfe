# SPDX-License-Identifier: Apache-2.0
# The project is many small sources that need the same large headers and templates. Several of a
# target's sources are therefore given to the compiler at once: a test's source then takes 1.5 s
# instead of 2.7 s, with precompiled headers in both cases. (CMake's unity builds write absolute
# paths, which no compiler cache recognises in another clone.)
#
# The price: names in unnamed namespaces differ within a target. Where two are equal the compiler
# reports a redefinition; rename one. Compiled alone are sources with options of their own, and the
# tests' copies of library sources, which `./dev mutate` compiles again and again.

set(ZAFO_BATCH 8 CACHE STRING "How many sources of a program or test are compiled at once")
set(ZAFO_BATCH_LIBRARIES 1 CACHE STRING "How many sources of a library are compiled at once")
define_property(TARGET PROPERTY ZAFO_BATCH INITIALIZE_FROM_VARIABLE ZAFO_BATCH)

# Puts batches in place of the target's sources.
function(zafo_batch target)
    foreach(property IN ITEMS ZAFO_BATCH SOURCE_DIR BINARY_DIR SOURCES)
        get_target_property(${property} ${target} ${property})
    endforeach()
    set(files)
    set(batched)
    foreach(source IN LISTS SOURCES)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${SOURCE_DIR} OUTPUT_VARIABLE path)
        get_source_file_property(options ${path} TARGET_DIRECTORY ${target} COMPILE_OPTIONS)
        if(source MATCHES "^[^$]+[.]cpp$" AND NOT source MATCHES "^${PROJECT_SOURCE_DIR}/src/" AND NOT options)
            cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${BINARY_DIR})
            list(APPEND batched ${path})
        else()
            list(APPEND files ${source})
        endif()
    endforeach()
    if(ZAFO_BATCH EQUAL 1 OR NOT batched)
        return()
    endif()
    list(TRANSFORM batched REPLACE ".+" "#include \"\\0\"\n")
    list(LENGTH batched count)
    math(EXPR last "${count} - 1")
    foreach(first RANGE 0 ${last} ${ZAFO_BATCH})
        list(SUBLIST batched ${first} ${ZAFO_BATCH} batch)
        list(JOIN batch "" text)
        file(CONFIGURE OUTPUT ${BINARY_DIR}/${target}_${first}.cpp CONTENT "${text}" @ONLY)
        list(APPEND files ${BINARY_DIR}/${target}_${first}.cpp)
    endforeach()
    set_target_properties(${target} PROPERTIES SOURCES "${files}")
endfunction()

function(zafo_batch_folder folder)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        zafo_batch(${target})
    endforeach()
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(below IN LISTS folders)
        zafo_batch_folder(${below})
    endforeach()
endfunction()
