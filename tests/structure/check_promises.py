#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the tests that docs/promises.md names exist: check_promises.py root build-tree

A name in backquotes with a dot in it, in the second column of a table, is one of ctest's; * stands for anything.
"""

import fnmatch
import json
import re
import subprocess

import tree

NAME = re.compile(r"`([A-Za-z]+\.[\w.*]+)`")


def tests_of(build_tree):
    said = subprocess.run(["ctest", "--test-dir", build_tree, "--show-only=json-v1"], check=True, text=True,
                          stdout=subprocess.PIPE).stdout
    return [test["name"] for test in json.loads(said)["tests"]]


def check(root, build_tree=None, known=None):
    known = known or tests_of(build_tree)
    complaints = []
    for number, line in enumerate(tree.read(root / "docs" / "promises.md").splitlines(), 1):
        if not line.startswith("| ") or line.startswith("| promise |"):
            continue
        proof = line.split(" | ")[-1]
        if "`" not in proof:
            complaints.append(f"docs/promises.md:{number} names no proof")
        for name in NAME.findall(proof):
            if not fnmatch.filter(known, name):
                complaints.append(f"docs/promises.md:{number} names {name}, which is not there")
    return complaints


def self_test():
    known = ["Locks.Lock.Locks", "Locks.Lock.Unlocks", "Sanitizers.Leak"]
    head = "| promise | proof |\n|---|---|\n"
    for row, *complaints in (("| It locks. | `Locks.Lock.Locks`, `Locks.*` |",),
                             ("| It is clean. | `./run sanitize` |",),
                             ("| It locks. | believe it |", "docs/promises.md:3 names no proof"),
                             ("| It locks. | `Locks.Lock.Lock` |", "docs/promises.md:3 names Locks.Lock.Lock,"),
                             ("| It flies. | `Flies.*`, `Locks.*` |", "docs/promises.md:3 names Flies.*,")):
        with tree.small_tree({"docs/promises.md": head + row + "\n"}) as root:
            tree.expect(check(root, known=known), *complaints)


tree.main(check, self_test)
