#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the sources avoid the patterns that an admitted compiler miscompiles: check_ways_round.py root

g++ 14 evaluates the left side of an assignment before an awaited right side. That changes nothing if the left side is a
plain name. It does if the left side is an element, the result of a call, or reached by a pointer.

g++ 14 evaluates the right side of && and || in the condition of a loop whatever the left side is, if it awaits there.
"""

import pathlib
import re
import sys

ASSIGNMENT = re.compile(r"[\])] *=\s*co_await\b|->\w+ *=\s*co_await\b")
# The condition may have calls whose arguments have calls.
CALLS = r"(?:[^()\n]|\((?:[^()\n]|\([^()\n]*\))*\))*"
LOOP = re.compile(rf"\b(?:while|for) \({CALLS}(?:&&|\|\|){CALLS}\bco_await\b{CALLS}\)")
KINDS = ((ASSIGNMENT, "assigns an awaited result to a place that g++ 14 looks up first: name the result"),
         (LOOP, "awaits behind && or || in the condition of a loop: await in its body"))
DIRECTORIES = ("Tessaly", "Adapters", "examples", "tools")


def complaints(root):
    found = []
    for directory in DIRECTORIES:
        for path in sorted((root / directory).rglob("*.?pp")):
            text = path.read_text(encoding="utf-8")
            found += [f"{path.relative_to(root)}:{text.count(chr(10), 0, match.start()) + 1} {what}"
                      for pattern, what in KINDS for match in pattern.finditer(text)]
    return found


def self_test():
    for text, is_refused in (("table[key] = co_await f();", True), ("place() =\n    co_await f();", True),
                             ("owner->member = co_await f();", True), ("auto result = co_await f();", False),
                             ("table[key] = result;", False), ("while (a && co_await f()) {", True),
                             ("for (; n < 2 || co_await f(); ++n) {", True), ("while (co_await f()) {", False),
                             ("while (a() && b(c())) co_await f();", False),
                             ("if (a && co_await f()) {", False)):
        if any(pattern.search(text) for pattern, _ in KINDS) != is_refused:
            sys.exit(f"Judged wrongly: {text}")


if sys.argv[1] == "--self-test":
    self_test()
else:
    sys.exit("\n".join(complaints(pathlib.Path(sys.argv[1]))) or None)
