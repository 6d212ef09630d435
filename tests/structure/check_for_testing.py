#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether functions that exist for tests are called by tests only: check_for_testing.py root

Their names end in ForTesting. They are declared and defined in the library; only the folders of APART may call them.
"""

import re

import tree

APART = {"tests", "fuzz", "benchmarks"}
NAME = re.compile(r"\b\w+ForTesting\b")
# In a declaration or a definition, a type precedes the name. In a call or an address expression, one of these precedes
# it.
BEFORE_USE = re.compile(r"(?:^|[-+*/%&|^!~?:=<>(){}\[\],;.]|\breturn|\bco_await|\bco_return|\bco_yield|\bthrow)\s*(?:\w+::)*$")
TYPE_BEFORE = re.compile(r"[\w>]\s*[*&]+\s*(?:\w+::)*$|>\s+(?:\w+::)*$")


def without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", lambda comment: re.sub(r"[^\n]", " ", comment.group()), text, flags=re.DOTALL)


def is_use(before):
    return bool(BEFORE_USE.search(before)) and not TYPE_BEFORE.search(before)


def check(root):
    complaints = []
    for path in tree.files(root):
        if path.suffix not in (".cpp", ".hpp") or path.relative_to(root).parts[0] in APART:
            continue
        for number, line in enumerate(without_comments(tree.read(path)).splitlines(), 1):
            complaints += [f"{path.relative_to(root)}:{number} uses {found.group()}, which is for tests"
                           for found in NAME.finditer(line) if is_use(line[:found.start()])]
    return complaints


def self_test():
    right = {"Tessaly/A.hpp": "  [[nodiscard]] std::size_t countForTesting() const noexcept { return count_; }\n"
                              "  static A& sharedForTesting();\n  std::vector<int> allForTesting() const;\n"
                              "  // callsForTesting() of others\n",
             "Tessaly/A.cpp": "A& A::sharedForTesting() { return a; }\nstd::vector<int> A::allForTesting() const {}\n",
             "tests/ATests.cpp": "EXPECT_EQ(a.countForTesting(), 1);\n", "fuzz/AFuzzer.cpp": "a.countForTesting();\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for line in ("  a.countForTesting();", "  const auto& b = A::sharedForTesting();", "return a->allForTesting();",
                 "return countForTesting();", "countForTesting();", "f(a, b.countForTesting());",
                 "auto f = &A::countForTesting;", "if (!countForTesting()) {", "co_await countForTesting();"):
        for name in ("Tessaly/A.cpp", "Tessaly/B.cpp", "tools/B.cpp", "examples/B.cpp", "Adapters/B.hpp"):
            with tree.small_tree(right | {name: f"\n{line}\n"}) as root:
                tree.expect(check(root), f"{name}:2 uses ")


tree.main(check, self_test)
