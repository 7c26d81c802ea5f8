#!/usr/bin/env python3
"""Fails when a source file includes a folder that its target doesn't link, or Qt where it doesn't belong."""
import pathlib
import re
import sys

source, lines = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]).read_text().splitlines()
links, target_of = {}, {}
for line in lines:
    folder, target, *linked = line.split()
    target_of[folder], links[target] = target, linked


def reachable(target, seen):
    for name in links.get(target, []):
        if name in links and name not in seen:
            seen.add(name)
            reachable(name, seen)
    return seen


def folder_of(path):
    """The longest folder with a target of its own that holds `path`, relative to src."""
    parts = path.split("/")[:-1]
    while parts and "/".join(parts) not in target_of:
        parts.pop()
    return "/".join(parts)


faults, files = [], 0
for file in sorted(source.rglob("*")):
    if file.suffix not in (".h", ".cpp"):
        continue
    relative = str(file.relative_to(source))
    text = file.read_text()
    files += 1
    if re.search(r'#include [<"]Q', text) and not relative.startswith(("app/", "atlas/", "qtbase/")):
        faults.append(f"{relative}: includes Qt")
    folder = folder_of(relative)
    if not folder or relative.endswith("_test.cpp") or relative.endswith("_test.h"):
        continue
    allowed = reachable(target_of[folder], {target_of[folder]})
    for included in re.findall(r'#include "([^"]+)"', text):
        other = folder_of(included)
        if other and target_of[other] not in allowed:
            faults.append(f"{relative}: includes {included}, but {target_of[folder]} doesn't link {target_of[other]}")

# A cycle would make the arrows point up.
for target in links:
    if target in reachable(target, set()):
        faults.append(f"{target} links itself through others")

print(f"{files} files, {len(links)} layers")
if not links or files < 20:
    faults.append("too few files or layers seen: the test looks in the wrong place")
print("\n".join(faults))
sys.exit(1 if faults else 0)
