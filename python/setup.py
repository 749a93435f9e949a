"""Builds navreq._native and the generated record modules with CMake.

The extension is a target of the project's own build (python/CMakeLists.txt)
in the release preset's tree, build/release, which `make demo` uses too: one
configuration, built once. The record classes (navreq/records, navreq/params)
are written at build time by navreq_pygen from the records' declarations and
copied beside the extension.
"""

import os
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent.parent


class CMakeExtension(Extension):
    def __init__(self, name: str) -> None:
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext: Extension) -> None:
        env = dict(os.environ)
        jobs = env.get("NAVREQ_JOBS", "2")
        subprocess.check_call(
            ["cmake", "--preset", "release", "-DNAVREQ_BUILD_PYTHON=ON", f"-DPython_EXECUTABLE={sys.executable}"],
            cwd=ROOT, env=env, stdout=subprocess.DEVNULL)
        subprocess.check_call(
            ["cmake", "--build", "--preset", "release", "-j", jobs, "--target", "navreq_py_native",
             "navreq_py_records"], cwd=ROOT, env=env)
        built = ROOT / "build" / "release" / "python"
        suffix = Path(self.get_ext_filename(ext.name)).name
        dest = Path(self.get_ext_fullpath(ext.name))
        dest.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(built / suffix, dest)
        shutil.copytree(built / "generated" / "navreq", dest.parent, dirs_exist_ok=True)


setup(ext_modules=[CMakeExtension("navreq._native")], cmdclass={"build_ext": CMakeBuild})
