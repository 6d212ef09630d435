#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether Tessaly/Tessaly.hpp includes every public header: check_everything.py root

Left out are the stand-ins for tests, and what is private to a library.
"""

import tree

EVERYTHING = "Tessaly/Tessaly.hpp"
APART = {"detail", "Testing"}


def check(root):
    included = {name for _, name in tree.INCLUDE.findall(tree.read(root / EVERYTHING))}
    public = {str(path.relative_to(root)) for path in tree.headers(root) if not APART & set(path.relative_to(root).parts)}
    return [f"{EVERYTHING} does not include {name}" for name in sorted(public - included - {EVERYTHING})]


def self_test():
    right = {EVERYTHING: '#include "Tessaly/Collections/A.hpp"\n', "Tessaly/Collections/A.hpp": "",
             "Tessaly/Platform/Testing/B.hpp": "", "Tessaly/Collections/detail/C.hpp": ""}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    with tree.small_tree(right | {"Tessaly/Collections/D.hpp": ""}) as root:
        tree.expect(check(root), "does not include Tessaly/Collections/D.hpp")


tree.main(check, self_test)
