#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What a host learns that compiles with too little: check_requirements.py root

Every public header reaches Core/Base/Requirements.hpp, which ends the compilation with one line that says what is needed.
"""

import re
import subprocess

import tree

GATE = "Tessaly/Core/Base/Requirements.hpp"
ANY_HEADER = "Tessaly/Concurrency/Mutex.hpp"
# The command of a compiler, and its expected message.
HOSTS = (
    (("clang++-19", "-std=c++20"), "Tessaly needs C++23. Compile with -std=c++23."),
    (("g++", "-std=c++20"), "Tessaly needs C++23. Compile with -std=c++23."),
    (("clang++-19", "-std=c++23", "-fno-rtti"), "Tessaly needs run-time type information. Compile without -fno-rtti."),
    (("g++", "-std=c++23", "-fno-rtti"), "Tessaly needs run-time type information. Compile without -fno-rtti."),
    (("clang++-19", "-std=c++23", "-fno-exceptions"), "Tessaly needs exceptions. Compile without -fno-exceptions."),
    (("g++", "-std=c++23", "-fno-exceptions"), "Tessaly needs exceptions. Compile without -fno-exceptions."),
    (("clang++-19", "-std=c++23", "-U__clang_major__", "-D__clang_major__=14", "-Wno-builtin-macro-redefined"),
     "Tessaly needs clang 19 or later. Debian: apt install clang-19."),
)


def headers_without_gate(root):
    """The public headers that do not reach the gate."""
    includes = {str(path.relative_to(root)): {name for _, name in tree.INCLUDE.findall(tree.read(path))}
                for path in (root / "Tessaly").rglob("*.hpp")}
    reaching = {GATE}
    while True:
        more = {name for name, included in includes.items() if included & reaching} - reaching
        if not more:
            break
        reaching |= more
    public = {str(path.relative_to(root)) for path in tree.headers(root) if "detail" not in path.parts}
    return sorted(public - reaching)


def check(root):
    complaints = [f"{name} does not reach {GATE}" for name in headers_without_gate(root)]
    for command, expected in HOSTS:
        result = subprocess.run([*command, "-fsyntax-only", f"-I{root}", "-xc++", "-"], input=f'#include <{ANY_HEADER}>\n',
                                text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        said = re.findall(r"error: (.*)", result.stdout)
        reasons = [text.removeprefix("#error ").strip('"') for text in said if "see-the-error-above" not in text]
        if reasons != [expected]:
            complaints.append(f"{' '.join(command)} says {reasons} instead of {expected!r}")
    return complaints


def self_test():
    gate = "".join(f"#if {condition}\n#error \"{text}\"\n#endif\n" for condition, text in (
        ("__cplusplus <= 202002L", HOSTS[0][1]),
        ("__cplusplus > 202002L && !defined(__cpp_rtti)", HOSTS[2][1]),
        ("__cplusplus > 202002L && !defined(__cpp_exceptions)", HOSTS[4][1]),
        ("defined(__clang__) && __clang_major__ < 19", HOSTS[6][1])))
    right = {GATE: gate, ANY_HEADER: f'#include "{GATE}"\n', "Tessaly/detail/A.hpp": ""}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    with tree.small_tree(right | {"Tessaly/A.hpp": ""}) as root:
        tree.expect(check(root), "Tessaly/A.hpp does not reach")
    with tree.small_tree(right | {ANY_HEADER: right[ANY_HEADER] + "#if __cplusplus <= 202002L\nint f(gone);\n#endif\n"}
                         ) as root:
        tree.expect(check(root), "clang++-19 -std=c++20 says", "g++ -std=c++20 says")


tree.main(check, self_test)
