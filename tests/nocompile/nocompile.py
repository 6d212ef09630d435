#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the compiler refuses a file for the right reason: nocompile.py compiler root file

The first line of the file is "// expected: " and a regular expression, which one of the compiler's errors must match.
With ALLOWED defined, the same file without its mistake must compile.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

COMPILER, ROOT = sys.argv[1:3]


def compile_file(path, *flags):
    """Whether the compiler accepts the file, and its messages."""
    result = subprocess.run([COMPILER, "-std=c++23", "-fsyntax-only", "-Wall", "-Wextra", "-Wthread-safety", "-Werror",
                             "-Wno-unused", f"-I{ROOT}", *flags, path],
                            text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return result.returncode == 0, result.stdout


def complaint(path):
    """The problem of a file, or nothing."""
    first = path.read_text(encoding="utf-8").splitlines()[0]
    if not first.startswith("// expected: "):
        return f"{path.name} does not say what is expected"
    expected = first.removeprefix("// expected: ")
    compiles, said = compile_file(path, "-DALLOWED")
    if not compiles:
        return f"{path.name} does not compile even without its mistake:\n{said}"
    compiles, said = compile_file(path)
    if compiles:
        return f"{path.name} compiles"
    if not re.search(f"error: .*(?:{expected})", said):
        return f"{path.name} is refused for a reason other than {expected!r}:\n{said}"
    return None


def self_test():
    mistake = "#ifndef ALLOWED\nint number = nullptr;\n#endif\n"
    for text, expected in (("// expected: cannot initialize a variable\n" + mistake, None),
                           (mistake, "does not say"),
                           ("// expected: cannot initialize a variable\nint number = nullptr;\n", "even without"),
                           ("// expected: cannot initialize a variable\nint number = 0;\n", "compiles"),
                           ("// expected: use of undeclared identifier\n" + mistake, "for a reason other than")):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "a.cpp"
            path.write_text(text, encoding="utf-8")
            found = complaint(path)
            if (found is None) != (expected is None) or (expected and expected not in found):
                sys.exit(f"Expected {expected!r}, got {found!r} for:\n{text}")


if sys.argv[3] == "--self-test":
    self_test()
else:
    sys.exit(complaint(pathlib.Path(sys.argv[3])))
