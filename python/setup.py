"""The Python package, and a wheel of it for every Python 3.

With TKMJPG_LIBRARY=FILE the wheel has the shared library inside; without, it takes the system's.
"""

import os
import pathlib
import re
import shutil

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

here = pathlib.Path(__file__).parent
header = (here.parent / "include/tkmjpg.h").read_text()
version = [
    re.search(rf"^#define TKMJPG_VERSION_{part} (\d+)$", header, re.M).group(1)
    for part in ("MAJOR", "MINOR", "PATCH")
]
library = os.environ.get("TKMJPG_LIBRARY")


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        folder = pathlib.Path(self.build_lib, "tkmjpg")
        (folder / "_version.py").write_text(
            f'version = "{".".join(version)}"\nSOVERSION = {version[0]}\n'
        )
        if library:
            shutil.copy(library, folder / f"libtkmjpg.so.{version[0]}")


class DistributionWithLibrary(Distribution):
    def has_ext_modules(self):
        return bool(library)


class WheelForEveryPython(bdist_wheel):
    def get_tag(self):
        platform = super().get_tag()[2]
        return "py3", "none", os.environ.get("TKMJPG_PLATFORM", platform) if library else "any"


setup(
    name="tkmjpg",
    version=".".join(version),
    description="Motion-JPEG frames to NumPy arrays and back",
    license="MIT",
    packages=["tkmjpg"],
    package_data={"tkmjpg": ["py.typed"]},
    python_requires=">=3.7",
    install_requires=["numpy"],
    distclass=DistributionWithLibrary,
    cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": WheelForEveryPython},
)
