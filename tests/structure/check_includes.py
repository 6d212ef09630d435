#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Who may include whom: check_includes.py root

- A directory of Tessaly/ that has a CMakeLists.txt is one library of the same name, made of its own sources.
- The subsystems may include Core/ and Platform/, which include none of them, and otherwise only what SUBSYSTEMS says.
- The floor in Core/ includes no seam of Platform/, and no seam includes a backend. A library of the floor or of a seam
  links only what stands in a row below its own.
- A public header includes no detail/ of another library.
- A library links each library whose headers it includes, publicly where a public header includes them.
"""

import re

import tree

# The further includes that a subsystem may have, by the beginning of the path.
SUBSYSTEMS = {
    "FoundationExtensions": ["ValueRecords/Version."],
    "Collections": [],
    "Concurrency": [],
    "SettingsAndObservation": [],
    "ValueRecords": [],
    "SystemServices": ["FoundationExtensions/", "Concurrency/", "SettingsAndObservation/"],
    "Formatting": ["FoundationExtensions/", "Concurrency/"],
}
# The further includes that single files may have.
FILES = {"ValueRecords/URLBookmark": ["FoundationExtensions/", "SettingsAndObservation/"]}

# Headers that need fewer libraries than the rest of their directory. They are components of their own.
HEADER_COMPONENTS = {"Concurrency/Mutex.hpp": "Mutex", "ValueRecords/Version.hpp": "Version"}

# The libraries of Core/, then those of Platform/, from the lowest row to the highest. A library may link those of lower
# rows, and those before it in its own row.
ROWS = [["Base"], ["Locks"], ["Text", "Logging"], ["Tasks"], ["Foundation"], ["Notifications", "Observation", "Formatters"],
        ["Settings", "Network", "Power", "Files", "Bookmarks", "Pasteboard", "Authentication", "Device"], ["Testing"]]

CALL = re.compile(r"tessaly_(library|backend)\(\s*(\w+)([^)]*)\)")
KEYWORDS = ("SOURCES", "PUBLIC", "PRIVATE", "LIBRARIES", "PACKAGES")


class Library:
    """One call of tessaly_library(), and what the system's backends add to it."""

    def __init__(self, name, arguments, directory):
        self.name = name
        self.directory = directory
        lists = self.lists(arguments)
        self.sources = set(lists["SOURCES"])
        self.public = set(lists["PUBLIC"])
        self.private = set(lists["PRIVATE"])
        self.backend_sources = set()
        self.backend_libraries = set()

    @staticmethod
    def lists(arguments):
        lists = {keyword: [] for keyword in KEYWORDS}
        current = None
        for word in arguments.split():
            if word in lists:
                current = lists[word]
            elif current is not None:
                current.append(word)
        return lists

    def add_backend(self, arguments, directory):
        lists = self.lists(arguments)
        self.backend_sources |= {f"{directory}/{source}" for source in lists["SOURCES"]}
        self.backend_libraries |= set(lists["LIBRARIES"])


def libraries(root):
    """Every library by name, and complaints about how they are made."""
    found, complaints = {}, []
    base = root / "Tessaly"
    for path in sorted(base.rglob("CMakeLists.txt")):
        directory = str(path.parent.relative_to(base))
        if directory == ".":
            continue
        made = [(name, arguments) for kind, name, arguments in CALL.findall(tree.read(path)) if kind == "library"]
        if [name for name, _ in made] != [path.parent.name]:
            complaints.append(f"{directory} makes {[name for name, _ in made]} instead of one library of its name")
        for name, arguments in made:
            library = found[name] = Library(name, arguments, directory)
            present = {str(source.relative_to(path.parent)) for source in path.parent.rglob("*.cpp")}
            if library.sources != present:
                complaints.append(f"{directory} is not made of its own sources: {sorted(library.sources ^ present)}")
    for path in sorted(base.rglob("Backends.cmake")):
        for kind, name, arguments in CALL.findall(tree.read(path)):
            if kind == "backend" and name in found:
                found[name].add_backend(arguments, path.parent.relative_to(base))
    return found, complaints


def reach(found, names):
    """These libraries and all that they hand on."""
    result = set()
    pending = list(names)
    while pending:
        name = pending.pop()
        if name not in result:
            result.add(name)
            pending += found[name].public if name in found else {"Mutex": ["Locks"], "Version": ["Base"]}.get(name, [])
    return result


def is_backend(path):
    return path.startswith("Platform/Linux/")


def may_include(source, target):
    """Whether the rules of the house allow it; both below Tessaly/."""
    own, other = source.split("/")[0], target.split("/")[0]
    if is_backend(target):
        return is_backend(source)
    if "/" not in source:  # Tessaly.hpp includes everything that is public.
        return True
    if own == "Core":
        return other == "Core"
    if own == other or other in ("Core", "Platform"):
        return True
    allowed = SUBSYSTEMS.get(own, []) + [name for prefix, names in FILES.items() if source.startswith(prefix)
                                         for name in names]
    return any(target.startswith(name) for name in allowed)


def check_rows(found):
    order = {name: (row, column) for row, names in enumerate(ROWS) for column, name in enumerate(names)}
    for library in found.values():
        if library.directory.split("/")[0] not in ("Core", "Platform"):
            continue
        if library.name not in order:
            yield f"{library.name} stands in no row of the libraries"
            continue
        for name in sorted(library.public | library.private | library.backend_libraries):
            if name in SUBSYSTEMS:
                yield f"{library.name} links the subsystem {name}"
            elif name in order and order[name] >= order[library.name]:
                yield f"{library.name} links {name}, which does not stand below it"


def check(root):
    root = root.resolve()
    found, complaints = libraries(root)
    complaints += check_rows(found)
    by_backend_source = {source: library for library in found.values() for source in library.backend_sources}

    def library_of(path):
        """The name of the library that a file of Tessaly/ belongs to."""
        if path in HEADER_COMPONENTS:
            return HEADER_COMPONENTS[path]
        if is_backend(path):
            library = by_backend_source.get(path) or by_backend_source.get(path.replace(".hpp", ".cpp"))
            return library.name if library else None
        return next((library.name for library in found.values() if path.startswith(library.directory + "/")), None)

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
            own, other = library_of(source), library_of(target)
            if own is None or other is None or own == other:
                continue
            is_public = path.suffix == ".hpp" and "detail" not in path.parts and not is_backend(source)
            if is_public and "/detail/" in target:
                complaints.append(f"{source} is public and includes {target}, the detail of another library")
            linked = {"Mutex": {"Locks"}, "Version": {"Base"}}.get(own) or (
                found[own].public if is_public else found[own].public | found[own].private | found[own].backend_libraries)
            if other not in reach(found, linked):
                kind = "publicly " if is_public else ""
                complaints.append(f"{source} includes {target}, but {own} does not link {other} {kind}".rstrip())
    return complaints


def self_test():
    right = {
        "Tessaly/CMakeLists.txt": "tessaly_library(Tessaly PUBLIC ${made})",
        "Tessaly/Core/Base/CMakeLists.txt": "tessaly_library(Base\n  SOURCES Error.cpp PACKAGES fmt)",
        "Tessaly/Core/Base/Error.hpp": "#include <string>\n",
        "Tessaly/Core/Base/Error.cpp": '#include "Tessaly/Core/Base/Error.hpp"\n',
        "Tessaly/Core/Base/detail/Hidden.hpp": "",
        "Tessaly/Core/Logging/CMakeLists.txt": "tessaly_library(Logging SOURCES Log.cpp PUBLIC Base)",
        "Tessaly/Core/Logging/Log.cpp": "",
        "Tessaly/Core/Logging/Log.hpp": '#include "Tessaly/Core/Base/Error.hpp"\n',
        "Tessaly/Core/Logging/detail/Ring.hpp": '#include "Tessaly/Core/Base/detail/Hidden.hpp"\n',
        "Tessaly/Core/Tasks/CMakeLists.txt": "tessaly_library(Tasks SOURCES Task.cpp PUBLIC Base PRIVATE Logging)",
        "Tessaly/Core/Tasks/Task.cpp": '#include "Tessaly/Core/Logging/Log.hpp"\n',
        "Tessaly/Platform/Power/CMakeLists.txt": "tessaly_library(Power PUBLIC Base)",
        "Tessaly/Platform/Power/Power.hpp": '#include "Tessaly/Core/Base/Error.hpp"\n',
        "Tessaly/Platform/Linux/Backends.cmake": "tessaly_backend(Power SOURCES Bus.cpp LIBRARIES Logging PACKAGES bus)",
        "Tessaly/Platform/Linux/Bus.hpp": '#include "Tessaly/Platform/Power/Power.hpp"\n',
        "Tessaly/Platform/Linux/Bus.cpp": '#include "Tessaly/Core/Logging/Log.hpp"\n#include "Tessaly/Platform/Linux/Bus.hpp"\n',
        "Tessaly/ValueRecords/CMakeLists.txt": "tessaly_library(ValueRecords SOURCES URLBookmark.cpp)",
        "Tessaly/ValueRecords/URLBookmark.cpp": "",
        "Tessaly/ValueRecords/Version.hpp": '#include "Tessaly/Core/Base/Error.hpp"\n',
        "Tessaly/FoundationExtensions/CMakeLists.txt":
            "tessaly_library(FoundationExtensions SOURCES A.cpp PUBLIC Logging PRIVATE Version)",
        "Tessaly/FoundationExtensions/A.cpp":
            '#include "Tessaly/Core/Base/Error.hpp"\n#include "Tessaly/ValueRecords/Version.hpp"\n',
        "Tessaly/FoundationExtensions/A.hpp": "",
        "Tessaly/Tessaly.hpp": '#include "Tessaly/FoundationExtensions/A.hpp"\n',
    }
    with tree.small_tree(right) as root:
        tree.expect(check(root))

    def wrong(complaint, name, text):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)

    def include(path):
        return f'#include "Tessaly/{path}"\n'

    wrong("Core/Base/B.hpp may not include FoundationExtensions/A.hpp", "Tessaly/Core/Base/B.hpp",
          include("FoundationExtensions/A.hpp"))
    wrong("Core/Base/B.hpp may not include Platform/Power/Power.hpp", "Tessaly/Core/Base/B.hpp",
          include("Platform/Power/Power.hpp"))
    wrong("Platform/Power/B.hpp may not include Platform/Linux/Bus.hpp", "Tessaly/Platform/Power/B.hpp",
          include("Platform/Linux/Bus.hpp"))
    wrong("Tessaly.hpp may not include Platform/Linux/Bus.hpp", "Tessaly/Tessaly.hpp", include("Platform/Linux/Bus.hpp"))
    wrong("FoundationExtensions/B.hpp may not include ValueRecords/URLBookmark.cpp",
          "Tessaly/FoundationExtensions/B.hpp", include("ValueRecords/URLBookmark.cpp"))
    wrong("Core/Logging/B.hpp is public and includes Core/Base/detail/Hidden.hpp", "Tessaly/Core/Logging/B.hpp",
          include("Core/Base/detail/Hidden.hpp"))
    wrong("which is not there", "Tessaly/Core/Base/B.hpp", include("Core/Base/Gone.hpp"))
    wrong("Tasks does not link Logging publicly", "Tessaly/Core/Tasks/B.hpp", include("Core/Logging/Log.hpp"))
    wrong("Base does not link Logging", "Tessaly/Core/Base/detail/B.hpp", include("Core/Logging/Log.hpp"))
    wrong("Base links Tasks, which does not stand below it", "Tessaly/Core/Base/CMakeLists.txt",
          "tessaly_library(Base SOURCES Error.cpp PUBLIC Tasks)")
    wrong("Power links Testing, which does not stand below it", "Tessaly/Platform/Linux/Backends.cmake",
          "tessaly_backend(Power SOURCES Bus.cpp LIBRARIES Logging Testing)")
    wrong("Clockwork stands in no row", "Tessaly/Platform/Clockwork/CMakeLists.txt",
          "tessaly_library(Clockwork PUBLIC Base)")
    wrong("Base links the subsystem FoundationExtensions", "Tessaly/Core/Base/CMakeLists.txt",
          "tessaly_library(Base SOURCES Error.cpp PUBLIC FoundationExtensions)")
    with tree.small_tree(right | {"Tessaly/Core/Base/CMakeLists.txt": right["Tessaly/Core/Base/CMakeLists.txt"]
                                  + "\ntessaly_library(Other)"}) as root:
        tree.expect(check(root), "Core/Base makes ['Base', 'Other'] instead of one library",
                    "Core/Base is not made of its own sources", "Other stands in no row")
    wrong("Core/Base is not made of its own sources: ['../Other.cpp', 'Error.cpp']", "Tessaly/Core/Base/CMakeLists.txt",
          "tessaly_library(Base SOURCES ../Other.cpp)")


tree.main(check, self_test)
