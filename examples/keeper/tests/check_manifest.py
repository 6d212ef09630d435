#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the Flatpak manifest is well-formed, names Keeper's files and opens no hole: check_manifest.py directory

flatpak-builder reads the manifest, but builds nothing, because a build needs a runtime from the network.
"""

import configparser
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

IDENTIFIER = "org.example.keeper"
SKIPPED = 77
# The display, and the directory that Keeper shows, for reading. The portals of the desktop do the rest.
PERMISSIONS = {"--socket=wayland", "--socket=fallback-x11", "--share=ipc", "--device=dri", "--filesystem=xdg-download:ro"}
# The modules install files that only a build needs, and a library that only tests need.
CLEANED = {"/include", "/lib/cmake", "/lib/pkgconfig", "/share/cmake", "/share/pkgconfig", "/lib/libTessalyTesting.so*"}


def complaints_of_builder(path):
    with tempfile.TemporaryDirectory() as directory:  # It leaves its state in the current directory.
        result = subprocess.run(["flatpak-builder", "--show-manifest", path.resolve()], cwd=directory,
                                capture_output=True, text=True)
    # It only warns of a property that it does not know.
    return [f"flatpak-builder: {result.stderr}"] if result.returncode != 0 or result.stderr else []


def complaints_of_entry(module, directory):
    """The promises of the installed desktop entry that Flatpak does not keep."""
    name = f"share/applications/{IDENTIFIER}.desktop"
    with tempfile.TemporaryDirectory() as prefix:
        installed = pathlib.Path(prefix) / name
        installed.parent.mkdir(parents=True)
        shutil.copy(directory / f"{IDENTIFIER}.desktop", installed)
        for command in module.get("post-install", []):
            subprocess.run(["sh", "-c", command], env=os.environ | {"FLATPAK_DEST": prefix}, check=True)
        entry = configparser.ConfigParser(interpolation=None)
        entry.read(installed, encoding="utf-8")
    entry = entry["Desktop Entry"]
    # Flatpak hands files to a sandbox, but no directory outside it: the portal answers "Invalid fd passed".
    if "%" in entry["Exec"] or "MimeType" in entry:
        return ["the desktop entry in the sandbox accepts directories, which Flatpak refuses to hand over"]
    return []


def complaints_of(manifest, directory):
    entry = configparser.ConfigParser(interpolation=None)
    entry.read(directory / f"{IDENTIFIER}.desktop", encoding="utf-8")
    pairs = [(manifest["id"], IDENTIFIER), (manifest["command"], entry["Desktop Entry"]["Exec"].split()[0])]
    complaints = [f"“{found}” should be “{wanted}”" for found, wanted in pairs if found != wanted]
    complaints += [f"the sandbox has the hole {hole}" for hole in manifest["finish-args"] if hole not in PERMISSIONS]
    own = [module for module in manifest["modules"] if module["sources"][0]["type"] == "dir"]
    if [module["name"] for module in own] != ["tessaly", "keeper"]:
        complaints.append("the library and Keeper should be built from this tree, in this order")
    complaints += [f"the application keeps {kept}" for kept in sorted(CLEANED - set(manifest["cleanup"]))]
    complaints += complaints_of_entry(manifest["modules"][-1], directory)
    for module in own:
        sources = directory / module["sources"][0]["path"] / module.get("subdir", "")
        if not (sources / "CMakeLists.txt").exists():
            complaints.append(f"{module['name']} has no CMakeLists.txt in {sources}")
    return complaints


if __name__ == "__main__":
    if shutil.which("flatpak-builder") is None:
        print("not installed: flatpak-builder")
        sys.exit(SKIPPED)
    data = pathlib.Path(sys.argv[1])
    path = data / f"{IDENTIFIER}.json"
    found = complaints_of_builder(path) + complaints_of(json.loads(path.read_text()), data)
    print("\n".join(found))
    sys.exit(1 if found else 0)
