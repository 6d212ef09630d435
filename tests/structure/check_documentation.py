#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether every public type is documented: check_documentation.py root

Every class and struct of an installed header has a comment. The comment of a class states its thread contract and shows
a short example. Code in a namespace or directory called detail is not public.
"""

import re

import tree

CONTRACT = re.compile(r"Thread contract: (thread-safe|thread-compatible|main-isolated)\b")
EXAMPLE = re.compile(r"^///\n///     \S", re.MULTILINE)
DEFINITION = re.compile(
    r"((?:^///.*\n)*)(?:^template <(?:.*,\n +)*.*>\n)?(?:^  requires .*\n)*"
    r"^(class|struct) (?:\[\[.*?\]\] |TESSALY_\w+(?:\(.*?\))? )*(\w+)(?: final)?(?: : [^{;]*)? \{",
    re.MULTILINE)


def without_details(text):
    """The text without its namespaces called detail."""
    return re.sub(r"^namespace (?:[\w: ]+::)?detail \{.*?^\}  // namespace [\w: ]*detail$", "", text,
                  flags=re.MULTILINE | re.DOTALL)


def check(root):
    complaints = []
    for path in tree.headers(root):
        name = path.relative_to(root)
        if "detail" in name.parts:
            continue
        text = without_details(tree.read(path))
        for match in DEFINITION.finditer(text):
            comment, kind, type_name = match.groups()
            if not comment:
                complaints.append(f"{name}: {type_name} has no comment")
            elif kind == "class":
                if not CONTRACT.search(comment):
                    complaints.append(f"{name}: {type_name} has no thread contract")
                if not EXAMPLE.search(comment):
                    complaints.append(f"{name}: {type_name} has no example")
    return complaints


def self_test():
    right = """\
/// A lock.
///
/// Thread contract: thread-safe.
///
///     Lock lock;
template <typename T,
          typename U>
class [[nodiscard]] TESSALY_CAPABILITY("lock") Lock final : public Base {
  int word;
};

/// A point.
struct Point {
  int x;
};

class Later;

namespace detail {
class Hidden {
};
}  // namespace detail
"""
    inner = "namespace Tessaly::inline v1::detail {\nclass Hidden {\n};\n}  // namespace Tessaly::inline v1::detail\n"
    with tree.small_tree({"Tessaly/A.hpp": right, "Tessaly/B.hpp": inner, "Tessaly/detail/C.hpp": "class C {\n};\n"}) as root:
        tree.expect(check(root))
    for old, new, complaint in (("thread-safe", "careful", "Lock has no thread contract"),
                                ("///     Lock lock;", "/// Lock lock;", "Lock has no example"),
                                ("/// A point.\n", "", "Point has no comment"),
                                ("namespace detail {", "namespace open {", "Hidden has no comment")):
        with tree.small_tree({"Tessaly/A.hpp": right.replace(old, new)}) as root:
            tree.expect(check(root), f"Tessaly/A.hpp: {complaint}")


tree.main(check, self_test)
