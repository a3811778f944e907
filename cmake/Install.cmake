# What `cmake --install` copies, in the components that become packages: Runtime, RuntimeExt,
# Development and Documentation.

include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/qzSystem)

install(TARGETS qzSystem qzSystem_asan_options EXPORT qzSystemTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(TARGETS qzSystemExt EXPORT qzSystemTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT RuntimeExt NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
# The second library finds the first one in its own folder: a program that calls the second one only
# may not name the first one, and the program's own search path doesn't apply to what a library needs.
# The system's folders are searched anyway, and Debian allows its packages no such path.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set_target_properties(qzSystemExt PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
install(FILES ${publicHeaders}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qz COMPONENT Development)
install(FILES ${extensionHeaders}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qz/ext COMPONENT Development)

# --- CMake package ---------------------------------------------------------------------------

install(EXPORT qzSystemTargets
    NAMESPACE qzSystem:: DESTINATION ${packageDir} COMPONENT Development)
configure_package_config_file(cmake/qzSystemConfig.cmake.in qzSystemConfig.cmake
    INSTALL_DESTINATION ${packageDir} NO_SET_AND_CHECK_MACRO)
# The SONAME holds major and minor version, so this is what can stand for what.
write_basic_package_version_file(qzSystemConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/qzSystemConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/qzSystemConfigVersion.cmake
    cmake/AsanOptions.cpp
    cmake/qz_add_resources.cmake
    cmake/qz_write_resources.cmake
    DESTINATION ${packageDir} COMPONENT Development)

# --- pkg-config ------------------------------------------------------------------------------

if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(pcLibDir ${CMAKE_INSTALL_LIBDIR})
else()
    set(pcLibDir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
    set(pcIncludeDir ${CMAKE_INSTALL_INCLUDEDIR})
else()
    set(pcIncludeDir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
# The prefix is settled at the time of the install, as `cmake --install --prefix` may move it.
set(pcPrefix "@pcPrefix@")
foreach(library IN ITEMS qzSystem qzSystemExt)
    configure_file(cmake/${library}.pc.in ${library}.pc.in @ONLY)
    install(CODE "
        set(pcPrefix \"\${CMAKE_INSTALL_PREFIX}\")
        configure_file(${CMAKE_CURRENT_BINARY_DIR}/${library}.pc.in
            ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc @ONLY)"
        COMPONENT Development)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endforeach()

# --- Printers for gdb -------------------------------------------------------------------------

# gdb loads them with the library that its folder and their name stand for.
if(BUILD_SHARED_LIBS)
    set(version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    install(FILES debugger/libqzSystem-gdb.py
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}
        RENAME libqzSystem.so.${version}-gdb.py COMPONENT Development)
endif()

# --- Documents -------------------------------------------------------------------------------

set(docDir ${CMAKE_INSTALL_DATAROOTDIR}/doc)
# Debian wants a licence in the folder of each package.
install(FILES LICENSE DESTINATION ${docDir}/libqzsystem3.0 RENAME copyright COMPONENT Runtime)
install(FILES LICENSE DESTINATION ${docDir}/libqzsystemext3.0 RENAME copyright
    COMPONENT RuntimeExt)
install(FILES LICENSE DESTINATION ${docDir}/libqzsystem-dev RENAME copyright
    COMPONENT Development)

file(GLOB guides CONFIGURE_DEPENDS docs/*.md)
install(FILES LICENSE DESTINATION ${docDir}/libqzsystem-doc RENAME copyright
    COMPONENT Documentation)
# In the same folders as in the sources, so that the links of the README lead to the guides.
install(FILES README.md CONTRIBUTING.md SECURITY.md
    DESTINATION ${docDir}/libqzsystem-doc COMPONENT Documentation)
install(FILES ${guides} DESTINATION ${docDir}/libqzsystem-doc/docs COMPONENT Documentation)
install(DIRECTORY docs/pictures DESTINATION ${docDir}/libqzsystem-doc/docs COMPONENT Documentation)
# Doxygen's pages, when the target qzSystemDocs has made them.
install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/html DESTINATION ${docDir}/libqzsystem-doc
    COMPONENT Documentation OPTIONAL)
