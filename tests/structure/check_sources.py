#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What every source must and must not say: check_sources.py root

Sources begin with the licence, headers go on with #pragma once, and nothing names a folder of somebody's machine.
"""

import re

import tree

LICENCE = "SPDX-License-Identifier: MIT"
BEGINNINGS = {".cpp": f"// {LICENCE}\n", ".hpp": f"// {LICENCE}\n#pragma once\n",
              ".py": f"#!/usr/bin/env python3\n# {LICENCE}\n"}
COMPONENT = re.compile(r"(?<=\A// SPDX-License-Identifier: MIT\n)// Component: Tessaly::\w+\n")
MODULES = {"tests/structure/tree.py"}  # Scripts that nobody runs need no first line.

# Put together here, so that this file passes.
MACHINE = re.compile("|".join(re.escape("/" + name + "/") for name in ("work", "root")) + "|" + re.escape("/tmp/" + "build"))


def check(root):
    complaints = []
    for path in sorted(root.rglob("*")):
        if not tree.is_ours(path, root):
            continue
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
                complaints.append(f"{name}:{number} names a folder of one machine")
    return complaints


def self_test():
    right = {"Tessaly/A.hpp": BEGINNINGS[".hpp"] + "\nint a();\n",
             "Tessaly/B.hpp": BEGINNINGS[".hpp"].replace("#", "// Component: Tessaly::B\n#"), "Tessaly/A.cpp": BEGINNINGS[".cpp"],
             "scripts/a.py": BEGINNINGS[".py"], "docs/a.md": "See /usr/share/doc.\n",
             "tests/nocompile/a.cpp": f"// expected: error\n// {LICENCE}\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, complaint in (
            ("Tessaly/A.hpp", "#pragma once\n", "Tessaly/A.hpp does not begin"),
            ("Tessaly/A.hpp", BEGINNINGS[".cpp"], "Tessaly/A.hpp does not begin"),
            ("Tessaly/A.cpp", "\n" + BEGINNINGS[".cpp"], "Tessaly/A.cpp does not begin"),
            ("scripts/a.py", "import os\n", "scripts/a.py does not begin"),
            ("tests/nocompile/a.cpp", "// expected: error\n", "tests/nocompile/a.cpp does not name"),
            ("docs/a.md", "fine\nin /work" + "/main\n", "docs/a.md:2 names a folder")):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
