# The Debian packages that `cpack` makes: a runtime package for each of the two libraries, one for
# development and one with the documentation. The debug information of a library has a package of
# its own.

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
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
# This makes the file by which programs that link the library depend on its package.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_COMPONENTS_ALL Runtime RuntimeExt Development Documentation)

set(longText "It gives a program one start and one stop, a log with levels, channels
and outlets, I/O devices that preserve their first error, a stream of binary
values over them, values of any type, configuration files and tables.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqzsystem3.0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${longText}
.
This package contains the shared object.")

set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_NAME libqzsystemext3.0)
set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_DEPENDS
    "libqzsystem3.0 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_SHLIBDEPS ON)
# The first library, on which the second one depends, is not installed when the packages are made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})
set(CPACK_DEBIAN_RUNTIMEEXT_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_RUNTIMEEXT_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers)
set(CPACK_DEBIAN_RUNTIMEEXT_DESCRIPTION "${longText}
.
This package contains the shared object of the second library, which adds
child processes and more.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqzsystem-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libqzsystem3.0 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), libqzsystemext3.0 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${longText}
.
This package contains the files that programs are built with.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME libqzsystem-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_DESCRIPTION "${longText}
.
This package contains the guides and the reference.")

include(CPack)
