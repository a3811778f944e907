# SPDX-License-Identifier: MIT
# The version and commit of this build: the header BuildIdentity.h of the build folder.

set(QZ_REVISION 1297)
set(QZ_RELEASE_YEAR 2026)
set(QZ_RELEASE_MONTH 2)

set(QZ_COMMIT_ID "" CACHE STRING
    "Commit of the sources, 16 hexadecimal digits; if empty, git provides it, or it is zero")
mark_as_advanced(QZ_COMMIT_ID)

# Sets `result` to the commit of the sources. A later commit makes the build configure anew.
function(qz_find_commit_id result)
    set(${result} 0000000000000000 PARENT_SCOPE)
    find_program(QZ_GIT git)
    mark_as_advanced(QZ_GIT)
    # Without its own repository git would return the commit of a project around this one.
    if(NOT QZ_GIT OR NOT EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/.git)
        return()
    endif()
    execute_process(COMMAND ${QZ_GIT} rev-parse HEAD
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
        OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(commit MATCHES "^[0-9a-f]+$")
        string(SUBSTRING ${commit} 0 16 commit)
        set(${result} ${commit} PARENT_SCOPE)
    endif()
    execute_process(COMMAND ${QZ_GIT} rev-parse --git-path logs/HEAD
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
        OUTPUT_VARIABLE log OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    cmake_path(ABSOLUTE_PATH log BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    if(EXISTS ${log})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${log})
    endif()
endfunction()

set(commitId ${QZ_COMMIT_ID})
if(NOT commitId)
    qz_find_commit_id(commitId)
endif()
if(NOT commitId MATCHES "^[0-9a-f]+$" OR NOT commitId MATCHES "^................$")
    message(FATAL_ERROR "QZ_COMMIT_ID does not have 16 hexadecimal digits: ${commitId}")
endif()

set(QZ_GENERATED_INCLUDE_DIR ${CMAKE_CURRENT_BINARY_DIR}/generated)
configure_file(cmake/BuildIdentity.h.in ${QZ_GENERATED_INCLUDE_DIR}/BuildIdentity.h @ONLY)
