# SPDX-License-Identifier: MIT
"""The common part of the checks on the tree.

A check is a function from the root of the tree to a list of complaints. Each script also has a self-test, which runs the
check on small trees. It shows that the check accepts a correct tree and finds a mistake.
"""

import contextlib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.MULTILINE)
FENCE = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\(([^)#\s]+)(?:#[^)\s]*)?\)")
ELSEWHERE = re.compile(r"[a-z]+:")


def main(check, self_test):
    if sys.argv[1] == "--self-test":
        self_test()
        return
    with tempfile.TemporaryDirectory() as folder:
        complaints = check(pathlib.Path(sys.argv[1]), *[loaded(argument, folder) for argument in sys.argv[2:]])
    if complaints:
        print("\n".join(complaints))
        sys.exit(1)


def loaded(argument, folder):
    """A library as the loader sees it. All objects of a static library are linked. Any other argument stays as it is."""
    if not argument.endswith(".a"):
        return argument
    library = pathlib.Path(folder) / (pathlib.Path(argument).stem + ".so")
    subprocess.run(["clang++-19", "-shared", "-fuse-ld=lld", "-Wl,--whole-archive", argument, "-Wl,--no-whole-archive",
                    "-o", library], check=True)
    return str(library)


def read(path):
    return path.read_text(encoding="utf-8")


def links(page):
    """The files that a page links, as paths."""
    text = FENCE.sub("", read(page))
    return [(page.parent / target).resolve() for target in LINK.findall(text) if not ELSEWHERE.match(target)]


def headers(root):
    """Every header that is installed."""
    return sorted(path for path in (root / "Tessaly").rglob("*.hpp")
                  if path.relative_to(root).parts[:3] != ("Tessaly", "Platform", "Linux"))


def files(root):
    """The files of the tree, without those of git and of builds. Other tests add and remove files in a build meanwhile."""
    found = []
    for name, below, contents in os.walk(root):
        directory = pathlib.Path(name)
        apart = {".git", "build"} if directory == root else {"__pycache__"}
        below[:] = set(below) - apart
        found += [directory / name for name in set(contents) - apart]
    return sorted(found)


def coroutine_headers(root):
    """The headers that reach Core/Tasks/Coroutines.hpp, which stops compilers that miscompile coroutines."""
    gate = "Tessaly/Core/Tasks/Coroutines.hpp"
    includes = {str(path.relative_to(root)): {name for _, name in INCLUDE.findall(read(path))}
                for path in (root / "Tessaly").rglob("*.hpp")}
    found = {gate} & set(includes)
    while True:
        more = {name for name, included in includes.items() if included & found} - found
        if not more:
            return {root / name for name in found}
        found |= more


@contextlib.contextmanager
def small_tree(files):
    """A temporary directory with these files, by name and text."""
    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        for name, text in files.items():
            path = root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        yield root


def expect(complaints, *fragments):
    """Stops a self-test unless each fragment is in one complaint, in order, and there are no others."""
    matches = len(complaints) == len(fragments) and all(
        fragment in complaint for fragment, complaint in zip(fragments, complaints))
    if not matches:
        sys.exit(f"Expected complaints with {list(fragments)}, got {complaints}")
