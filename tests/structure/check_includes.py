#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Who may include whom: check_includes.py root

The seven subsystems may include Platform/, which includes none of them, and otherwise only what SUBSYSTEMS says. Inside
Platform/ a library may link only what stands in a row below its own. And whoever includes a header of another library
links that library: publicly if a header of its own includes it.
"""

import re

import tree

# Subsystem: what else it may include, by the beginning of the path.
SUBSYSTEMS = {
    "FoundationExtensions": ["ValueRecords/Version."],
    "Collections": [],
    "Concurrency": [],
    "SettingsAndObservation": [],
    "ValueRecords": [],
    "SystemServices": ["FoundationExtensions/", "Concurrency/", "SettingsAndObservation/"],
    "Formatting": ["FoundationExtensions/", "Concurrency/"],
}
# The same for single files of a subsystem.
FILES = {"ValueRecords/URLBookmark": ["FoundationExtensions/", "SettingsAndObservation/"]}

# The libraries of Platform/, from the lowest row to the highest. A row's members may link those of lower rows, and those
# that stand to their left.
ROWS = [["Base"], ["Locks"], ["Text", "Logging"], ["Tasks"], ["Foundation"], ["Notifications", "Observation", "Formatters"],
        ["Settings", "Network", "Power", "Files", "Bookmarks", "Pasteboard", "Authentication", "Device"], ["Testing"]]

LIBRARY = re.compile(r"tessaly_library\(\s*(\w+)([^)]*)\)")


class Library:
    """One call of tessaly_library()."""

    def __init__(self, name, arguments, folder):
        self.name = name
        self.folder = folder
        lists = {"SOURCES": [], "PUBLIC": [], "PRIVATE": []}
        current = None
        for word in arguments.split():
            if word in lists:
                current = lists[word]
            elif current is not None:
                current.append(word)
        self.sources = [(folder / source).resolve() for source in lists["SOURCES"]]
        self.public = set(lists["PUBLIC"])
        self.private = {re.sub("^Tessaly(::)?", "", name) for name in lists["PRIVATE"] if name.startswith("Tessaly")}


def libraries(root):
    """Every library by name. The one of everything names no folder and is left out."""
    found = {}
    for path in sorted((root / "Tessaly").rglob("CMakeLists.txt")):
        for name, arguments in LIBRARY.findall(tree.read(path)):
            if not name.startswith("Tessaly"):
                found[name] = Library(name, arguments, path.parent.resolve())
    return found


def reach(found, names):
    """These libraries and all that they hand on."""
    result = set()
    pending = [name for name in names if name in found]
    while pending:
        name = pending.pop()
        if name not in result:
            result.add(name)
            pending += [other for other in found[name].public if other in found]
    return result


def may_include(source, target):
    """Whether the rules of the subsystems allow it; both below Tessaly/."""
    own, other = source.split("/")[0], target.split("/")[0]
    if "/" not in source or own == other:  # Tessaly.hpp includes everything.
        return True
    if target.startswith("Platform/Linux/") and not source.startswith("Core/Logging/"):
        return False
    if other in ("Core", "Platform"):
        return True
    allowed = SUBSYSTEMS.get(own, []) + [name for prefix, names in FILES.items() if source.startswith(prefix)
                                         for name in names]
    return any(target.startswith(name) for name in allowed)


def check_rows(found):
    order = {name: (row, column) for row, names in enumerate(ROWS) for column, name in enumerate(names)}
    for library in found.values():
        if not {"Core", "Platform"} & set(library.folder.parts):
            continue
        if library.name not in order:
            yield f"{library.name} stands in no row of the platform's libraries"
            continue
        for name in sorted(library.public | library.private):
            if name in SUBSYSTEMS:
                yield f"{library.name} of the platform links the subsystem {name}"
            elif name in order and order[name] >= order[library.name]:
                yield f"{library.name} links {name}, which does not stand below it"


def check(root):
    root = root.resolve()
    found = libraries(root)
    by_folder = {library.folder: library for library in found.values()}
    by_source = {path: library for library in found.values() for source in library.sources
                 for path in (source, source.with_suffix(".hpp"))}
    complaints = list(check_rows(found))

    def library_of(path):
        if path in by_source:
            return by_source[path]
        return next((by_folder[folder] for folder in path.parents if folder in by_folder), None)

    for path in sorted((root / "Tessaly").rglob("*.[ch]pp")):
        source = str(path.relative_to(root / "Tessaly"))
        for _, name in tree.INCLUDE.findall(tree.read(path)):
            if not name.startswith("Tessaly/"):
                continue
            target = name.removeprefix("Tessaly/")
            if not (root / name).exists():
                complaints.append(f"{source} includes {target}, which is not there")
                continue
            if not may_include(source, target):
                complaints.append(f"{source} may not include {target}")
                continue
            own, other = library_of(path), library_of(root / name)
            if own is None or other is None or own is other:
                continue
            linked = own.public if path.suffix == ".hpp" else own.public | own.private
            if other.name not in reach(found, linked):
                kind = "publicly " if path.suffix == ".hpp" else ""
                complaints.append(f"{source} includes {target}, but {own.name} does not link {other.name} {kind}".rstrip())
    return complaints


def self_test():
    right = {
        "Tessaly/Core/Base/CMakeLists.txt": "tessaly_library(Base\n  SOURCES Error.cpp PRIVATE fmt::fmt)",
        "Tessaly/Core/Base/Error.hpp": "#include <string>\n",
        "Tessaly/Core/Base/Error.cpp": '#include "Tessaly/Core/Base/Error.hpp"\n',
        "Tessaly/Core/Logging/CMakeLists.txt": "tessaly_library(Logging SOURCES Log.cpp ../../Platform/Linux/Journal.cpp PUBLIC Base)",
        "Tessaly/Core/Logging/Log.hpp": '#include "Tessaly/Core/Base/Error.hpp"\n',
        "Tessaly/Platform/Linux/Journal.cpp": '#include "Tessaly/Core/Logging/Log.hpp"\n',
        "Tessaly/Core/Tasks/CMakeLists.txt": "tessaly_library(Tasks SOURCES Task.cpp PUBLIC Base PRIVATE TessalyLogging)",
        "Tessaly/Core/Tasks/Task.cpp": '#include "Tessaly/Core/Logging/Log.hpp"\n',
        "Tessaly/ValueRecords/CMakeLists.txt":
            "tessaly_library(Version SOURCES Version.cpp)\ntessaly_library(ValueRecords SOURCES URLBookmark.cpp)",
        "Tessaly/ValueRecords/Version.hpp": "",
        "Tessaly/FoundationExtensions/CMakeLists.txt":
            "tessaly_library(FoundationExtensions SOURCES A.cpp PUBLIC Logging PRIVATE Tessaly::Version)",
        "Tessaly/FoundationExtensions/A.cpp":
            '#include "Tessaly/Core/Base/Error.hpp"\n#include "Tessaly/ValueRecords/Version.hpp"\n',
        "Tessaly/FoundationExtensions/A.hpp": "",
        "Tessaly/Tessaly.hpp": '#include "Tessaly/FoundationExtensions/A.hpp"\n',
    }
    with tree.small_tree(right) as root:
        tree.expect(check(root))

    def wrong(*complaints, **files):
        renamed = {name.replace("__", "/").replace("_hpp", ".hpp").replace("_cpp", ".cpp").replace("_txt", ".txt"): text
                   for name, text in files.items()}
        with tree.small_tree(right | renamed) as root:
            tree.expect(check(root), *complaints)

    wrong("Core/Base/B.hpp may not include FoundationExtensions/A.hpp",
          Tessaly__Core__Base__B_hpp='#include "Tessaly/FoundationExtensions/A.hpp"\n')
    wrong("FoundationExtensions/B.hpp may not include ValueRecords/URLBookmark.hpp",
          Tessaly__ValueRecords__URLBookmark_hpp="",
          Tessaly__FoundationExtensions__B_hpp='#include "Tessaly/ValueRecords/URLBookmark.hpp"\n')
    wrong("FoundationExtensions/B.cpp may not include Platform/Linux/J.hpp", Tessaly__Platform__Linux__J_hpp="",
          Tessaly__FoundationExtensions__B_cpp='#include "Tessaly/Platform/Linux/J.hpp"\n')
    wrong("which is not there", Tessaly__Core__Base__B_hpp='#include "Tessaly/Core/Base/Gone.hpp"\n')
    wrong("Tasks does not link Logging publicly",
          Tessaly__Core__Tasks__B_hpp='#include "Tessaly/Core/Logging/Log.hpp"\n')
    wrong("Base does not link Logging", Tessaly__Core__Base__B_cpp='#include "Tessaly/Core/Logging/Log.hpp"\n')
    wrong("Base links Tasks, which does not stand below it",
          Tessaly__Core__Base__CMakeLists_txt="tessaly_library(Base SOURCES Error.cpp PUBLIC Tasks)")
    wrong("Clockwork stands in no row",
          Tessaly__Platform__Clockwork__CMakeLists_txt="tessaly_library(Clockwork SOURCES A.cpp PUBLIC Base)")
    wrong("Base of the platform links the subsystem FoundationExtensions",
          Tessaly__Core__Base__CMakeLists_txt="tessaly_library(Base SOURCES Error.cpp PUBLIC FoundationExtensions)")


tree.main(check, self_test)
