# SPDX-License-Identifier: MIT
# The target qzSystemDocs makes the reference pages of the public headers with the guides. It fails
# on a public declaration without a comment.

find_program(QZ_DOXYGEN doxygen)
mark_as_advanced(QZ_DOXYGEN)
if(QZ_DOXYGEN)
    set(doxygenOutput ${CMAKE_CURRENT_BINARY_DIR})
    configure_file(docs/Doxyfile.in Doxyfile @ONLY)
    add_custom_target(qzSystemDocs
        COMMAND ${QZ_DOXYGEN} ${CMAKE_CURRENT_BINARY_DIR}/Doxyfile
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
        COMMENT "Making the pages in ${CMAKE_CURRENT_BINARY_DIR}/html"
        VERBATIM)
endif()
