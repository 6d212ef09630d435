#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures the cost of linking the libraries, and prints it as Markdown.

It measures the size and the static initialisers of each shared library, the time of an empty host from start to end,
and the compile time of a source file that includes one public header.

    scripts/measure_footprint.py --build build/release [--skip-headers]

The build must be a Release build with shared libraries.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

root = pathlib.Path(__file__).resolve().parent.parent


def output(*command) -> str:
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True).stdout


def table(header, rows) -> str:
    # The first column is text, the others are numbers.
    lines = [header, ["---"] + ["---:"] * (len(header) - 1)] + [[str(cell) for cell in row] for row in rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines) + "\n"


def libraries_in(build: pathlib.Path) -> list[pathlib.Path]:
    """The libraries of Tessaly::Tessaly: all but the stand-ins for tests."""
    found = sorted(p for p in build.rglob("libTessaly*.so.*")
                   if p.is_file() and not p.is_symlink() and short_name(p) != "Testing")
    if not found:
        sys.exit(f"No shared library of Tessaly under {build}")
    return found


def short_name(library: pathlib.Path) -> str:
    return re.sub(r"^libTessaly|\.so\..*$", "", library.name)


def initialisers(library: pathlib.Path) -> list[str]:
    """The names of the functions that the loader calls when the library is loaded, without the compiler's own."""
    section = re.search(r"\.init_array\s+INIT_ARRAY\s+([0-9a-f]+)\s+[0-9a-f]+\s+([0-9a-f]+)",
                        output("readelf", "-SW", library))
    if not section:
        return []
    begin, size = int(section[1], 16), int(section[2], 16)
    names = {}
    for line in output("nm", library).splitlines():
        parts = line.split()
        if len(parts) == 3 and parts[1] in "tT":
            names[int(parts[0], 16)] = parts[2]
    functions = []
    for line in output("readelf", "-rW", library).splitlines():
        relocation = re.match(r"([0-9a-f]{16})\s+\S+\s+R_\S+_RELATIVE\s+([0-9a-f]+)", line)
        if relocation and begin <= int(relocation[1], 16) < begin + size:
            address = int(relocation[2], 16)
            functions.append(names.get(address, hex(address)))
    if len(functions) != size // 8:
        sys.exit(f"{library.name}: {size // 8} initialisers, but {len(functions)} relocations for them")
    return [name for name in functions if name != "frame_dummy"]


def sizes(libraries) -> str:
    rows = []
    totals = [0, 0]
    with tempfile.TemporaryDirectory() as folder:
        for library in libraries:
            stripped = pathlib.Path(folder) / library.name
            subprocess.run(["strip", "--strip-unneeded", "-o", stripped, library], check=True)
            pair = [library.stat().st_size, stripped.stat().st_size]
            totals = [a + b for a, b in zip(totals, pair)]
            functions = initialisers(library)
            rows.append([short_name(library), *(f"{size / 1024:.0f}" for size in pair), len(functions)])
            for function in functions:
                print(f"{library.name}: static initialiser {function}", file=sys.stderr)
    rows.append(["all together", *(f"{size / 1024:.0f}" for size in totals), sum(row[3] for row in rows)])
    return table(["library", "KB", "KB stripped", "static initialisers"], rows)


def milliseconds_to_run(program: pathlib.Path) -> float:
    begin = time.perf_counter_ns()
    child = os.posix_spawn(program, [str(program)], os.environ)
    _, status = os.waitpid(child, 0)
    end = time.perf_counter_ns()
    if status != 0:
        sys.exit(f"{program.name} ended with status {status}")
    return (end - begin) / 1e6


def start_times(build: pathlib.Path, compiler: str, runs: int) -> str:
    with tempfile.TemporaryDirectory() as folder:
        # A host finds all installed libraries in one directory. In the build each has a directory of its own.
        output("cmake", "--install", build, "--prefix", folder)
        libraries = sorted(path for path in pathlib.Path(folder).rglob("libTessaly*.so") if "Testing" not in path.stem)
        source = pathlib.Path(folder) / "empty.cpp"
        source.write_text("int main() {}\n")
        alone = pathlib.Path(folder) / "alone"
        linked = pathlib.Path(folder) / "linked"
        # Both hosts keep pointers into the C++ library. Otherwise neither would load it.
        common = [compiler, "-O2", "-std=c++23", source, "-Wl,--no-as-needed"]
        subprocess.run([*common, "-o", alone], check=True)
        subprocess.run([*common, "-o", linked, *libraries, f"-Wl,-rpath,{libraries[0].parent}"], check=True)
        loaded = {name: len(re.findall(r"=> /", output("ldd", path))) for name, path in
                  (("alone", alone), ("linked", linked))}
        missing = re.findall(r"(\S+) => not found", output("ldd", linked))
        if missing:
            sys.exit(f"The linked host does not find {', '.join(missing)}")
        times = {"alone": [], "linked": []}
        for _ in range(runs):
            times["alone"].append(milliseconds_to_run(alone))
            times["linked"].append(milliseconds_to_run(linked))
    medians = {name: statistics.median(values) for name, values in times.items()}
    rows = [["C++ library only", f"{medians['alone']:.2f}", loaded["alone"]],
            ["all of Tessaly", f"{medians['linked']:.2f}", loaded["linked"]],
            ["difference", f"{medians['linked'] - medians['alone']:.2f}", loaded["linked"] - loaded["alone"]]]
    return table([f"empty host linked with (median of {runs} runs)", "ms", "libraries loaded"], rows)


def compile_seconds(compiler: str, include: str, folder: pathlib.Path, runs: int) -> float:
    """Processor time, which depends less on the load of the machine than wall time."""
    source = folder / (re.sub(r"\W", "_", include) + ".cpp")
    source.write_text(f"#include {include}\n" if include else "")
    times = []
    for _ in range(runs):
        command = [compiler, "-std=c++23", f"-I{root}", "-fsyntax-only", str(source)]
        _, status, usage = os.wait4(os.posix_spawnp(compiler, command, os.environ), 0)
        if status != 0:
            sys.exit(f"{include} does not compile by itself")
        times.append(usage.ru_utime + usage.ru_stime)
    return statistics.median(times)


def header_times(compiler: str, runs: int, jobs: int) -> str:
    headers = sorted(p.relative_to(root) for p in (root / "Tessaly").rglob("*.hpp"))
    with tempfile.TemporaryDirectory() as name, concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        folder = pathlib.Path(name)
        nothing = compile_seconds(compiler, "", folder, runs)
        standard = compile_seconds(compiler, "<functional>", folder, runs)
        futures = {h: pool.submit(compile_seconds, compiler, f'"{h}"', folder, runs) for h in headers}
        times = sorted(((future.result(), str(header)) for header, future in futures.items()), reverse=True)
    rows = [["an empty file", f"{nothing:.2f}"], ["`<functional>`, to compare", f"{standard:.2f}"]]
    rows += [[f"`{header}`", f"{seconds:.2f}"] for seconds, header in times]
    return table([f"included header (median of {runs})" if runs > 1 else "included header", "processor seconds"], rows)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=root / "build" / "bench")
    parser.add_argument("--compiler", default="clang++-19")
    parser.add_argument("--runs", type=int, default=301, help="starts of each host")
    parser.add_argument("--header-runs", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="headers compiled at once")
    parser.add_argument("--skip-headers", action="store_true")
    arguments = parser.parse_args()

    cache = (arguments.build / "CMakeCache.txt").read_text()
    if not re.search(r"^CMAKE_BUILD_TYPE:\w+=(Release|MinSizeRel)$", cache, re.MULTILINE):
        sys.exit(f"{arguments.build} is no Release build")
    libraries = libraries_in(arguments.build)
    print(sizes(libraries))
    print(start_times(arguments.build, arguments.compiler, arguments.runs))
    if not arguments.skip_headers:
        print(header_times(arguments.compiler, arguments.header_runs, arguments.jobs))


if __name__ == "__main__":
    main()
