#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether g++ accepts the right headers: check_other_compiler.py root

g++ 14 takes every header. An older g++ takes those without coroutines. Headers with coroutines, which it miscompiles,
stop it with a message. No header has coroutines without that message.
"""

import concurrent.futures
import os
import re
import subprocess

import tree

MESSAGE = "miscompiles without a warning. Compile with clang 19 or g++ 14"
COROUTINE = re.compile(r"\bco_(await|yield|return)\b|\bcoroutine_handle\b|\bpromise_type\b|#include <coroutine>")
COMMENT = re.compile(r"//.*")


def compile_with_gcc(root, *names):
    """The messages of g++ for a file that includes these headers. Empty if it accepts them."""
    text = "".join(f'#include "{name}"\n' for name in names)
    result = subprocess.run(["g++", "-std=c++23", "-fsyntax-only", "-Wfatal-errors", "-Wall", "-Wextra", "-Werror",
                             f"-I{root.resolve()}", "-xc++", "-"],
                            input=text, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, cwd=root)
    return "" if result.returncode == 0 else result.stdout


def takes_coroutines():
    """Whether this g++ is a version that passes the probes of tests/compiler."""
    said = subprocess.run(["g++", "-dumpversion"], text=True, stdout=subprocess.PIPE, check=True).stdout
    return int(said.split(".")[0]) == 14


def check(root):
    stopping = tree.coroutine_headers(root)
    compiling = [path for path in tree.headers(root) if path not in stopping]
    complaints = [f"{path.relative_to(root)} has coroutines and does not include Core/Tasks/Coroutines.hpp"
                  for path in compiling if COROUTINE.search(COMMENT.sub("", tree.read(path)))]
    taken = tree.headers(root) if takes_coroutines() else compiling
    said = compile_with_gcc(root, *[path.relative_to(root) for path in taken])
    if said:
        complaints.append(f"g++ does not take the headers:\n{said}")
    if takes_coroutines():
        return complaints
    stopping &= set(tree.headers(root))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        names = sorted(path.relative_to(root) for path in stopping)
        for name, text in zip(names, pool.map(lambda name: compile_with_gcc(root, name), names)):
            if MESSAGE not in text:
                complaints.append(f"{name} does not stop g++ with the message:\n{text}")
    return complaints


def self_test():
    right = {
        "Tessaly/Core/Tasks/Coroutines.hpp": "#pragma once\n#if __GNUC__ != 14 && !defined(__clang__)\n"
                                                 f"#error \"It {MESSAGE}\"\n#endif\n#include <coroutine>\n",
        "Tessaly/Core/Tasks/Async.hpp": '#pragma once\n#include "Tessaly/Core/Tasks/Coroutines.hpp"\n',
        "Tessaly/A.hpp": "#pragma once\n// Not a co_await.\nint a();\n",
    }
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, *complaints in (
            ("Tessaly/B.hpp", "using B = void::promise_type;\n", "Tessaly/B.hpp has coroutines", "g++ does not take"),
            ("Tessaly/A.hpp", "int a() {}\n", "g++ does not take"),
            ("Tessaly/Core/Tasks/Coroutines.hpp", "#pragma once\n#include <coroutine>\n",
             "Tessaly/Core/Tasks/Async.hpp does not stop", "Tessaly/Core/Tasks/Coroutines.hpp does not stop")):
        if takes_coroutines() and "Coroutines" in name:
            continue
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), *complaints)


tree.main(check, self_test)
