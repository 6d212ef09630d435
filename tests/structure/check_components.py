#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether docs/components.md and the headers name the component of each header: check_components.py root"""

import importlib.util
import pathlib

import tree

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "list_components.py"
specification = importlib.util.spec_from_file_location("list_components", SCRIPT)
list_components = importlib.util.module_from_spec(specification)
specification.loader.exec_module(list_components)

MEND = "run scripts/list_components.py --write"


def check(root):
    page = root / "docs" / "components.md"
    complaints = []
    if not page.exists() or tree.read(page) != list_components.page(root):
        complaints.append(f"docs/components.md is out of date: {MEND}")
    for path, _, component in list_components.public_headers(root):
        if tree.read(path) != list_components.with_line(tree.read(path), component):
            complaints.append(f"{path.relative_to(root)} does not name its component {component}: {MEND}")
    return complaints


def self_test():
    header = list_components.LICENCE + "// Component: Tessaly::Locks\n#pragma once\n"
    right = {"Tessaly/Core/Locks/CMakeLists.txt": "", "Tessaly/Core/Locks/Lock.hpp": header,
             "Tessaly/Core/Locks/detail/Word.hpp": list_components.LICENCE,
             "Adapters/Qt/MainLoop.hpp": header.replace("Locks", "QtAdapter")}
    page = (list_components.PAGE + "| `Tessaly/Core/Locks/Lock.hpp` | Locks |\n"
            "| `Tessaly/Adapters/Qt/MainLoop.hpp` | QtAdapter |\n")
    right["docs/components.md"] = page
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, complaint in (
            ("docs/components.md", page.replace("| Locks |", "| Base |"), "docs/components.md is out of date"),
            ("Tessaly/Core/Locks/Lock.hpp", header.replace("Locks", "Base"), "Lock.hpp does not name its component Locks"),
            ("Tessaly/Core/Locks/Lock.hpp", list_components.LICENCE, "Lock.hpp does not name its component Locks")):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
