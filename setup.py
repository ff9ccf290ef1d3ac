"""Lets CMake build the module that is written in C++, with the library inside of it; pyproject.toml has the rest."""

import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).parent.resolve()


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        target = Path(self.get_ext_fullpath(ext.name)).resolve()
        target.parent.mkdir(parents=True, exist_ok=True)
        # Packages of a system have built it already, with the system's library.
        self.copy_file(os.environ.get("NIVRA_PYTHON_MODULE") or self.built_by_cmake(), str(target))

    def built_by_cmake(self):
        build = Path(self.build_temp).resolve()
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "BUILD_SHARED_LIBS": "OFF",
            "NIVRA_BUILD_C": "OFF",
            "NIVRA_BUILD_PYTHON": "ON",
            "NIVRA_BUILD_TOOLS": "OFF",
            "NIVRA_BUILD_TESTS": "OFF",
            "NIVRA_INSTALL": "OFF",
            "NIVRA_PYTHON_PACKAGE": "ON",
            "Python_EXECUTABLE": sys.executable,
            "pybind11_DIR": self.pybind11_folder(),
        }
        definitions = [f"-D{name}={value}" for name, value in options.items() if value]
        more = shlex.split(os.environ.get("CMAKE_ARGS", ""))
        subprocess.run(["cmake", "-S", ROOT, "-B", build, *definitions, *more], check=True)
        jobs = str(os.cpu_count() or 1)
        subprocess.run(["cmake", "--build", build, "--target", "nivra_python", "--parallel", jobs], check=True)
        (built,) = (build / "python/nivra").glob("_core*.so")
        return str(built)

    @staticmethod
    def pybind11_folder():
        """Where the pybind11 of this environment is; empty if the system's is all there is."""
        try:
            import pybind11
        except ImportError:
            return ""
        return pybind11.get_cmake_dir()


def version():
    numbers = re.findall(r"#define NIVRA_VERSION_\w+ (\d+)", (ROOT / "include/nivra/version.h").read_text())
    return ".".join(numbers)


setup(version=version(), ext_modules=[Extension("nivra._core", sources=[])], cmdclass={"build_ext": CMakeBuild})
