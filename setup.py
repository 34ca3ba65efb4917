"""Builds tav's native module with the project's CMake for the interpreter
running pip, then lets setuptools package it with python/tav."""

import glob
import os
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = os.path.abspath(os.path.join(self.build_temp, "cmake"))
        subprocess.check_call([
            "cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
            "-DTAV_BUILD_PYTHON=ON", "-DTAV_BUILD_TESTS=OFF", "-DTAV_BUILD_TOOLS=OFF",
            f"-DPython3_EXECUTABLE={sys.executable}"])
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.check_call(["cmake", "--build", build, "--target", "_tav", "-j", jobs])
        built = glob.glob(os.path.join(build, "python", "package", "tav", "_tav*.so"))
        target = self.get_ext_fullpath(ext.name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(built[0], target)


with open(os.path.join(ROOT, "CMakeLists.txt")) as f:
    version = re.search(r"project\(tav VERSION ([0-9.]+)", f.read()).group(1)

setup(version=version, ext_modules=[Extension("tav._tav", sources=[])],
      cmdclass={"build_ext": CMakeBuild})
