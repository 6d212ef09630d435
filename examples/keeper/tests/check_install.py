#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether Keeper installs its files, and no others.

check_install.py tree build-tree work-directory program...
    installs the component of a build of the whole tree
check_install.py alone sources prefix compiler work-directory program...
    builds and installs Keeper as a project of its own, on the library that is installed in the prefix
"""

import pathlib
import shutil
import subprocess
import sys

IDENTIFIER = "org.example.keeper"
TOOLKITS = {"tessaly_keeper": "Gtk", "tessaly_keeper_qt": "Qt"}


def run(*command, **options):
    result = subprocess.run([str(part) for part in command], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            check=False, **options)
    if result.returncode != 0:
        sys.exit(f"{command} ended with {result.returncode}:\n{result.stdout}")
    return result.stdout


def check(condition, text):
    if not condition:
        sys.exit(text)


def files(directory):
    return {path.relative_to(directory).as_posix() for path in directory.rglob("*") if path.is_file()}


def expected(programs):
    shared = {f"applications/{IDENTIFIER}.desktop", f"icons/hicolor/scalable/apps/{IDENTIFIER}.svg",
              f"metainfo/{IDENTIFIER}.metainfo.xml", f"polkit-1/actions/{IDENTIFIER}.policy"}
    return {f"share/{name}" for name in shared | {f"man/man1/{program}.1" for program in programs}} | {
        f"bin/{program}" for program in programs}


def check_files(directory, programs):
    difference = files(directory) ^ expected(programs)
    check(not difference, f"Files too many or too few: {sorted(difference)}")


def check_tree(build, work, *programs):
    run("cmake", "--install", build, "--component", "Keeper", "--prefix", work / "component")
    check_files(work / "component", programs)
    run("cmake", "--install", build / "examples/keeper", "--prefix", work / "library")
    check(not files(work / "library"), f"The library installs {sorted(files(work / 'library'))}")


def check_alone(sources, prefix, compiler, work, *programs):
    toolkits = ";".join(TOOLKITS[program] for program in programs)
    run("cmake", "-G", "Ninja", "-S", sources, "-B", work / "build", f"-DCMAKE_CXX_COMPILER={compiler}",
        f"-DCMAKE_PREFIX_PATH={prefix}", f"-DKEEPER_TOOLKITS={toolkits}",
        f"-DCMAKE_CXX_COMPILER_LAUNCHER={shutil.which('ccache') or ''}")
    run("cmake", "--build", work / "build", "--parallel", "2")
    run("cmake", "--install", work / "build", "--prefix", work / "installed")
    check_files(work / "installed", programs)
    is_shared = any(prefix.glob("lib/libTessaly*.so"))
    for program in programs:
        needed = run("ldd", work / "installed/bin" / program, env={"LD_LIBRARY_PATH": f"{prefix}/lib", "PATH": "/usr/bin:/bin"})
        check(("libTessaly" in needed) == is_shared and "not found" not in needed, f"{program} needs\n{needed}")


if __name__ == "__main__":
    mode, arguments = sys.argv[1], [pathlib.Path(word) for word in sys.argv[2:]]
    position = 1 if mode == "tree" else 3
    shutil.rmtree(arguments[position], ignore_errors=True)
    arguments[position + 1:] = map(str, arguments[position + 1:])
    (check_tree if mode == "tree" else check_alone)(*arguments)
