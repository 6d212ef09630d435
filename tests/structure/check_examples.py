#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether every example of the documentation is compiled: check_examples.py root

An example in the comments of Tessaly/<path>.hpp is indented by four or more. It must stand line for line, apart from
its indentation, in examples/snippets/<path>.cpp. A C++ block of a page must stand in a file of examples/snippets/docs or
in a host program of examples.
"""

import re
import textwrap

import tree

COMMENT = re.compile(r"^\s*/// ?(.*)$")
BLOCK = re.compile(r"^```(?:cpp|c\+\+)\n(.*?)^```", re.MULTILINE | re.DOTALL)


def examples_in_comments(text):
    """Pairs of line number and example. An example follows an empty comment line, as in Markdown."""
    lines = [match.group(1) if (match := COMMENT.match(line)) else None for line in text.splitlines()]
    number = 0
    while number < len(lines):
        follows_empty = number == 0 or not lines[number - 1]
        if not (lines[number] and lines[number].startswith("    ") and follows_empty):
            number += 1
            continue
        first = number
        while number < len(lines) and lines[number] is not None and (
                lines[number].startswith("    ") or not lines[number].strip()):
            number += 1
        yield first + 1, "\n".join(lines[first:number])


def is_within(example, text):
    wanted = textwrap.dedent(example).strip("\n").splitlines()
    lines = text.splitlines()
    for start in range(len(lines) - len(wanted) + 1):
        found = textwrap.dedent("\n".join(lines[start:start + len(wanted)])).splitlines()
        if [line.rstrip() for line in found] == [line.rstrip() for line in wanted]:
            return True
    return False


def check(root):
    complaints = []
    snippets = root / "examples" / "snippets"
    for path in tree.headers(root) + sorted((root / "Adapters").rglob("*.hpp")):
        base = root / "Tessaly" if path.is_relative_to(root / "Tessaly") else root
        snippet = (snippets / path.relative_to(base)).with_suffix(".cpp")
        for line, example in examples_in_comments(tree.read(path)):
            if not snippet.exists():
                complaints.append(f"{path.relative_to(root)}:{line} has an example, but there is no "
                                  f"{snippet.relative_to(root)}")
            elif not is_within(example, tree.read(snippet)):
                complaints.append(f"{path.relative_to(root)}:{line} has an example that {snippet.relative_to(root)} "
                                  "does not have")
    pages = "\n".join(tree.read(path) for path in sorted(
        [*(snippets / "docs").glob("*.cpp"), *snippets.parent.glob("*/*.hpp"), *snippets.parent.glob("*/*.cpp")]))
    for path in sorted([*root.glob("*.md"), *(root / "docs").rglob("*.md")]):
        text = tree.read(path)
        for match in BLOCK.finditer(text):
            if not is_within(match.group(1), pages):
                line = text.count("\n", 0, match.start()) + 1
                complaints.append(f"{path.relative_to(root)}:{line} has an example that neither "
                                  "examples/snippets/docs nor a host program has")
    return complaints


def self_test():
    header = "/// A lock.\n///\n///     Lock lock;\n///     {\n///       lock.lock();\n///     }\nclass Lock {};\n"
    snippet = "void show() {\n  Lock lock;\n  {\n    lock.lock();\n  }\n}\n"
    page = "Text\n\n```cpp\nint a;\n\nint b;\n```\n"
    right = {"Tessaly/A.hpp": header, "examples/snippets/A.cpp": snippet, "README.md": page,
             "examples/snippets/docs/README.cpp": "void f() {\n  int a;\n\n  int b;\n}\n",
             "Tessaly/B.hpp": "/// A list:\n/// - one\n///     and more of it\nclass B {};\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, complaint in (
            ("examples/snippets/A.cpp", snippet.replace("lock.lock", "lock.unlock"), "A.hpp:3 has an example that"),
            ("examples/snippets/A.cpp", snippet.replace("    lock.lock", "  lock.lock"), "A.hpp:3 has an example that"),
            ("examples/snippets/A.cpp", snippet.replace("  {\n", "  \n  {\n"), "A.hpp:3 has an example that"),
            ("Tessaly/B.hpp", "class B {\n  /// b\n  ///\n  ///     b();\n  void b();\n};\n", "B.hpp:4 has an example, but"),
            ("docs/a.md", "```cpp\nint c;\n```\n", "docs/a.md:1 has an example that")):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
