#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether installed headers include packages: check_public_includes.py root

An installed header may include headers of Tessaly, of the standard library, and of the system where PLATFORM allows it.
It includes no header of a package, because every host would then need that package.
"""

import tree

# A file that is missing on purpose, which stops a host's compilation.
MISSING = "see-the-error-above"
PLATFORM = {"bits/chrono.h", "cxxabi.h", "pthread.h", "sys/types.h", "time.h", "unistd.h"}


def check(root):
    complaints = []
    for path in tree.headers(root):
        for kind, name in tree.INCLUDE.findall(tree.read(path)):
            is_standard = kind == "<" and "/" not in name and "." not in name
            if not (name.startswith("Tessaly/") or is_standard or name in PLATFORM or name == MISSING):
                complaints.append(f"{path.relative_to(root)} includes {name}")
    return complaints


def self_test():
    right = {"Tessaly/A.hpp": '#include <unistd.h>\n#include <vector>\n#include "Tessaly/B.hpp"\n', "Tessaly/B.hpp": "",
             "Tessaly/A.cpp": "#include <fmt/format.h>\n", "Tessaly/Platform/Linux/C.hpp": "#include <systemd/sd-bus.h>\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name in ("fmt/format.h", "unicode/uchar.h", "systemd/sd-bus.h", "archive.h", "openssl/evp.h", "nlohmann/json.hpp"):
        with tree.small_tree(right | {"Tessaly/B.hpp": f"#  include <{name}>\n"}) as root:
            tree.expect(check(root), f"Tessaly/B.hpp includes {name}")
    with tree.small_tree(right | {"Tessaly/B.hpp": '#include "B.hpp"\n'}) as root:
        tree.expect(check(root), "Tessaly/B.hpp includes B.hpp")


tree.main(check, self_test)
