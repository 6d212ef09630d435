#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether Tessaly/Tessaly.hpp includes every public header and no other: check_everything.py root

Public are the headers that are installed for hosts: not those in detail/, those of a system's backends, which are not
installed, or the stand-ins for tests.
"""

import tree

EVERYTHING = "Tessaly/Tessaly.hpp"
APART = {"detail", "Testing"}


def check(root):
    included = {name for _, name in tree.INCLUDE.findall(tree.read(root / EVERYTHING))}
    public = {str(path.relative_to(root)) for path in tree.headers(root) if not APART & set(path.relative_to(root).parts)}
    public.discard(EVERYTHING)
    return ([f"{EVERYTHING} does not include {name}" for name in sorted(public - included)]
            + [f"{EVERYTHING} includes {name}, which is not public" for name in sorted(included - public)])


def self_test():
    right = {EVERYTHING: '#include "Tessaly/Collections/A.hpp"\n', "Tessaly/Collections/A.hpp": "",
             "Tessaly/Platform/Testing/B.hpp": "", "Tessaly/Collections/detail/C.hpp": "",
             "Tessaly/Platform/Linux/E.hpp": ""}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    with tree.small_tree(right | {"Tessaly/Collections/D.hpp": ""}) as root:
        tree.expect(check(root), "does not include Tessaly/Collections/D.hpp")
    for name in ("Tessaly/Platform/Linux/E.hpp", "Tessaly/Collections/detail/C.hpp", "Tessaly/Gone.hpp"):
        with tree.small_tree(right | {EVERYTHING: right[EVERYTHING] + f'#include "{name}"\n'}) as root:
            tree.expect(check(root), f"includes {name}, which is not public")


tree.main(check, self_test)
