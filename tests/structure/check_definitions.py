#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether each library defines the functions that its headers declare: check_definitions.py root library...

A host that includes a header and links its library must not meet an undefined symbol. So a library does not define the
member of a class whose header belongs to another library. The backends in Platform/Linux/ belong to several libraries.
"""

import collections
import pathlib
import re
import subprocess

import tree

CLASS = re.compile(r"^ *(?:class|struct) (?:\[\[.*?\]\] |TESSALY_\w+(?:\(.*?\))? )*([\w:]+)(?: final)?(?: : [^{;]*)? \{",
                   re.MULTILINE)
LIBRARY = re.compile(r"tessaly_library\(\s*(\w+)")
MEMBER = re.compile(r"^Tessaly::v1::(?:detail::)?([\w:]+)::~?\w+(?:\[abi:\w+\])?\(")
ANYWHERE = "Tessaly/Platform/Linux"


def directories_of_classes(root):
    """The directories of the headers that define a class, by the name of the class."""
    found = collections.defaultdict(set)
    for path in (root / "Tessaly").rglob("*.hpp"):
        directory = str(path.parent.relative_to(root)).removesuffix("/detail")
        for name in CLASS.findall(tree.read(path)):
            found[name.removeprefix("detail::")].add(directory)
    return found


def directories_of_libraries(root):
    return {name: str(path.parent.relative_to(root)) for path in (root / "Tessaly").rglob("CMakeLists.txt")
            for name in LIBRARY.findall(tree.read(path))}


def symbols_of(library):
    output = subprocess.run(["nm", "-DC", "--defined-only", library], check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    return [line.split(" ", 2)[2] for line in output.splitlines() if line.split(" ", 2)[1] == "T"]


def check(root, *libraries, symbols=None):
    classes = directories_of_classes(root)
    complaints = []
    for name, directory in directories_of_libraries(root).items():
        files = [path for path in libraries if pathlib.Path(path).name.startswith(f"libTessaly{name}.so")]
        for symbol in symbols[name] if symbols else [symbol for path in files for symbol in symbols_of(path)]:
            member = MEMBER.match(symbol)
            declared = classes.get(member.group(1), {ANYWHERE}) if member else {ANYWHERE}
            if not declared & {directory, ANYWHERE}:
                complaints.append(f"{name} defines {symbol}, which is declared in {sorted(declared)[0]}")
    return complaints


def self_test():
    files = {"Tessaly/A/CMakeLists.txt": "tessaly_library(A SOURCES Queue.cpp)\n",
             "Tessaly/A/Queue.hpp": "class Queue {\n};\nclass Queue::Inner final {\n};\n",
             "Tessaly/B/CMakeLists.txt": "tessaly_library(B)\n", "Tessaly/B/detail/Delay.hpp": "struct detail::Delay {\n};\n",
             "Tessaly/Platform/Linux/Bus.hpp": "class Bus {\n};\n"}
    own = {"A": ["Tessaly::v1::Queue::main()", "Tessaly::v1::Bus::~Bus()"], "B": ["Tessaly::v1::detail::Delay::start(int)"]}
    with tree.small_tree(files) as root:
        tree.expect(check(root, symbols=own))
        for symbol in ("Tessaly::v1::Queue::delay(double)", "Tessaly::v1::Queue::Inner::text[abi:cxx11]() const"):
            tree.expect(check(root, symbols=own | {"B": [symbol]}), f"B defines {symbol}, which is declared in Tessaly/A")


tree.main(check, self_test)
