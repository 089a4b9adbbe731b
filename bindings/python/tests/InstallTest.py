#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Builds sdist and wheel, installs the wheel in a virtual environment, and runs the tests and the example of the package's
documentation there. Needs no network: setuptools and wheel are the distribution's.

  InstallTest.py LIBRARY
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tarfile
import tempfile
import zipfile

PACKAGE = pathlib.Path(__file__).resolve().parent.parent
BUILD = "import sys; from setuptools import build_meta; print(getattr(build_meta, 'build_' + sys.argv[1])(sys.argv[2]))"
USE = ("import doctest, importlib.metadata, yox; "
       "assert importlib.metadata.version('yox') == yox.version(), yox.version(); "
       "assert 'site-packages' in yox.__file__, yox.__file__; "
       "tried = doctest.testmod(yox); assert tried.attempted > 0 and not tried.failed")


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True, text=True, **options).stdout


def main(library):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        source = folder / "source"
        shutil.copytree(PACKAGE, source, ignore=shutil.ignore_patterns("__pycache__", "*.egg-info", "build"))
        sdist = run(sys.executable, "-c", BUILD, "sdist", folder, cwd=source).splitlines()[-1]
        with tarfile.open(folder / sdist) as archive:
            archive.extractall(folder)
        unpacked = folder / sdist.removesuffix(".tar.gz")
        wheel = run(sys.executable, "-c", BUILD, "wheel", folder, cwd=unpacked).splitlines()[-1]
        assert wheel.endswith("-py3-none-any.whl"), wheel
        assert "yox/py.typed" in zipfile.ZipFile(folder / wheel).namelist()
        run(sys.executable, "-m", "venv", folder / "venv")
        python = folder / "venv/bin/python"
        run(python, "-m", "pip", "install", "--no-index", "--no-deps", folder / wheel)
        environment = {"PATH": os.environ["PATH"], "YOX_LIBRARY": library}
        run(python, "-c", USE, cwd=folder, env=environment)
        subprocess.run([python, PACKAGE / "tests/YoxTest.py"], check=True, cwd=folder, env=environment)


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except subprocess.CalledProcessError as error:
        sys.exit(f"{error}\n{error.stdout or ''}{error.stderr or ''}")
