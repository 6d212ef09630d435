#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether scripts/check_abi.py finds what breaks hosts: check_abi.py root

Compiles a small library in several variants, and compares each with the baseline of the first one.
"""

import pathlib
import subprocess
import sys
import tempfile

import tree

HEADER = "enum class Kind { none, one }; struct Point { int x; int y; virtual int sum() const; }; int area(Point); "
SOURCE = "int Point::sum() const { return x + y; } int area(Point p) { return p.x * p.y; } "
UNCHANGED = (HEADER, SOURCE)
BREAKING = {
    "a member": (HEADER.replace("int y;", "int y; int z;"), SOURCE),
    "the order of members": (HEADER.replace("int x; int y;", "int y; int x;"), SOURCE),
    "an enumeration": (HEADER.replace("none, one", "one, none") + "Kind kind(); ", SOURCE + "Kind kind() { return {}; } "),
    "a virtual function": (HEADER.replace("virtual", "virtual int product() const; virtual"),
                           SOURCE + "int Point::product() const { return x * y; } "),
    "a parameter": (HEADER.replace("area(Point)", "area(Point, int = 1)"), SOURCE.replace("Point p", "Point p, int")),
    "a removed function": (HEADER.replace("int area(Point); ", ""), SOURCE.split("int area")[0]),
}
HARMLESS = {
    "nothing": UNCHANGED,
    "another body": (HEADER, SOURCE.replace("p.x * p.y", "p.y * p.x + 0")),
    "a new function": (HEADER + "int more(); ", SOURCE + "int more() { return 1; } "),
}


def build(directory, variant, soname="libshape.so.1"):
    """Compiles a variant into a directory of its own. The enumeration is part of the interface in every variant."""
    header, source = variant
    if "kind()" not in header:
        header, source = header + "Kind kind(); ", source + "Kind kind() { return {}; } "
    directory.mkdir(parents=True)
    (directory / "shape.hpp").write_text(header, encoding="utf-8")
    (directory / "shape.cpp").write_text('#include "shape.hpp"\n' + source, encoding="utf-8")
    subprocess.run(["g++", "-g", "-shared", "-fPIC", f"-Wl,-soname,{soname}", "shape.cpp", "-o", f"{soname}.0"],
                   cwd=directory, check=True)


def status(root, directory, baselines, *options):
    command = ["python3", "-B", root / "scripts" / "check_abi.py", directory, "--baselines", baselines, "--headers",
               directory, *options]
    return subprocess.run(command, check=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode


def check(root):
    complaints = []
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        baselines = folder / "abi"
        baselines.mkdir()
        build(folder / "first", UNCHANGED)
        if status(root, folder / "first", baselines, "--update") != 0:
            complaints.append("No baseline can be made")
        for variants, isBreaking in ((BREAKING, True), (HARMLESS, False)):
            for name, variant in variants.items():
                build(folder / name, variant)
                if (status(root, folder / name, baselines) != 0) != isBreaking:
                    complaints.append(f"{name} counts as {'harmless' if isBreaking else 'breaking'}")
        build(folder / "raised", BREAKING["a member"], "libshape.so.2")
        if status(root, folder / "raised", baselines) != 0:
            complaints.append("A raised soname does not allow a change")
        build(folder / "other", UNCHANGED, "libother.so.1")
        if status(root, folder / "other", baselines) == 0:
            complaints.append("A missing library counts as success")
    return complaints


def self_test():
    # A check that finds everything unchanged.
    with tree.small_tree({"scripts/check_abi.py": ""}) as root:
        complaints = check(root)
        if len(complaints) != len(BREAKING) + 1:
            sys.exit(f"Expected one complaint for each breaking change and one for the missing library, got {complaints}")


tree.main(check, self_test)
