#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether a library does anything at load time: check_initialisers.py root library...

Counts the functions that the loader calls in each shared library, without the compiler's own. ALLOWED names the
permitted numbers and their reasons.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

import tree

ALLOWED = {}
# What crt files and libgcc put into each library.
OF_THE_COMPILER = {"frame_dummy", "init_have_lse_atomics"}


def run(*command):
    return subprocess.run([str(part) for part in command], check=True, text=True, stdout=subprocess.PIPE).stdout


def initialisers(library):
    """The names of the functions in .init_array, and of those in .ctors or .init if there are any."""
    section = re.search(r"\] \.init_array\s+\S+\s+([0-9a-f]+) [0-9a-f]+ ([0-9a-f]+)", run("readelf", "-WS", library))
    if section is None:
        return []
    start, size = (int(text, 16) for text in section.groups())
    names = {}  # Without "$x", which marks the beginning of code for arm64.
    for address, name in re.findall(r"^([0-9a-f]+) [tTwW] ([^$\s]\S*)$", run("nm", library), re.MULTILINE):
        names.setdefault(int(address, 16), name)
    found = []
    for place, rest in re.findall(r"^([0-9a-f]+) +[0-9a-f]+ R_\w+ +(.*)$", run("readelf", "-Wr", library), re.MULTILINE):
        if start <= int(place, 16) < start + size:
            target = rest.split()[-1]
            found.append(names.get(int(target, 16), target) if re.fullmatch("[0-9a-f]+", target) else target)
    if len(found) != size // 8:
        sys.exit(f"{library} has {size // 8} initialisers, of which only {found} could be read")
    return [name for name in found if name not in OF_THE_COMPILER]


def check(_, *libraries):
    if not libraries:
        return ["No library to look at"]
    complaints = []
    for library in libraries:
        name = pathlib.Path(library).name.split(".")[0]
        found = initialisers(library)
        if len(found) != ALLOWED.get(name, 0):
            complaints.append(f"{name} has {len(found)} initialisers instead of {ALLOWED.get(name, 0)}: {', '.join(found)}")
    return complaints


def self_test():
    with tempfile.TemporaryDirectory() as folder:
        def library(name, text):
            source = pathlib.Path(folder) / f"{name}.cpp"
            source.write_text(text, encoding="utf-8")
            run("clang++-19", "-std=c++23", "-shared", "-fPIC", "-fuse-ld=lld", source, "-o", source.with_suffix(".so"))
            return source.with_suffix(".so")

        quiet = library("quiet", "constinit int number = 1; int f() { static int n = f(); return n + number; }")
        loud = library("loud", "int f(); int number = f(); struct A { A(); }; A a;")
        tree.expect(check(None, quiet))
        tree.expect(check(None, quiet, loud), "loud has 1 initialisers instead of 0: _GLOBAL__sub_I_loud.cpp")
        tree.expect(check(None), "No library")
        for name in ("quiet", "loud"):
            source = pathlib.Path(folder) / name
            run("clang++-19", "-std=c++23", "-c", "-fPIC", f"{source}.cpp", "-o", f"{source}.o")
            run("ar", "rc", f"{folder}/lib{name}.a", f"{source}.o")
        tree.expect(check(None, tree.loaded(f"{folder}/libquiet.a", folder)))
        tree.expect(check(None, tree.loaded(f"{folder}/libloud.a", folder)), "libloud has 1 initialisers instead of 0")


tree.main(check, self_test)
