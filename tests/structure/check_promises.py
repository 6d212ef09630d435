#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether every promise has its tests: check_promises.py root build-tree

A row of docs/promises.md or docs/security.md gives a promise an identifier. The list below the table names its proof. A
name in backquotes with a dot in it is a test of ctest; * stands for anything.
"""

import fnmatch
import json
import re
import subprocess

import tree

PAGES = ("docs/promises.md", "docs/security.md")
ROW = re.compile(r"^\| ([A-Z]+\d+) \| \S.* \|$", re.MULTILINE)
PROOF = re.compile(r"^- ([A-Z]+\d+): (.*(?:\n  .*)*)", re.MULTILINE)
NAME = re.compile(r"`([A-Za-z]+\.[\w.*]+)`")


def tests_of(build_tree):
    """The names of the tests. Newer versions of CMake name typed tests "Suite/Test" in place of "Suite"."""
    output = subprocess.run(["ctest", "--test-dir", build_tree, "--show-only=json-v1"], check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    return [test["name"].replace("/", ".") for test in json.loads(output)["tests"]]


def repeated(identifiers):
    return sorted({name for name in identifiers if identifiers.count(name) > 1})


def check(root, build_tree=None, known=None):
    known = known or tests_of(build_tree)
    text = "\n".join(tree.read(root / page) for page in PAGES if (root / page).exists())
    promises = ROW.findall(text)
    proofs = PROOF.findall(text)
    proven = [identifier for identifier, _ in proofs]
    complaints = [f"{name} stands twice" for name in repeated(promises) + repeated(proven)]
    complaints += [f"{name} has no proof" for name in promises if name not in proven]
    complaints += [f"{name} proves no promise" for name in proven if name not in promises]
    for identifier, proof in proofs:
        if "`" not in proof:
            complaints.append(f"{identifier} names no test")
        complaints += [f"{identifier} names {name}, which does not exist"
                       for name in NAME.findall(proof) if not fnmatch.filter(known, name)]
    return complaints


def self_test():
    known = ["Locks.Lock.Locks", "Locks.Lock.Unlocks", "Sanitizers.Leak"]
    head = "| | promise |\n|---|---|\n| L1 | It locks. |\n"
    for rest, *complaints in (("\n- L1: `Locks.Lock.Locks`,\n  `Locks.*`\n",),
                              ("\n- L1: `./run sanitize`\n",),
                              ("\n- L1: believe it\n", "L1 names no test"),
                              ("\n", "L1 has no proof"),
                              ("| L1 | It unlocks. |\n\n- L1: `Locks.*`\n", "L1 stands twice"),
                              ("\n- L1: `Locks.*`\n- L1: `Locks.*`\n", "L1 stands twice"),
                              ("\n- L1: `Locks.*`\n- L2: `Locks.*`\n", "L2 proves no promise"),
                              ("\n- L1: `Locks.Lock.Lock`\n", "L1 names Locks.Lock.Lock,"),
                              ("\n- L1: `Locks.*`,\n  `Flies.*`\n", "L1 names Flies.*,")):
        with tree.small_tree({PAGES[0]: head + rest}) as root:
            tree.expect(check(root, known=known), *complaints)
    with tree.small_tree({PAGES[0]: head, PAGES[1]: "- L1: `Locks.*`\n"}) as root:
        tree.expect(check(root, known=known))


tree.main(check, self_test)
