#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The rules for every source: check_sources.py root

A source begins with the licence, and a header continues with #pragma once. No file names a directory of one machine. No
report of a fatal error has a bare number for its line.
"""

import re

import tree

# A line of a fatal report that differs from the line in the source must be a named constant.
BARE_REPORT_LINE = re.compile(r'"Tessaly/[\w+]+", \d+')

LICENCE = "SPDX-License-Identifier: MIT"
BEGINNINGS = {".cpp": f"// {LICENCE}\n", ".hpp": f"// {LICENCE}\n#pragma once\n",
              ".py": f"#!/usr/bin/env python3\n# {LICENCE}\n"}
COMPONENT = re.compile(r"(?<=\A// SPDX-License-Identifier: MIT\n)// Component: Tessaly::\w+\n")
MODULES = {"tests/structure/tree.py"}  # A script that is only imported needs no first line.

# The parts are joined here, so that this file passes.
MACHINE = re.compile("|".join(re.escape("/" + name + "/") for name in ("work", "root")) + "|" + re.escape("/tmp/" + "build"))


def check(root):
    complaints = []
    for path in tree.files(root):
        name = str(path.relative_to(root))
        try:
            text = tree.read(path)
        except UnicodeDecodeError:
            continue  # A seed of a fuzz target, or an image.
        beginning = BEGINNINGS.get(path.suffix, "")
        if name in MODULES:
            beginning = f"# {LICENCE}\n"
        if path.suffix == ".cpp" and name.startswith("tests/nocompile/"):
            beginning = "// expected: "
            if f"// {LICENCE}\n" not in text:
                complaints.append(f"{name} does not name its licence")
        if not COMPONENT.sub("", text, count=1).startswith(beginning):
            complaints.append(f"{name} does not begin with {beginning!r}")
        for number, line in enumerate(text.splitlines(), 1):
            if MACHINE.search(line):
                complaints.append(f"{name}:{number} names a directory of one machine")
            if name.startswith("Tessaly/") and BARE_REPORT_LINE.search(line):
                complaints.append(f"{name}:{number} reports a line that is a bare number")
    return complaints


def self_test():
    right = {"Tessaly/A.hpp": BEGINNINGS[".hpp"] + "\nint a();\n",
             "Tessaly/B.hpp": BEGINNINGS[".hpp"].replace("#", "// Component: Tessaly::B\n#"), "Tessaly/A.cpp": BEGINNINGS[".cpp"],
             "build/A.cpp": "", ".git": "", "scripts/a.py": BEGINNINGS[".py"], "docs/a.md": "See /usr/share/doc.\n",
             "tests/nocompile/a.cpp": f"// expected: error\n// {LICENCE}\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, complaint in (
            ("Tessaly/A.hpp", "#pragma once\n", "Tessaly/A.hpp does not begin"),
            ("Tessaly/A.hpp", BEGINNINGS[".cpp"], "Tessaly/A.hpp does not begin"),
            ("Tessaly/A.cpp", "\n" + BEGINNINGS[".cpp"], "Tessaly/A.cpp does not begin"),
            ("scripts/a.py", "import os\n", "scripts/a.py does not begin"),
            ("tests/nocompile/a.cpp", "// expected: error\n", "tests/nocompile/a.cpp does not name"),
            ("Tessaly/A.cpp", BEGINNINGS[".cpp"] + 'fatalError("a", "Tessaly/A", 1);\n', "Tessaly/A.cpp:2 reports a line"),
            ("docs/a.md", "fine\nin /work" + "/main\n", "docs/a.md:2 names a directory")):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
