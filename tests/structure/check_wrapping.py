#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the lines of the documentation are wrapped: check_wrapping.py root

A line has at most 120 characters. Rows of tables, code, pictures and a single long word are exempt. No line ends inside
the text of a link, because Doxygen shows such a link as text. The script scripts/wrap_pages.py mends a page.
"""

import re

import tree

LONGEST = 120
OPEN_LINK = re.compile(r"\[[^\[\]`]*$")
EXEMPT = re.compile(r"\||    \S|!\[|\s*(?:- )?\S+$")


def check(root):
    complaints = []
    for path in sorted([*root.glob("*.md"), *(root / "docs").rglob("*.md")]):
        is_code = False
        lines = tree.read(path).splitlines()
        for number, (line, following) in enumerate(zip(lines, [*lines[1:], ""]), 1):
            if line.startswith("```"):
                is_code = not is_code
            if len(line) > LONGEST and not is_code and not EXEMPT.match(line):
                complaints.append(f"{path.relative_to(root)}:{number} has {len(line)} characters")
            if not is_code and OPEN_LINK.search(line) and re.match(r"[^\[\]]*\]\(", following):
                complaints.append(f"{path.relative_to(root)}:{number} ends inside a link")
    return complaints


def self_test():
    long = "word " * 25
    right = {"README.md": f"| {long}|\n    {long}\n```\n{long}\n```\n- {'x' * 130}\n{'word ' * 23}word\n", "docs/a.md": "Short.\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, complaint in (("docs/b/c.md", f"Short.\n{long}\n", "docs/b/c.md:2 has 125 characters"),
                                  ("README.md", f"```\n```\n- {long}\n", "README.md:3 has 127 characters"),
                                  ("README.md", "See [the\npage](docs/a.md).\n", "README.md:1 ends inside a link")):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
