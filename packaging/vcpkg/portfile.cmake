# SPDX-License-Identifier: MIT
# An overlay port, which builds the sources that it is a part of:
#     vcpkg install libqzsystem --overlay-ports=FOLDER-OF-THIS-FILE

cmake_path(SET SOURCE_PATH NORMALIZE "${CURRENT_PORT_DIR}/../..")
if(NOT EXISTS "${SOURCE_PATH}/include/qz/qzSystem.h")
    message(FATAL_ERROR "libqzsystem: use this folder where it is, in the sources of the library")
endif()

vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}" OPTIONS -DQZ_BUILD_TOOLS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME qzSystem CONFIG_PATH lib/cmake/qzSystem)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
