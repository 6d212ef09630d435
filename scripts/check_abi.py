#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the binary interface of shared libraries with their baselines.

    scripts/check_abi.py build [--baselines abi] [--headers Tessaly]            exit status 1 if a host could break
    scripts/check_abi.py build [--baselines abi] [--headers Tessaly] --update   makes the baselines

The libraries must have debug information. A baseline is `<soname>.abi.xz`, so a library with a new soname has none and
passes. A function or a variable may be added. Everything else that a host can see must stay: symbols, the layout of
types, virtual functions, the values of enumerations.
"""

import argparse
import lzma
import pathlib
import re
import subprocess
import sys
import tempfile

root = pathlib.Path(__file__).resolve().parent.parent


def libraries_in(build):
    """The shared libraries below a directory, by their sonames."""
    found = {}
    for path in sorted(build.rglob("lib*.so.*")):
        if path.is_symlink():
            continue
        dynamic = subprocess.run(["objdump", "-p", path], check=True, text=True, stdout=subprocess.PIPE).stdout
        name = re.search(r"SONAME\s+(\S+)", dynamic)
        if name:
            found[name.group(1)] = path
    return found


def options_of(arguments):
    """Types that no public header defines are no part of the interface."""
    suppressions = arguments.baselines / "suppressions.ini"
    return ["--drop-private-types", *(["--suppressions", suppressions] if suppressions.exists() else [])]


def update(libraries, arguments):
    for baseline in arguments.baselines.glob("*.abi.xz"):
        baseline.unlink()
    for soname, path in libraries.items():
        text = subprocess.run(["abidw", "--no-comp-dir-path", "--no-corpus-path", "--headers-dir",
                               arguments.headers, *options_of(arguments), path], check=True, stdout=subprocess.PIPE).stdout
        (arguments.baselines / f"{soname}.abi.xz").write_bytes(lzma.compress(text, preset=9))


def is_kept(soname, path, arguments):
    """Prints what has changed for hosts of this library. Returns whether that is nothing."""
    baseline = arguments.baselines / f"{soname}.abi.xz"
    if not baseline.exists():
        print(f"{soname}: no baseline, so it is new")
        return True
    with tempfile.NamedTemporaryFile(suffix=".abi") as former:
        former.write(lzma.decompress(baseline.read_bytes()))
        former.flush()
        result = subprocess.run(["abidiff", "--no-added-syms", "--headers-dir2", arguments.headers, *options_of(arguments),
                                 former.name, path], check=False, text=True, stdout=subprocess.PIPE)
    print(f"{soname}: {'as before' if result.returncode == 0 else 'changed'}")
    if result.returncode != 0:
        print(result.stdout)
    return result.returncode == 0


def missing(libraries, arguments):
    """The sonames of baselines whose library is gone, in every version."""
    present = {soname.split(".so")[0] for soname in libraries}
    sonames = [path.name.removesuffix(".abi.xz") for path in sorted(arguments.baselines.glob("*.abi.xz"))]
    return [soname for soname in sonames if soname.split(".so")[0] not in present]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--baselines", type=pathlib.Path, default=root / "abi")
    parser.add_argument("--headers", type=pathlib.Path, default=root / "Tessaly")
    parser.add_argument("--update", action="store_true")
    arguments = parser.parse_args()
    libraries = libraries_in(arguments.build)
    if not libraries:
        sys.exit(f"No shared library is below {arguments.build}")
    if arguments.update:
        return update(libraries, arguments)
    gone = missing(libraries, arguments)
    for soname in gone:
        print(f"{soname}: missing")
    changed = [soname for soname, path in libraries.items() if not is_kept(soname, path, arguments)]
    if gone or changed:
        sys.exit("Hosts that were built with the baseline would break. Restore the interface, or raise the soname.")


if __name__ == "__main__":
    main()
