"""The rooms of platform/ use only those before them, in the order in which platform/CMakeLists.txt names them, and a file
for one system only is used by files for that system only.

Usage: rooms_test.py SOURCE_FOLDER"""

import pathlib
import re
import sys

platform = pathlib.Path(sys.argv[1]) / "platform"
rooms = re.search(r"foreach\(room ([a-z ]+)\)", (platform / "CMakeLists.txt").read_text())[1].split()
folders = sorted(entry.name for entry in platform.iterdir() if entry.is_dir())
faults = [] if folders == sorted(rooms) else [f"the folders are {folders}, the rooms {sorted(rooms)}"]


def systems(name):
    """The systems that a file is for, by its suffix."""
    suffix = re.sub(r"\.\w+$", "", name).rpartition("_")[2]
    if suffix == "macos":
        return {"macos"}
    return {"linux"} if suffix in ("linux", "x11", "gio", "glib", "dbus", "icu", "libplist") else {"linux", "macos"}


count = 0
for file in sorted(platform.glob("*/*.*")):
    if file.suffix not in (".h", ".cpp", ".mm"):
        continue
    for used_room, used in re.findall(r'#include "platform/(\w+)/([^"]+)"', file.read_text()):
        count += 1
        place = file.relative_to(platform)
        if rooms.index(used_room) > rooms.index(file.parent.name):
            faults.append(f"{place} uses {used_room}/{used}, which lies further down")
        if not systems(file.name) <= systems(used):
            faults.append(f"{place} uses {used}, which is not for every system that it is for")

print("\n".join(faults) or f"{count} includes in order")
sys.exit(bool(faults) or count < 100)
