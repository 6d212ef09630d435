#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the desktop accepts Keeper's entry, icon, description and policy, and whether they agree: check_data.py directory"""

import configparser
import pathlib
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree

IDENTIFIER = "org.example.keeper"
ACTION = f"{IDENTIFIER}.save-log"
SKIPPED = 77


def complaints_of(command):
    result = subprocess.run(command, capture_output=True, text=True)
    return [] if result.returncode == 0 else [f"{command[0]}: {result.stdout}{result.stderr}"]


def check(directory):
    entry = directory / f"{IDENTIFIER}.desktop"
    description = directory / f"{IDENTIFIER}.metainfo.xml"
    complaints = complaints_of(["desktop-file-validate", str(entry)])
    complaints += complaints_of(["appstreamcli", "validate", "--no-net", str(description)])
    parser = configparser.ConfigParser(interpolation=None)
    parser.optionxform = str
    parser.read(entry, encoding="utf-8")
    values = parser["Desktop Entry"]
    root = xml.etree.ElementTree.parse(description).getroot()
    policy = xml.etree.ElementTree.parse(directory / f"{IDENTIFIER}.policy").getroot()
    program = root.findtext("provides/binary")
    pairs = [(values["Icon"], IDENTIFIER), (values["StartupWMClass"], IDENTIFIER), (root.findtext("id"), IDENTIFIER),
             (root.findtext("launchable"), entry.name), (values["Exec"].split()[0], program),
             (policy.find("action").get("id"), ACTION), (policy.findtext("action/icon_name"), IDENTIFIER),
             (values["Name"], root.findtext("name")), (values["Comment"], root.findtext("summary"))]
    if not re.search(rf"PolkitAction={re.escape(ACTION)}\W", (directory.parent / "CMakeLists.txt").read_text()):
        complaints.append("the programs have another action than the policy")
    complaints += [f"“{found}” should be “{wanted}”" for found, wanted in pairs if found != wanted]
    icon = xml.etree.ElementTree.parse(directory / f"{IDENTIFIER}.svg").getroot()
    if not icon.tag.endswith("}svg") or icon.get("width") != icon.get("height") or len(icon) == 0:
        complaints.append("the icon is not a square picture")
    return complaints


if __name__ == "__main__":
    missing = [tool for tool in ("desktop-file-validate", "appstreamcli") if shutil.which(tool) is None]
    if missing:
        print("not installed:", *missing)
        sys.exit(SKIPPED)
    found = check(pathlib.Path(sys.argv[1]))
    print("\n".join(found))
    sys.exit(1 if found else 0)
