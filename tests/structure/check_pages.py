#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether readers find every page: check_pages.py root

docs/README.md links every page of docs/, README.md links docs/README.md, and every relative link leads to a file.
"""

import tree

INDEX = "docs/README.md"


def check(root):
    root = root.resolve()
    pages = sorted((root / "docs").rglob("*.md"))
    complaints = []
    for page in sorted(root.glob("*.md")) + pages:
        complaints += [f"{page.relative_to(root)} links {target.relative_to(root)}, which does not exist"
                       for target in tree.links(page) if not target.exists()]
    index = root / INDEX
    if index not in tree.links(root / "README.md"):
        complaints.append(f"README.md does not link {INDEX}")
    reached = set(tree.links(index)) | {index}
    return complaints + [f"{INDEX} does not link {page.relative_to(root)}" for page in pages if page not in reached]


def self_test():
    right = {"README.md": "[All](docs/README.md)\n", "docs/README.md": "[A](a.md), [B](b/b.md#part), [C](https://c.org)\n",
             "docs/a.md": "```\n[no](link.md)\n```\n![B](../picture.png)\n", "docs/b/b.md": "[A](../a.md)\n",
             "picture.png": ""}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, complaint in (("README.md", "Read on.\n", "README.md does not link docs/README.md"),
                                  ("docs/c.md", "", "docs/README.md does not link docs/c.md"),
                                  ("docs/b/b.md", "[A](a.md)\n", "docs/b/b.md links docs/b/a.md, which")):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
