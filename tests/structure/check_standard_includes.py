#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether headers include the standard headers that they use: check_standard_includes.py root

A header that relies on the includes of another header stops compiling with another standard library, or when the other
header changes. That each header compiles alone does not show this. The check knows the names that the library uses most.
"""

import re

import tree

NAMES = {
    "algorithm": r"clamp|max|min|ranges::(?:copy|count|equal|find|find_if|lower_bound|reverse|sort|upper_bound)",
    "array": r"array",
    "atomic": r"atomic|memory_order_\w+",
    "chrono": r"chrono",
    "cstddef": r"byte|nullptr_t|ptrdiff_t|size_t",
    "cstdint": r"u?int(?:8|16|32|64|max|ptr)_t",
    "exception": r"current_exception|exception|exception_ptr|make_exception_ptr|rethrow_exception",
    "functional": r"function|hash|invoke|less|move_only_function",
    "map": r"map",
    "memory": r"construct_at|enable_shared_from_this|make_shared|make_unique|shared_ptr|unique_ptr|weak_ptr",
    "new": r"align_val_t|bad_alloc|nothrow",
    "optional": r"nullopt|optional",
    "set": r"set",
    "span": r"span",
    "string": r"string|to_string|u16string",
    "string_view": r"string_view|u16string_view",
    "utility": r"as_const|exchange|forward|move|pair|swap|to_underlying|unreachable",
    "variant": r"variant|visit",
    "vector": r"vector",
}
# Headers of the library that stand for a header of the standard library, because they compile sooner.
STAND_INS = {"chrono": "Tessaly/Core/Base/Durations.hpp"}
USES = {header: re.compile(rf"\bstd::({names})\b") for header, names in NAMES.items()}
COMMENT_OR_TEXT = re.compile(r'//.*|"(?:\\.|[^"\\])*"')


def check(root):
    complaints = []
    for path in sorted((root / "Tessaly").rglob("*.hpp")):
        text = tree.read(path)
        included = {name for _, name in tree.INCLUDE.findall(text)}
        code = COMMENT_OR_TEXT.sub("", text)
        for header, use in USES.items():
            found = use.search(code)
            if found and not included & {header, STAND_INS.get(header)}:
                complaints.append(f"{path.relative_to(root)} uses {found.group()} without <{header}>")
    return complaints


def self_test():
    right = {"Tessaly/A.hpp": "#include <utility>\n// As std::vector does.\nauto a = std::move(b);\n",
             "Tessaly/B.hpp": 'auto text = "std::vector";\nstd::memory_resource* r;\nstd::hash_set s;\n',
             "Tessaly/D.hpp": '#include "Tessaly/Core/Base/Durations.hpp"\nstd::chrono::seconds s;\n',
             "Tessaly/C.cpp": "std::vector<int> numbers;\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for text, complaint in (("std::size_t size;\n", "B.hpp uses std::size_t without <cstddef>"),
                            ("#include <vector>\nauto a = std::ranges::find(b, c);\n", "without <algorithm>"),
                            ("int a; // one\nstd::atomic<int> b{0};\n", "uses std::atomic without <atomic>")):
        with tree.small_tree(right | {"Tessaly/B.hpp": text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
