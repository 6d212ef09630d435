#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Uses the libraries as a host does: install_tests.py case sources build-tree work-folder compiler"""

import os
import pathlib
import re
import shutil
import signal
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


def first_lines(program, count, end, **environment):
    """The first lines of a program, which `end` then makes end in order."""
    with subprocess.Popen(["stdbuf", "-oL", program], text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          env=os.environ | environment) as process:
        lines = [process.stdout.readline() for _ in range(count)]
        end(process)
        process.stdout.read()
    check(process.returncode == 0, f"{program} ended with {process.returncode}")
    return "".join(lines)


def check(condition, text):
    if not condition:
        sys.exit(text)


def check_says(said, *expected):
    """Compares without regard to how the lines are wrapped."""
    for text in expected:
        check(text in " ".join(said.split()), f"{text!r} was not said in:\n{said}")


def configure(name, *settings, compiler=COMPILER, prefix=PREFIX, fails=False, **environment):
    folder = WORK / name
    shutil.rmtree(folder, ignore_errors=True)
    return run("cmake", "-G", "Ninja", "-S", HOST, "-B", folder, f"-DCMAKE_CXX_COMPILER={compiler}",
               f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER_LAUNCHER={shutil.which('ccache') or ''}", *settings,
               fails=fails, **environment)


def build_and_run(name):
    run("cmake", "--build", WORK / name, "--target", "host")
    said = run(WORK / name / "host")
    check(said == GREETING, f"The host said {said!r}")


def headers(root):
    return {path.relative_to(root) for path in (root / "Tessaly").rglob("*.hpp")}


def headers_for_hosts():
    """The public headers, those of the adapters, and what these include, at any distance."""
    sources = {path: SOURCES / path for path in headers(SOURCES)}
    sources |= {pathlib.Path("Tessaly", path.relative_to(SOURCES)): path for path in (SOURCES / "Adapters").rglob("*.hpp")}
    found = {path for path in sources if "detail" not in path.parts and path.parts[1:3] != ("Platform", "Linux")}
    pending = list(found)
    while pending:
        for name in re.findall(r'^#include "(Tessaly/.*)"', sources[pending.pop()].read_text(), re.MULTILINE):
            path = pathlib.Path(name)
            if path not in found:
                found.add(path)
                pending.append(path)
    return found


def libraries():
    """The installed libraries, which are shared or static as in the build tree."""
    return [path for path in sorted((PREFIX / "lib").glob("libTessaly*")) if path.suffix in (".so", ".a")]


def installs():
    shutil.rmtree(PREFIX, ignore_errors=True)
    run("cmake", "--install", BUILD, "--prefix", PREFIX)
    found = headers(PREFIX / "include")
    check(found == headers_for_hosts(), f"Headers too many or too few: {found ^ headers_for_hosts()}")
    check((PREFIX / "lib/cmake/Tessaly/TessalyBundle.cmake").exists(), "tessaly_bundle() is missing")
    said = run(PREFIX / "bin/tessaly", "--help")
    check(said.startswith("Usage: tessaly"), f"The companion said {said!r}")
    check(libraries(), "No library")
    for library in libraries():
        if library.suffix == ".a":
            continue
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
        check(package in required and "tessaly-formatters" in required, f"{module} requires {required}")


def unknown_component():
    said = configure("unknown", "-DHOST_FINDS=Mutex;Clockwork", fails=True)
    check_says(said, 'Tessaly has no component "Clockwork". It has: Authentication, Base,')


def optional_component():
    said = configure("optional", "-DHOST_FINDS=Mutex;Base", "-DHOST_MAY_FIND=Clockwork")
    check_says(said, "Component Clockwork: FALSE")


def testing_without_headers():
    """The files for CMake and the libraries, but not the headers of the stand-ins, as libtessaly-dev has them."""
    said = configure("testing", "-DHOST_FINDS=Mutex;Base;Testing")
    check_says(said, "Component Testing: TRUE")
    other = WORK / "without-stand-ins"
    shutil.rmtree(other, ignore_errors=True)
    shutil.copytree(PREFIX, other, symlinks=True)
    shutil.rmtree(other / "include/Tessaly/Platform/Testing")
    said = configure("no-testing", "-DHOST_FINDS=Mutex;Base;Testing", prefix=other, fails=True)
    check_says(said, 'component "Testing" are not installed. On Debian install libtessaly-testing-dev.')
    said = configure("optional-testing", "-DHOST_FINDS=Mutex;Base", "-DHOST_MAY_FIND=Testing", prefix=other)
    check_says(said, "Component Testing: FALSE")


def other_version():
    said = configure("version", "-DHOST_FINDS=Mutex", "-DHOST_VERSION=7.0", fails=True)
    check_says(said, 'requested version "7.0"')


def pkg_config():
    folder = PREFIX / "lib/pkgconfig"
    modules = sorted(path.stem for path in folder.glob("*.pc"))
    installed = {path.stem for path in libraries()}
    linked = set()
    for module in modules:
        flags = run("pkg-config", "--print-errors", "--cflags", "--libs", module, PKG_CONFIG_PATH=str(folder)).split()
        named = [f"lib{flag[2:]}" for flag in flags if flag.startswith("-lTessaly")]
        check(len(named) == len(set(named)), f"{module} names a library twice: {named}")
        linked.update(named)
    check("tessaly" in modules and "tessaly-concurrency" in modules, f"Only {modules}")
    check(installed == linked, f"{installed} are there, {linked} are named")
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


def umbrella():
    """A host of everything, by one header and one target."""
    configure("umbrella", "-DHOST_FINDS=Tessaly", "-DHOST_PROGRAM=everything")
    build_and_run("umbrella")


def components():
    """Each component alone, with all of its public headers and nothing else linked."""
    configure("components", "-DHOST_PROGRAM=components", f"-DHOST_HEADERS={','.join(components_of_headers())}")
    run("cmake", "--build", WORK / "components")


def components_of_headers():
    """Pairs component=header, as docs/components.md has them, without the adapters, which need a toolkit."""
    rows = re.findall(r"^\| `(Tessaly/.*?)` \| (\w+) \|$", (SOURCES / "docs/components.md").read_text(), re.MULTILINE)
    check(len(rows) > 200, f"docs/components.md has {len(rows)} headers only")
    return [f"{component}={header}" for header, component in rows if not component.endswith("Adapter")]


def static_package():
    """A static build of the whole, installed and found by CMake and by pkg-config."""
    folder, prefix = WORK / "static-build", WORK / "static"
    shutil.rmtree(prefix, ignore_errors=True)
    # The same options as in the build tree, so that ccache finds what that has compiled.
    cache = (BUILD / "CMakeCache.txt").read_text()
    same = [f"-D{name}={value}" for name, value in re.findall(
        "^(CMAKE_CXX_FLAGS_RELWITHDEBINFO|CMAKE_COMPILE_WARNING_AS_ERROR):[^=]*=(.*)$", cache, re.MULTILINE)]
    run("cmake", "-G", "Ninja", "-S", SOURCES, "-B", folder, f"-DCMAKE_CXX_COMPILER={COMPILER}", "-DBUILD_SHARED_LIBS=OFF",
        "-DTESSALY_TESTS=OFF", "-DTESSALY_INSTALL=ON", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
        *same, f"-DCMAKE_CXX_COMPILER_LAUNCHER={shutil.which('ccache') or ''}")
    run("cmake", "--build", folder)
    run("cmake", "--install", folder, "--prefix", prefix)
    check(not list(prefix.rglob("*.so")), "A static package has a shared library")
    configure("static-host", "-DHOST_FINDS=Files;Formatting;Pasteboard;Settings", "-DHOST_PROGRAM=services", prefix=prefix)
    build_and_run("static-host")
    flags = run("pkg-config", "--cflags", "--libs", "tessaly-files", "tessaly-formatting", "tessaly-pasteboard",
                "tessaly-settings", PKG_CONFIG_PATH=str(prefix / "lib/pkgconfig")).split()
    run(COMPILER, "-std=c++23", HOST / "services.cpp", "-o", WORK / "static-pkg-config-host", *flags)
    said = run(WORK / "static-pkg-config-host")
    check(said == GREETING, f"The host said {said!r}")


def lone_component():
    """A host that contains the sources for one component needs the packages of that component alone."""
    known = WORK / "lone-packages"
    shutil.rmtree(known, ignore_errors=True)
    known.mkdir(parents=True)
    directory = run("pkg-config", "--variable=pcfiledir", "fmt").strip()
    (known / "fmt.pc").symlink_to(pathlib.Path(directory, "fmt.pc"))
    only_fmt = {"PKG_CONFIG_LIBDIR": str(known), "PKG_CONFIG_PATH": ""}
    for name, settings in (("lone", ["-DTESSALY_COMPONENTS=Mutex"]), ("lone-by-itself", [])):
        said = configure(name, f"-DHOST_CONTAINS={SOURCES}", *settings, **only_fmt)
        build_and_run(name)
    check_says(said, "Tessaly::Files is left out", "Tessaly::Text is left out: pkg-config does not know icu-uc")
    said = configure("lone-missing", f"-DHOST_CONTAINS={SOURCES}", "-DTESSALY_COMPONENTS=Formatting", fails=True, **only_fmt)
    check_says(said, "cannot be built")


def template():
    """The template of an application: a copy by CMake, and a new application by make. Each has a setting of its own."""
    source, home = SOURCES / "examples/template", WORK / "template-home"
    for folder in (home, WORK / "template", WORK / "template-make"):
        shutil.rmtree(folder, ignore_errors=True)
    environment = {"HOME": str(home), "XDG_CONFIG_HOME": "", "LC_ALL": "de_DE.UTF-8", "LD_LIBRARY_PATH": str(PREFIX / "lib"),
                   "PKG_CONFIG_PATH": str(PREFIX / "lib/pkgconfig")}
    run("cmake", "-G", "Ninja", "-S", source, "-B", WORK / "template", f"-DCMAKE_CXX_COMPILER={COMPILER}",
        f"-DCMAKE_PREFIX_PATH={PREFIX}")
    run("cmake", "--build", WORK / "template")
    run(PREFIX / "bin/tessaly", "new", WORK / "template-make", **environment)
    run("make", "-C", WORK / "template-make", f"CXX={COMPILER}", **environment)
    for program in ("template/first-hour", "template-make/template-make"):
        for visit in (1, 2):
            said = first_lines(WORK / program, 2, lambda process: process.stdin.close(), **environment)
            check_says(said, f"Visit {visit}: 2.262 primes below 20.000", "primes below 40.000")
    for number in (signal.SIGINT, signal.SIGTERM):  # Without a handler, the exit code is another one.
        first_lines(WORK / program, 1, lambda process, number=number: process.send_signal(number), **environment)
    run("make", "-C", WORK / "template-make", "clean")
    left = [path.name for path in (WORK / "template-make").iterdir() if path.suffix == ".o" or path.name == "template-make"]
    check(not left, f"make clean leaves {left}")


def examples():
    """Each example is a project of its own."""
    for example in ("glib_host", "gtk_form", "host_tests", "qt_form", "qt_host"):
        folder = WORK / "examples" / example
        shutil.rmtree(folder, ignore_errors=True)
        run("cmake", "-G", "Ninja", "-S", SOURCES / "examples" / example, "-B", folder,
            f"-DCMAKE_CXX_COMPILER={COMPILER}", f"-DCMAKE_PREFIX_PATH={PREFIX}",
            f"-DCMAKE_CXX_COMPILER_LAUNCHER={shutil.which('ccache') or ''}")
        run("cmake", "--build", folder)
        check((folder / f"tessaly_{example}").exists(), f"{example} is not built")
        if "host" in example:
            run("ctest", "--test-dir", folder, "--no-tests=error")


def older_standard():
    """A host that asks for an older standard is told that it gets C++23."""
    said = configure("older", "-DHOST_FINDS=Mutex;Base", "-DCMAKE_CXX_STANDARD=20")
    check_says(said, "Tessaly needs C++23: what links it is compiled as C++23 instead of C++20")
    build_and_run("older")
    standard = run("pkg-config", "--variable=cxx_standard", "tessaly-base",
                   PKG_CONFIG_PATH=str(PREFIX / "lib/pkgconfig")).strip()
    check(standard == "c++23", f"pkg-config says {standard!r}")


def other_compiler():
    configure("other", "-DHOST_FINDS=Mutex;Base", compiler=OTHER_COMPILER)
    build_and_run("other")


def other_compiler_refused():
    if int(run(OTHER_COMPILER, "-dumpversion").split(".")[0]) >= 14:  # It passes the probes of tests/compiler.
        configure("accepted", "-DHOST_FINDS=Mutex;Tasks", "-DHOST_PROGRAM=tasks", compiler=OTHER_COMPILER)
        build_and_run("accepted")
        return
    said = configure("refused", "-DHOST_FINDS=Mutex;Tasks", compiler=OTHER_COMPILER, fails=True)
    check_says(said, 'Tessaly\'s component "Tasks" is made of coroutines', "Install clang-19")


def other_compiler_subdirectory():
    """A plain build of a g++ project that contains the sources, or fetches them, builds what it links."""
    for name, settings in (("other-subdirectory", [f"-DHOST_CONTAINS={SOURCES}"]),
                           ("other-fetched", [f"-DHOST_FETCHES={SOURCES}"])):
        configure(name, *settings, compiler=OTHER_COMPILER)
        run("cmake", "--build", WORK / name)
        build_and_run(name)


globals()[CASE]()
