"""Builds and runs the example host with the package."""

from pathlib import Path

from conan import ConanFile
from conan.tools.build import can_run
from conan.tools.cmake import CMake, cmake_layout


class NivraTest(ConanFile):
    settings = "os", "arch", "compiler", "build_type"
    generators = "CMakeDeps", "CMakeToolchain"

    def requirements(self):
        self.requires(self.tested_reference_str)

    def layout(self):
        cmake_layout(self)

    def build(self):
        cmake = CMake(self)
        cmake.configure(build_script_folder=Path(self.recipe_folder).parents[2] / "examples/host")
        cmake.build()

    def test(self):
        if can_run(self):
            self.run(Path(self.cpp.build.bindir) / "host", env="conanrun")
