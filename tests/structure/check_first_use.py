#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the child of a fork can wait for ever for a first use: check_first_use.py root library...

A function-local static that is made at first use has a guard. The child of a fork that came while another thread held
the guard waits for ever. So the libraries that a child may call have none: they use `madeOnce` of
Tessaly/Core/Base/detail/FirstUse.hpp.
"""

import pathlib
import re
import subprocess

import tree

LIBRARIES = ("Base", "Locks", "Logging", "Tasks", "Observation")
GUARD = re.compile(r"guard variable for (.*)")


def symbols_of(library):
    return subprocess.run(["nm", "-C", library], check=True, text=True, stdout=subprocess.PIPE).stdout


def check(root, *libraries, symbols=None):
    complaints = []
    for name in LIBRARIES:
        files = [path for path in libraries if pathlib.Path(path).name.startswith(f"libTessaly{name}.so")]
        for text in [symbols.get(name, "")] if symbols else [symbols_of(path) for path in files]:
            complaints += [f"{name}: {static} is made under a guard; use madeOnce" for static in GUARD.findall(text)]
    return complaints


def self_test():
    assert check(None, symbols={"Tasks": "0000 b guard variable for shared()::queue\n0000 T shared()\n"}) == [
        "Tasks: shared()::queue is made under a guard; use madeOnce"]
    assert check(None, symbols={"Tasks": "0000 T shared()\n", "Files": "0 b guard variable for a::b\n"}) == []


tree.main(check, self_test)
