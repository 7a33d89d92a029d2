"""Builds the package from the library's CMake project: pip install --no-build-isolation ."""

import pathlib
import re

from skbuild import setup

project = pathlib.Path("CMakeLists.txt").read_text(encoding="utf-8")
version = re.search(r"project\(mth VERSION ([0-9.]+)", project)

setup(
    version=version.group(1),
    packages=["mth"],
    package_dir={"": "python"},
    package_data={"mth": ["py.typed", "*.pyi"]},
    cmake_install_dir="python",
    cmake_install_target="install",
    cmake_args=["-DMTH_PYTHON=ON", "-DMTH_PYTHON_DIR=.", "-DMTH_BUILD_TESTS=OFF", "-DMTH_BUILD_EXAMPLES=OFF", "-DMTH_QT=OFF",
                "-DMTH_INSTALL=OFF"],
)
