#!/usr/bin/env python3
"""Lists the includes between the modules of src/ and checks the floors.

Each folder of src/ is a module. A module may include its own files, the
modules on the floors below it and, among the jobs, another job; an include
that points up, a circle between modules, or a circle between files fails
the check (exit status 1).
Run with --graph to print every module's includes."""
import os
import re
import sys

# Top to bottom. Modules on one floor may not include each other.
FLOORS = [
    ["shell"],
    ["logrun", "listings", "repair", "backup", "transfers"],
    ["ops"],
    ["logentry"],
    ["services"],
    ["session"],
    ["store"],
    ["gui"],  # the Qt backend of the toolkit layer, linked into the program only
    ["platform"],
]

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "src")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def floor_of(module):
    for n, floor in enumerate(FLOORS):
        if module in floor:
            return n
    return None


def main():
    graph = "--graph" in sys.argv
    files = {}
    for dirpath, _, names in os.walk(ROOT):
        for name in names:
            if name.endswith((".h", ".cpp")):
                path = os.path.relpath(os.path.join(dirpath, name), ROOT)
                with open(os.path.join(ROOT, path), encoding="latin-1") as f:
                    files[path] = INCLUDE.findall(f.read())
    faults = []
    modules = {}
    for path, incs in sorted(files.items()):
        mod = path.split("/")[0] if "/" in path else None
        if mod is None:
            continue  # main.cpp stands above every floor
        if floor_of(mod) is None:
            faults.append(f"{path}: module '{mod}' has no floor in scripts/layers.py")
            continue
        for inc in incs:
            if "/" not in inc or inc.split("/")[0] not in {m for f in FLOORS for m in f}:
                continue
            target = inc.split("/")[0]
            if target == mod:
                continue
            modules.setdefault(mod, set()).add(target)
            if floor_of(target) < floor_of(mod):
                faults.append(f"{path}: includes {inc}, which is on a floor above '{mod}'")
    # Circles between modules; sideways includes on one floor must not close one.
    def module_circle(mod, stack):
        if mod in stack:
            return stack[stack.index(mod):] + [mod]
        for target in sorted(modules.get(mod, ())):
            found = module_circle(target, stack + [mod])
            if found:
                return found
        return None
    for mod in sorted(modules):
        found = module_circle(mod, [])
        if found and found[0] == mod:
            faults.append("module circle: " + " -> ".join(found))
    # Circles between files (headers that include each other, directly or not).
    def visit(node, stack, seen):
        if node in stack:
            faults.append("file circle: " + " -> ".join(stack[stack.index(node):] + [node]))
            return
        if node in seen or node not in files:
            return
        seen.add(node)
        for inc in files[node]:
            if inc.endswith(".h"):
                visit(inc, stack + [node], seen)
    seen = set()
    for path in sorted(files):
        visit(path, [], seen)
    if graph:
        for n, floor in enumerate(FLOORS):
            for mod in floor:
                below = ", ".join(sorted(modules.get(mod, ())))
                print(f"{n}  {mod:10} -> {below or '(nothing)'}")
    for fault in faults:
        print(fault)
    if faults:
        return 1
    if not graph:
        print(f"layers: {len(files)} files in {len(modules)} modules, every include points down")
    return 0


if __name__ == "__main__":
    sys.exit(main())
