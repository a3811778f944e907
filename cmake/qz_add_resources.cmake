# SPDX-License-Identifier: MIT
# qz_add_resources(TARGET PREFIX FILE...): embeds files into a program or a shared library, as
# resources of the names PREFIX/FILE, or FILE for an empty prefix. FILE is relative to the source
# folder of the caller, and so is its name.
#
# Each start of the library registers the resources. A module that is loaded later registers them at
# once, and removes them when it is unloaded. See qz/qzResources.h.

function(qz_add_resources target prefix)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL STATIC_LIBRARY)
        # A linker takes no object from an archive that nothing refers to.
        message(FATAL_ERROR "qz_add_resources: ${target} is a static library; add the resources to "
            "the program that it goes into")
    endif()
    if(NOT ARGN)
        message(FATAL_ERROR "qz_add_resources: no files for ${target}")
    endif()

    set(paths)
    set(names)
    foreach(file IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} NORMALIZE
            OUTPUT_VARIABLE path)
        cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
            OUTPUT_VARIABLE name)
        if(NOT prefix STREQUAL "")
            string(PREPEND name "${prefix}/")
        endif()
        list(APPEND paths ${path})
        list(APPEND names ${name})
    endforeach()

    string(SHA256 id "${target} ${names}")
    string(SUBSTRING ${id} 0 16 id)
    set(script ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/qz_write_resources.cmake)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/qz_resources_${id}.cpp)
    add_custom_command(
        OUTPUT ${source}
        COMMAND ${CMAKE_COMMAND} -DOUTPUT=${source} -DID=${id} "-DPATHS=${paths}" "-DNAMES=${names}"
            -P ${script}
        DEPENDS ${paths} ${script}
        COMMENT "Embedding resources into ${target}"
        VERBATIM)
    target_sources(${target} PRIVATE ${source})
    target_link_libraries(${target} PRIVATE qzSystem::qzSystem)
endfunction()
