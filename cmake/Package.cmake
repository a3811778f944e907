# SPDX-License-Identifier: MIT
# The Debian packages that `cpack` makes: a runtime package for each of the two libraries, one for
# development, one with the documentation and one with the commands, if there are any. The debug
# information of a library has a package of its own.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libqzsystem)
set(CPACK_PACKAGE_CONTACT "The libqzSystem authors <libqzsystem@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "foundation library for Linux programs")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_CURRENT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The version of the packages is that of the last entry in their list of changes.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS packaging/debian/changelog)
file(STRINGS packaging/debian/changelog entry LIMIT_COUNT 1)
if(NOT entry MATCHES "\\(${PROJECT_VERSION}-([0-9]+)\\)")
    message(FATAL_ERROR "packaging/debian/changelog has no entry for version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})
set(packageVersion ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(CPACK_COMPONENTS_ALL ${components})

set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/RepackDebian.cmake)

set(longText "It gives a program one start and one stop, a log with levels, channels
and outlets, I/O devices that preserve their first error, a stream of binary
values over them, values of any type, configuration files and tables.")

# qz_add_control_files(COMPONENT LIBRARY PACKAGE): what makes the loader find the library, and programs
# that link it depend on its package: in the version that added the newest function that they call.
function(qz_add_control_files component library package)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/debian/${package})
    set(soVersion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    file(WRITE ${folder}/triggers "activate-noawait ldconfig\n")
    file(WRITE ${folder}/shlibs "lib${library} ${soVersion} ${package} (>= ${PROJECT_VERSION})\n")
    set(files ${folder}/triggers ${folder}/shlibs)
    find_program(QZ_GENSYMBOLS dpkg-gensymbols)
    mark_as_advanced(QZ_GENSYMBOLS)
    if(QZ_GENSYMBOLS AND CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        set(script ${CMAKE_CURRENT_SOURCE_DIR}/tools/make_symbols.sh)
        set(known ${CMAKE_CURRENT_SOURCE_DIR}/abi/${package}.symbols)
        add_custom_command(OUTPUT ${folder}/symbols
            COMMAND ${script} $<TARGET_FILE:${library}> ${package} ${PROJECT_VERSION} ${folder}/symbols
            DEPENDS ${library} ${script} ${known}
            COMMENT "Listing the symbols of ${package}"
            VERBATIM)
        add_custom_target(${library}Symbols ALL DEPENDS ${folder}/symbols)
        list(APPEND files ${folder}/symbols)
    endif()
    string(TOUPPER ${component} component)
    set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${files} PARENT_SCOPE)
endfunction()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqzsystem3.0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
qz_add_control_files(Runtime qzSystem libqzsystem3.0)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${longText}
.
This package contains the shared object.")

set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_NAME libqzsystemext3.0)
set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_DEPENDS "libqzsystem3.0 (= ${packageVersion})")
set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_SHLIBDEPS ON)
# The first library, on which the second one depends, is not installed when the packages are made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})
set(CPACK_DEBIAN_RUNTIMEEXT_DEBUGINFO_PACKAGE ON)
qz_add_control_files(RuntimeExt qzSystemExt libqzsystemext3.0)
set(CPACK_DEBIAN_RUNTIMEEXT_DESCRIPTION "${longText}
.
This package contains the shared object of the second library, which adds
child processes and more.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqzsystem-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libqzsystem3.0 (= ${packageVersion}), libqzsystemext3.0 (= ${packageVersion})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${longText}
.
This package contains the files that programs are built with.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME libqzsystem-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_DESCRIPTION "${longText}
.
This package contains the guides and the reference.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME libqzsystem-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libqzsystemext3.0 (= ${packageVersion})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "${longText}
.
This package contains commands for the logs and crash reports of programs.")

include(CPack)
