"""conan create packaging/conan: builds the tree that this recipe stands in."""

import os
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load


class MthConan(ConanFile):
    name = "mth"
    license = "BSD-3-Clause"
    description = "Numerical library for medical-image analysis"
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "fPIC": [True, False], "with_qt": [True, False]}
    default_options = {"shared": False, "fPIC": True, "with_qt": False}
    implements = ["auto_shared_fpic"]

    @property
    def _tree(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        text = load(self, os.path.join(self._tree, "CMakeLists.txt"))
        self.version = re.search(r"project\(mth VERSION ([0-9.]+)", text).group(1)

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "LICENSE", "CHANGELOG.md", "cmake/*", "mth/*", "std/*", "docs/*.md"):
            copy(self, pattern, self._tree, self.export_sources_folder)

    def requirements(self):
        if self.options.with_qt:
            self.requires("qt/[>=6.2 <7]", transitive_headers=True)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["MTH_BUILD_TESTS"] = False
        toolchain.cache_variables["MTH_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["MTH_QT"] = bool(self.options.with_qt)
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_find_mode", "none")  # the package brings its own files
        self.cpp_info.builddirs.append(os.path.join("lib", "cmake", "mth"))
