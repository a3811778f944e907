# SPDX-License-Identifier: MIT
# Run by CPack for the packages that it has made. It adds scripts that call ldconfig, which the packages
# don't need: a trigger calls it once for all packages of an installation.

cmake_minimum_required(VERSION 3.22)

foreach(package IN LISTS CPACK_PACKAGE_FILES)
    if(NOT package MATCHES "\\.deb$")
        continue()
    endif()
    set(folder ${CPACK_TEMPORARY_DIRECTORY}/repacked)
    file(REMOVE_RECURSE ${folder})
    execute_process(COMMAND dpkg-deb -R ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
    if(NOT EXISTS ${folder}/DEBIAN/postinst)
        continue()
    endif()
    file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group -b ${folder} ${package}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
