"""Build step of `pip install .` (the metadata is in pyproject.toml): configures and
builds the two shared libraries with CMake and puts them into the package, where
vorn._loader looks next to itself. The version is the CMake project's, the one home
of the number."""

import re
import shutil
import subprocess
from pathlib import Path

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

ROOT = Path(__file__).resolve().parent
(ROOT / "build-python").mkdir(exist_ok=True)  # egg_base must exist
LIBRARIES = ("vorn", "vorn_host")


def project_version() -> str:
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(vorn VERSION ([\d.]+)", text).group(1)


class BuildWithLibraries(build_py):
    """build_py that also builds the shared libraries and copies them in."""

    def run(self):
        super().run()
        build = ROOT / "build-python" / "cmake"
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DVORN_BUILD_TESTS=OFF",
                   "-DVORN_BUILD_TOOLS=OFF", "-DVORN_BUILD_EXAMPLES=OFF"]
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(build), *options], check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", *LIBRARIES, "--parallel"],
                       check=True)
        package = Path(self.build_lib) / "vorn"
        for name in LIBRARIES:
            # The real file under the plain name, which the loader tries first.
            shutil.copyfile(build / "lib" / f"lib{name}.so", package / f"lib{name}.so")


class BinaryDistribution(Distribution):
    """The wheel holds compiled libraries: tag it for this platform, not 'any'."""

    def has_ext_modules(self):
        return True


setup(
    version=project_version(),
    cmdclass={"build_py": BuildWithLibraries},
    distclass=BinaryDistribution,
    options={"build": {"build_base": "build-python"},
             "egg_info": {"egg_base": "build-python"}},
)
