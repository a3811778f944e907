# SPDX-License-Identifier: MIT
# What `cmake --install` copies, in the components that become packages: Runtime, RuntimeExt,
# Development, Documentation and Tools.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/qzSystem)
if(BUILD_SHARED_LIBS)
    set(kind shared)
else()
    set(kind static)
endif()

target_include_directories(qzSystem INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_sources(qzSystem_asan_options INTERFACE $<INSTALL_INTERFACE:${packageDir}/AsanOptions.cpp>)

install(TARGETS qzSystem qzSystem_asan_options EXPORT qzSystemTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(TARGETS qzSystemExt EXPORT qzSystemTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT RuntimeExt NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
if(commands)
    install(TARGETS ${commands} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
endif()
# The second library finds the first one in its own folder: a program that calls the second one only
# may not name the first one, and the program's own search path doesn't apply to what a library needs.
# The system's folders are searched anyway, and Debian allows its packages no such path.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set_target_properties(qzSystemExt PROPERTIES INSTALL_RPATH "$ORIGIN")
    file(RELATIVE_PATH fromCommands ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    foreach(command IN LISTS commands)
        set_target_properties(${command} PROPERTIES INSTALL_RPATH "$ORIGIN/${fromCommands}")
    endforeach()
endif()
install(FILES ${publicHeaders}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qz COMPONENT Development)
install(FILES ${extensionHeaders}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qz/ext COMPONENT Development)

# --- CMake package ---------------------------------------------------------------------------

# One file a kind of library, so that both kinds can be installed with one prefix.
install(EXPORT qzSystemTargets FILE qzSystem-${kind}.cmake
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

# --- pkg-config and CPS -----------------------------------------------------------------------

# The files find the prefix by their own folder, so that an installed tree can be moved. Those of
# packages name it: a cross compiler puts its system root before that name.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    # The prefix is settled at the time of the install, as `cmake --install --prefix` may change it.
    set(pcPrefix "@installPrefix@")
else()
    file(RELATIVE_PATH pcPrefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    string(REGEX REPLACE "/$" "" pcPrefix "\${pcfiledir}/${pcPrefix}")
endif()
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
    set(pc${dir} ${CMAKE_INSTALL_${dir}})
    set(cps${dir} ${CMAKE_INSTALL_${dir}})
    if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_${dir}})
        string(PREPEND pc${dir} "\${prefix}/")
        string(PREPEND cps${dir} "@prefix@/")
    endif()
endforeach()
foreach(library IN ITEMS qzSystem qzSystemExt)
    configure_file(cmake/${library}.pc.in ${library}.pc.in @ONLY)
    install(CODE "
        set(installPrefix \"\${CMAKE_INSTALL_PREFIX}\")
        configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/${library}.pc.in\"
            \"${CMAKE_CURRENT_BINARY_DIR}/${library}.pc\" @ONLY)"
        COMPONENT Development)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endforeach()

if(BUILD_SHARED_LIBS)
    set(cpsType dylib)
    set(cpsSuffix .so)
else()
    set(cpsType archive)
    set(cpsSuffix .a)
endif()
set(cpsPrefix "@prefix@")
configure_file(cmake/qzSystem.cps.in qzSystem.cps @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qzSystem.cps
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cps COMPONENT Development)

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
set(components Runtime RuntimeExt Development Documentation)
set(packages libqzsystem3.0 libqzsystemext3.0 libqzsystem-dev libqzsystem-doc)
if(commands)
    list(APPEND components Tools)
    list(APPEND packages libqzsystem-tools)
endif()

# qz_compress(FILE OUTPUT): what Debian wants compressed, without the name and the time of the file.
find_program(QZ_GZIP gzip)
mark_as_advanced(QZ_GZIP)
function(qz_compress file output)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    execute_process(COMMAND ${QZ_GZIP} -9nc ${file} OUTPUT_FILE ${output}
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Debian wants a licence in the folder of each package, and in those of its own the list of their
# changes.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND QZ_GZIP)
    set(changes ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz)
    qz_compress(packaging/debian/changelog ${changes})
endif()
foreach(component package IN ZIP_LISTS components packages)
    install(FILES packaging/debian/copyright DESTINATION ${docDir}/${package}
        COMPONENT ${component})
    if(changes)
        install(FILES ${changes} DESTINATION ${docDir}/${package} COMPONENT ${component})
    endif()
endforeach()

file(GLOB manualPages CONFIGURE_DEPENDS src/tools/*/*.1)
foreach(page IN LISTS manualPages)
    cmake_path(GET page STEM command)
    if(NOT command IN_LIST commands)
        continue()
    endif()
    if(QZ_GZIP)
        qz_compress(${page} ${CMAKE_CURRENT_BINARY_DIR}/${command}.1.gz)
        set(page ${CMAKE_CURRENT_BINARY_DIR}/${command}.1.gz)
    endif()
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
endforeach()

file(GLOB guides CONFIGURE_DEPENDS docs/*.md)
# In the same folders as in the sources, so that the links of the README lead to the guides.
install(FILES README.md CONTRIBUTING.md SECURITY.md LICENSE
    DESTINATION ${docDir}/libqzsystem-doc COMPONENT Documentation)
install(FILES ${guides} DESTINATION ${docDir}/libqzsystem-doc/docs COMPONENT Documentation)
install(DIRECTORY docs/pictures DESTINATION ${docDir}/libqzsystem-doc/docs COMPONENT Documentation)
# Doxygen's pages, when the target qzSystemDocs has made them.
install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/html DESTINATION ${docDir}/libqzsystem-doc
    COMPONENT Documentation OPTIONAL)
