#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Uses the libraries as a host does: install_tests.py case sources build-tree work-folder compiler"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

CASE, SOURCES, BUILD, WORK, COMPILER = sys.argv[1], *map(pathlib.Path, sys.argv[2:5]), sys.argv[5]
PREFIX = WORK / "prefix"
HOST = pathlib.Path(__file__).parent / "host"
OTHER_COMPILER = "g++"
GREETING = "a host caught CancellationError()\n"


def run(*command, fails=False, **environment):
    """Runs a command and returns all that it says. Stops the test unless it ends as it should."""
    result = subprocess.run([str(part) for part in command], text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, env=os.environ | environment, check=False)
    if (result.returncode != 0) != fails:
        sys.exit(f"{command} ended with {result.returncode}:\n{result.stdout}")
    return result.stdout


def check(condition, text):
    if not condition:
        sys.exit(text)


def check_says(said, *expected):
    """Compares without regard to how the lines are wrapped."""
    for text in expected:
        check(text in " ".join(said.split()), f"{text!r} was not said in:\n{said}")


def configure(name, *settings, compiler=COMPILER, prefix=PREFIX, fails=False):
    folder = WORK / name
    shutil.rmtree(folder, ignore_errors=True)
    return run("cmake", "-G", "Ninja", "-S", HOST, "-B", folder, f"-DCMAKE_CXX_COMPILER={compiler}",
               f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER_LAUNCHER={shutil.which('ccache') or ''}", *settings,
               fails=fails)


def build_and_run(name):
    run("cmake", "--build", WORK / name, "--target", "host")
    said = run(WORK / name / "host")
    check(said == GREETING, f"The host said {said!r}")


def headers(root):
    return {path.relative_to(root) for path in (root / "Tessaly").rglob("*.hpp")}


def installs():
    shutil.rmtree(PREFIX, ignore_errors=True)
    run("cmake", "--install", BUILD, "--prefix", PREFIX)
    public = {path for path in headers(SOURCES) if path.parts[:3] != ("Tessaly", "Platform", "Linux")}
    public |= {"Tessaly" / path.relative_to(SOURCES) for path in (SOURCES / "Adapters").rglob("*.hpp")}
    found = headers(PREFIX / "include")
    check(found == public, f"Headers too many or too few: {found ^ public}")
    check((PREFIX / "lib/cmake/Tessaly/TessalyBundle.cmake").exists(), "tessaly_bundle() is missing")
    said = run(PREFIX / "bin/tessaly", "--help")
    check(said.startswith("Usage: tessaly"), f"The companion said {said!r}")
    libraries = sorted((PREFIX / "lib").glob("libTessaly*.so"))
    check(libraries, "No library")
    for library in libraries:
        dynamic = run("readelf", "-d", library)
        check(f"Library soname: [{library.name}.0]" in dynamic, f"{library.name} lacks its version:\n{dynamic}")
        check("[$ORIGIN]" in dynamic, f"{library.name} does not find its neighbours:\n{dynamic}")
        check("NODELETE" in dynamic, f"{library.name} can be unloaded:\n{dynamic}")


def finds_package():
    said = configure("package", "-DHOST_FINDS=Mutex;Base", "-DHOST_VERSION=0.1")
    check_says(said, "Component Mutex: TRUE", "Component Base: TRUE")
    build_and_run("package")


def finds_adapters():
    said = configure("adapters", "-DHOST_FINDS=Mutex;Base;GLibAdapter;QtAdapter")
    check_says(said, "Component GLibAdapter: TRUE", "Component QtAdapter: TRUE")
    run("cmake", "--build", WORK / "adapters", "--target", "adapters")


def finds_field_adapters():
    said = configure("fields", "-DHOST_FINDS=Mutex;Base;Formatting;GtkAdapter;QtWidgetsAdapter")
    check_says(said, "Component GtkAdapter: TRUE", "Component QtWidgetsAdapter: TRUE")
    run("cmake", "--build", WORK / "fields", "--target", "fields")
    said = configure("loop-only", "-DHOST_FINDS=Mutex;Base;GLibAdapter")
    cache = (WORK / "loop-only" / "CMakeCache.txt").read_text()
    check("gtk" not in cache.lower() and "Qt6Widgets" not in cache, "A loop alone looks for widgets")
    folder = PREFIX / "lib/pkgconfig"
    for module, package in (("tessaly-gtk-adapter", "gtk4"), ("tessaly-qt-widgets-adapter", "Qt6Widgets")):
        required = run("pkg-config", "--print-requires", module, PKG_CONFIG_PATH=str(folder)).split()
        check(package in required and "tessaly-text-formatters" in required, f"{module} requires {required}")


def unknown_component():
    said = configure("unknown", "-DHOST_FINDS=Mutex;Clockwork", fails=True)
    check_says(said, 'Tessaly has no component "Clockwork". It has: Collections, Mutex,')


def optional_component():
    said = configure("optional", "-DHOST_FINDS=Mutex;Base", "-DHOST_MAY_FIND=Clockwork")
    check_says(said, "Component Clockwork: FALSE")


def other_version():
    said = configure("version", "-DHOST_FINDS=Mutex", "-DHOST_VERSION=7.0", fails=True)
    check_says(said, 'requested version "7.0"')


def pkg_config():
    folder = PREFIX / "lib/pkgconfig"
    modules = sorted(path.stem for path in folder.glob("*.pc"))
    libraries = {path.name for path in PREFIX.glob("lib/libTessaly*.so")}
    linked = set()
    for module in modules:
        flags = run("pkg-config", "--print-errors", "--cflags", "--libs", module, PKG_CONFIG_PATH=str(folder)).split()
        linked |= {f"lib{flag[2:]}.so" for flag in flags if flag.startswith("-lTessaly")}
    check("tessaly" in modules and "tessaly-concurrency" in modules, f"Only {modules}")
    check(libraries == linked, f"{libraries} are there, {linked} are named")
    flags = run("pkg-config", "--cflags", "--libs", "tessaly-concurrency", PKG_CONFIG_PATH=str(folder)).split()
    run(COMPILER, "-std=c++23", HOST / "main.cpp", "-o", WORK / "pkg-config-host", *flags)
    said = run(WORK / "pkg-config-host", LD_LIBRARY_PATH=str(PREFIX / "lib"))
    check(said == GREETING, f"The host said {said!r}")


def moved():
    other = WORK / "moved"
    shutil.rmtree(other, ignore_errors=True)
    shutil.copytree(PREFIX, other, symlinks=True)
    said = run(other / "bin/tessaly", "--help")
    check(said.startswith("Usage: tessaly"), f"The companion said {said!r}")
    configure("moved-package", "-DHOST_FINDS=Mutex;Base", prefix=other)
    build_and_run("moved-package")
    flags = run("pkg-config", "--cflags", "tessaly", PKG_CONFIG_PATH=str(other / "lib/pkgconfig")).split()
    folders = {os.path.realpath(flag[2:]) for flag in flags if flag.startswith("-I")}
    check(folders == {os.path.realpath(other / "include")}, f"pkg-config names {folders}")


def subdirectory():
    configure("subdirectory", f"-DHOST_CONTAINS={SOURCES}")
    folder = WORK / "subdirectory"
    build_and_run("subdirectory")
    check_says(run("ctest", "--test-dir", folder, "--show-only"), "Total Tests: 0")
    run("cmake", "--install", folder, "--prefix", folder / "empty")
    check(not list((folder / "empty").rglob("*")), "The host installs what it only contains")
    cache = (folder / "CMakeCache.txt").read_text()
    check(not re.search("^(BUILD_SHARED_LIBS|BUILD_TESTING):", cache, re.MULTILINE), "The host's cache was set")


def other_compiler():
    configure("other", "-DHOST_FINDS=Mutex;Base", compiler=OTHER_COMPILER)
    build_and_run("other")


def other_compiler_refused():
    said = configure("refused", "-DHOST_FINDS=Mutex;Tasks", compiler=OTHER_COMPILER, fails=True)
    check_says(said, 'Tessaly\'s component "Tasks" is made of coroutines', "Install clang-19")


def other_compiler_subdirectory():
    configure("other-subdirectory", f"-DHOST_CONTAINS={SOURCES}", compiler=OTHER_COMPILER)
    build_and_run("other-subdirectory")


globals()[CASE]()
