# SPDX-License-Identifier: Apache-2.0
# Programs and tests are many small sources that need the same large headers and templates: the
# compiler is given several at once. (CMake's own unity builds, which the libraries use where it is
# said so, write absolute paths: no compiler cache knows them again in another clone.)

set(ZAFO_BATCH 8 CACHE STRING "How many sources of a program or test are compiled at once; 1: each alone")

# zafo_batch(VARIABLE NAME [ALONE FILES…]): batches in place of the sources in VARIABLE, for the target
# NAME. Sources in one batch have no names in common in their unnamed namespaces; those that have, or
# that have options of their own, are compiled alone. So is what a preset chooses, and a test's copy of
# a source of the library.
function(zafo_batch variable name)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "ALONE")
    set(files ${arg_ALONE})
    set(left)
    foreach(source IN LISTS ${variable})
        if(source MATCHES "\\$<|^${PROJECT_SOURCE_DIR}/src/" OR ZAFO_BATCH EQUAL 1)
            list(APPEND files ${source})
        elseif(NOT source IN_LIST arg_ALONE)
            list(APPEND left ${source})
        endif()
    endforeach()
    list(REMOVE_DUPLICATES files)
    set(index 0)
    while(left)
        list(LENGTH left length)
        if(length EQUAL 1)
            list(APPEND files ${left})
            break()
        endif()
        list(SUBLIST left 0 ${ZAFO_BATCH} batch)
        list(REMOVE_ITEM left ${batch})
        set(text "// Made by CMake.\n")
        foreach(source IN LISTS batch)
            cmake_path(ABSOLUTE_PATH source)
            cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
            string(APPEND text "#include \"${source}\"\n")
        endforeach()
        set(file ${CMAKE_CURRENT_BINARY_DIR}/${name}_${index}.cpp)
        file(CONFIGURE OUTPUT ${file} CONTENT "${text}" @ONLY)
        list(APPEND files ${file})
        math(EXPR index "${index} + 1")
    endwhile()
    set(${variable} ${files} PARENT_SCOPE)
endfunction()
