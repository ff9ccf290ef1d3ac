"""A Conan 2 recipe of the libraries. A draft: ../README.md says what was tried of it."""

import re
from pathlib import Path

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, rmdir


class NivraRecipe(ConanFile):
    name = "nivra"
    description = "Multi-object tracking for cameras"
    license = "Apache-2.0"
    topics = ("tracking", "video-analytics")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}
    implements = ["auto_shared_fpic"]

    @property
    def checkout(self):
        return Path(self.recipe_folder).parents[1]

    def set_version(self):
        header = (self.checkout / "include/nivra/version.h").read_text()
        self.version = ".".join(re.findall(r"#define NIVRA_VERSION_\w+ (\d+)", header))

    def export_sources(self):
        files = "CMakeLists.txt", "LICENSE", "README.md", "CHANGELOG.md", "c/*", "cmake/*", "include/*", "src/*"
        for pattern in files:
            copy(self, pattern, src=self.checkout, dst=self.export_sources_folder)

    def validate(self):
        check_min_cppstd(self, 17)
        if self.settings.os == "Windows" or self.settings.compiler not in ("gcc", "clang"):
            raise ConanInvalidConfiguration("nivra is written for GCC or Clang on POSIX systems")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["NIVRA_BUILD_C"] = bool(self.options.shared)
        toolchain.cache_variables["NIVRA_BUILD_TESTS"] = False
        toolchain.cache_variables["NIVRA_BUILD_TOOLS"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", src=self.source_folder, dst=Path(self.package_folder) / "licenses")
        # Conan writes these for hosts.
        for folder in ("lib/cmake", "lib/pkgconfig", "share"):
            rmdir(self, Path(self.package_folder) / folder)

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "nivra")
        library = self.cpp_info.components["nivra"]
        library.libs = ["nivra"]
        library.set_property("cmake_target_name", "nivra::nivra")
        library.set_property("pkg_config_name", "nivra")
        if not self.options.shared:
            library.defines = ["NIVRA_STATIC"]
            return
        for_c = self.cpp_info.components["c"]
        for_c.libs = ["nivra_c"]
        for_c.requires = ["nivra"]
        for_c.set_property("cmake_target_name", "nivra::c")
        for_c.set_property("pkg_config_name", "nivra_c")
