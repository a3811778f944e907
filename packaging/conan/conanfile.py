# SPDX-License-Identifier: MIT
"""Builds the library with Conan 2: conan create packaging/conan --build=missing"""

import os

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy


class LibqzSystem(ConanFile):
    name = "libqzsystem"
    version = "3.0.0"
    license = "MIT"
    description = "A foundation library for Linux programs: start and stop, log, devices, values"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": True}
    package_type = "library"

    def export_sources(self):
        root = os.path.join(self.recipe_folder, "..", "..")
        for pattern in ("CMakeLists.txt", "LICENSE", "*.md", "cmake/*", "debugger/*", "docs/*",
                        "include/*", "packaging/debian/*", "src/*"):
            copy(self, pattern, root, self.export_sources_folder)

    def validate(self):
        if self.settings.os != "Linux" or self.settings.arch != "x86_64":
            raise ConanInvalidConfiguration("libqzsystem is for Linux on x86_64")
        check_min_cppstd(self, 17)

    def requirements(self):
        self.requires("utfcpp/[>=3.2]", visible=False)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["QZ_BUILD_TOOLS"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        # Consumers use the CMake package that the library installs.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "qzSystem")]
        first = self.cpp_info.components["qzSystem"]
        first.libs = ["qzSystem"]
        first.set_property("pkg_config_name", "qzSystem")
        second = self.cpp_info.components["ext"]
        second.libs = ["qzSystemExt"]
        second.requires = ["qzSystem"]
        second.set_property("pkg_config_name", "qzSystemExt")
