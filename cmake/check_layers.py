#!/usr/bin/env python3
"""Fails on an include that goes up a floor and on an operating-system header outside src/platform.

A header may include headers of its own floor or of a floor below. A source file of floors 3 to 5 may include any
header of floors 0 to 5, because the engine's classes know each other in both directions; hosts see engine/vaultlib.h.
"""
import pathlib
import re
import sys

FLOORS = {
    "platform": 0,
    "interfaces": 1, "framework": 1,
    "baselib": 2, "progresslib": 2, "filterlib": 2, "snapcopylib": 2, "storage": 2, "transferlib": 2,
    "progress": 3, "eventlog": 3, "logstore": 3, "paths": 3,
    "run": 4, "task": 4, "restore": 4,
    "engine": 5, "manager": 5, "link": 5,
}
# Inside floor 2 a library may use these others.
FLOOR_2_USES = {
    "transferlib": {"storage", "baselib", "progresslib", "filterlib"},
    "filterlib": {"baselib"},
    "progresslib": {"baselib"},
    "snapcopylib": {"baselib"},
}
SYSTEM = re.compile(r"^\s*#\s*include\s*<(windows\.h|unistd\.h|fcntl\.h|dirent\.h|sys/|linux/|pwd\.h|poll\.h|winsock|shlobj|io\.h)")
MACRO = re.compile(r"^\s*#.*\b(_WIN32|__linux__|__unix__|__APPLE__)\b")
LOCAL = re.compile(r'^\s*#\s*include\s*"([a-z_0-9]+)/([^"]+)"')

root = pathlib.Path(__file__).resolve().parent.parent
faults = []


def check(path: pathlib.Path, room: str, floor: int) -> None:
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        where = f"{path.relative_to(root)}:{number}"
        if room != "platform" and (SYSTEM.match(line) or MACRO.match(line)):
            faults.append(f"{where}: the operating system belongs in src/platform: {line.strip()}")
        match = LOCAL.match(line)
        if not match or match[1] not in FLOORS:
            continue
        used, used_floor = match[1], FLOORS[match[1]]
        if floor == 6:
            if used != "engine" or match[2] != "vaultlib.h":
                faults.append(f"{where}: a host includes engine/vaultlib.h only")
            continue
        if used == room or used_floor < floor:
            continue
        if used_floor == floor and floor != 2:
            continue
        if floor == 2 and used in FLOOR_2_USES.get(room, ()):
            continue
        if path.suffix == ".cpp" and floor >= 3 and used_floor <= 5:
            continue
        faults.append(f"{where}: {room} (floor {floor}) must not include {used} (floor {used_floor})")


for folder, floor in [(root / "src" / room, floor) for room, floor in FLOORS.items()] + [(root / "hosts", 6)]:
    if folder.is_dir():
        for file in sorted(folder.rglob("*")):
            if file.suffix in (".cpp", ".h"):
                check(file, folder.name, floor)
unknown = [p.name for p in (root / "src").iterdir() if p.is_dir() and p.name not in FLOORS]
faults += [f"src/{name}: a room without a floor" for name in unknown]
print("\n".join(faults) if faults else "layers: clean")
sys.exit(1 if faults else 0)
