#!/usr/bin/env python3
"""Holds the layers of docs/architecture.md: no file includes a part above its own.

Usage: scripts/check-include-layers.py [SOURCE_DIR]   (default: the checkout above this script)

Reads every '#include "dir/..."' of every source and header, and fails naming the
file, the line and the rule broken. Run by ctest as include_layers.
"""

import os
import re
import sys

# The layers, lowest first. A part may include its own layer and every layer below.
# toolbox/ and peers/ are named before they exist, so that they slot in.
LAYERS = [
    ["foundation"],
    ["platform"],
    ["transport"],
    ["data", "peers"],
    ["automation"],
    ["workflow", "toolbox"],
    ["addin"],
]
ALL_LAYERED = [part for layer in LAYERS for part in layer]

# Parts outside the stack, and the programs on top of it, with what each may use.
STANDING_APART = {
    "hostsim": {"foundation", "platform"},
    "server": {"foundation", "platform", "transport"},
    # Everything the add-in is made of; never the simulators.
    "win": set(ALL_LAYERED),
    # The programs: the simulator's commands and the server's, so all but win/.
    "apps": set(ALL_LAYERED) | {"hostsim", "server", "sim"},
    "sim": set(ALL_LAYERED) | {"hostsim", "server", "apps"},
}
EVERYTHING = {"tests", "bench"}

# Beside their own layer, tests may reach the stand-ins for the world outside:
# simulated hosts and the reference server.
TEST_EXTRAS = {"hostsim", "server"}
TEST_FILE = re.compile(r"(_test\.cpp|_for_test\.h|_test_support\.h)$")

# The data headers that the document routines may include: the data module's two
# narrow views and what they are made of. The data module itself (data/tdm.h) is
# not among them: workflow/ asks for it through its site. The rule holds for every
# file under workflow/, its tests included.
WORKFLOW_DATA_HEADERS = {
    "data/document_data.h",
    "data/fetching.h",
    "data/proc_name_scope.h",
    "data/records.h",
    "data/sql_dialect.h",
    "data/table.h",
}

SOURCE_EXTENSIONS = (".c", ".cc", ".cpp", ".h", ".hpp", ".inl")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"/]+)/([^"]+)"')


def allowed_parts(part):
    """The parts that files of `part` may include, or None for any."""
    if part in EVERYTHING:
        return None
    if part in STANDING_APART:
        return STANDING_APART[part] | {part}
    for rank, layer in enumerate(LAYERS):
        if part in layer:
            return {p for lower in LAYERS[: rank + 1] for p in lower}
    return set()


def is_test_file(rel):
    # A part's tests/ folder (win/tests/) holds its checks, whatever their names.
    return bool(TEST_FILE.search(rel)) or "/tests/" in rel


def source_files(root):
    for top in sorted(os.listdir(root)):
        if top.startswith(".") or top.startswith("build") or not os.path.isdir(os.path.join(root, top)):
            continue
        for folder, dirs, files in os.walk(os.path.join(root, top)):
            dirs[:] = sorted(d for d in dirs if not d.startswith("."))
            for name in sorted(files):
                if name.endswith(SOURCE_EXTENSIONS):
                    yield os.path.relpath(os.path.join(folder, name), root).replace(os.sep, "/")


def check(root):
    known = set(ALL_LAYERED) | set(STANDING_APART) | EVERYTHING
    problems = []
    for rel in source_files(root):
        part = rel.split("/", 1)[0]
        if part not in known:
            problems.append(f"{rel}:1: [no layer] {part}/ has no place in the layer table of this script")
            continue
        allowed = allowed_parts(part)
        test = is_test_file(rel)
        with open(os.path.join(root, rel), encoding="utf-8", errors="replace") as f:
            for number, line in enumerate(f, 1):
                m = INCLUDE.match(line)
                if not m or m.group(1) not in known:
                    continue
                target, header = m.group(1), f"{m.group(1)}/{m.group(2)}"
                if allowed is not None and target not in allowed and not (test and target in TEST_EXTRAS):
                    problems.append(f"{rel}:{number}: [layers] {part}/ may not include {target}/: {header}")
                elif part == "workflow" and target == "data" and header not in WORKFLOW_DATA_HEADERS:
                    problems.append(f"{rel}:{number}: [workflow data] {header} is not in WORKFLOW_DATA_HEADERS: "
                                    f"the document routines reach the data module through their site")
    return problems


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    problems = check(root)
    for problem in problems:
        print(problem)
    print(f"include-layers: {len(problems)} violation(s)")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
