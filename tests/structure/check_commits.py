#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether commit messages keep the rules of CONTRIBUTING.md: check_commits.py root

A subject has at most 72 characters and an area in front: "Tasks: keep a job's state with the job". A body says why,
unless the commit only moves files. Commits up to BASE are older than the rule. A tree without their history passes.
"""

import re
import subprocess

import tree

BASE = "ea3e710cabd5"
SUBJECT = re.compile(r"[A-Z][\w+]*: \S")
LONGEST_SUBJECT = 72


def git(root, *arguments):
    """The output of git, or nothing if it fails."""
    try:
        run = subprocess.run(["git", "-C", root, *arguments], text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                             check=False)
    except FileNotFoundError:
        return ""
    return run.stdout if run.returncode == 0 else ""


def only_moves(changes):
    """Whether the changed files are renamed files, and files that follow their new names."""
    kinds = {line[0] for line in changes.splitlines() if line}
    return "R" in kinds and kinds <= {"R", "M"}


def commits(root):
    """Name, message and changed files of each commit after BASE."""
    for name in git(root, "rev-list", "--no-merges", f"{BASE}..HEAD").split():
        yield (name[:8], git(root, "show", "--no-patch", "--format=%B", name),
               git(root, "show", "--name-status", "--find-renames", "--format=", name))


def check(root, history=None):
    complaints = []
    for name, message, changes in history if history is not None else commits(root):
        subject, _, body = message.strip().partition("\n")
        if len(subject) > LONGEST_SUBJECT:
            complaints.append(f"{name}: the subject has {len(subject)} characters: {subject}")
        if not SUBJECT.match(subject):
            complaints.append(f"{name}: no area in front of the subject: {subject}")
        if not body.strip() and not only_moves(changes):
            complaints.append(f"{name}: no body that says why: {subject}")
    return complaints


def self_test():
    good = "Tasks: keep a job's state with the job\n\nIt was looked up twice.\n"
    change, move = "M\ta.cpp\n", "R100\ta.cpp\tb.cpp\nM\tCMakeLists.txt\n"
    for message, changes, *complaints in ((good, change), ("House: move the floor\n", move),
                                          ("House: move the floor\n", change, "1: no body"),
                                          ("House: move the floor\n", move + "A\tc.cpp\n", "1: no body"),
                                          ("Keep a job's state\n\nWhy.\n", change, "1: no area"),
                                          ("Tasks: " + "x" * 66 + "\n\nWhy.\n", change, "1: the subject has 73")):
        tree.expect(check(None, [("1", message, changes)]), *complaints)
    with tree.small_tree({"a.md": ""}) as root:
        tree.expect(check(root))  # There is no history.


tree.main(check, self_test)
