#!/usr/bin/env bash
# Fails where a file includes one of a room that it must not depend on: the host's rooms include downwards only,
# plug-ins depend on neither the host nor each other, and the platform depends on nothing above it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

python3 - <<'PYTHON'
import re, subprocess, sys

# the host's rooms, lowest first; those in one entry stand side by side
rooms = [["base"], ["process"], ["types"], ["plugins", "configuration"], ["documents"], ["session"],
         ["console", "record", "history"], ["commands"]]
level = {f"host/{name}": index for index, names in enumerate(rooms) for name in names}
below = {  # for everything else: the folders that it may include, besides itself
    "platform/kor": [],
    "platform/rivlink_common": [],
    "common": ["platform/kor", "platform/rivlink_common"],
    "platform/rivlink_core": ["platform/kor", "platform/rivlink_common", "common"],
    "platform/rivlink_device": ["platform/kor", "platform/rivlink_common", "common", "platform/rivlink_core"],
}
platform = list(below)
below["runtime"] = ["common"]
below["driver/common"] = platform + ["runtime"]
below["driver/local"] = platform
below["driver/simulated"] = platform + ["runtime", "driver/common"]
below["driver/system"] = platform + ["runtime", "driver/common"]


def room(path):
    folders = [name for name in [*level, *below] if path.startswith(name + "/")]
    return max(folders, key=len) if folders else None


def allowed(user, used):
    if user == used:
        return True
    if user in level:
        return level[used] < level[user] if used in level else used in platform + ["runtime"]
    return used in below[user]


faults = 0
arrows = set()
files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "common", "platform",
                        "runtime", "driver", "host"], capture_output=True, text=True, check=True).stdout.split()
for path in files:
    user = room(path)
    if not path.endswith((".h", ".cpp")) or user is None:
        continue
    for number, line in enumerate(open(path, encoding="utf-8"), 1):
        found = re.match(r'\s*#include "([^"]+)"', line)
        used = room(found[1]) if found else None
        if used is None:
            continue
        if not allowed(user, used):
            faults += 1
            print(f"{path}:{number}: {user} must not include {used}", file=sys.stderr)
        elif user != used:
            arrows.add((user, used))
print(f"{len(arrows)} arrows between rooms, {faults} upwards or sideways")
sys.exit(1 if faults else 0)
PYTHON
