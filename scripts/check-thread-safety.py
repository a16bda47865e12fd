#!/usr/bin/env python3
"""clang's lock analysis over the portable libraries, syntax only.

Usage: scripts/check-thread-safety.py BUILD_DIR [--jobs N] [--all] [--clang CLANG++]

Takes each library source's flags from BUILD_DIR/compile_commands.json (include
folders, definitions, language standard; GCC's warning and code flags are left
out) and runs clang++ -fsyntax-only -Wthread-safety -Werror=thread-safety on it,
so that a field marked GUARDED_BY (foundation/thread_annotations.h) touched
without its lock fails the build's tests. Run by ctest as thread_safety.

A source that does not reach the annotations header, through the project's own
includes, has nothing the analysis can hold it to, and is passed over unless
--all is given: that keeps the check to about a minute on two cores.
"""

import argparse
import concurrent.futures
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import time

LIBRARIES = ("foundation", "platform", "transport", "data", "automation", "workflow", "addin", "server",
             "hostsim")
SKIPPED = ("platform/win32/",)  # built by MinGW only
NOT_LIBRARY = ("_test.cpp", "_fuzz.cpp")

ANNOTATIONS = "foundation/thread_annotations.h"
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')

CLANG_FLAGS = ["-fsyntax-only", "-Wno-everything", "-Wthread-safety", "-Werror=thread-safety"]
KEPT_WITH_VALUE = ("-I", "-isystem", "-iquote", "-D", "-U", "-include")


def kept_flags(arguments):
    """The flags that decide what the source means, nothing of GCC's own."""
    kept = []
    i = 0
    while i < len(arguments):
        arg = arguments[i]
        if arg in KEPT_WITH_VALUE and i + 1 < len(arguments):
            kept += [arg, arguments[i + 1]]
            i += 2
            continue
        if arg.startswith(KEPT_WITH_VALUE) or arg.startswith("-std="):
            kept.append(arg)
        i += 1
    return kept


def project_includes(path, source_dir, seen):
    """Every project file that `path` includes, directly or not (conditional ones too)."""
    try:
        with open(path, encoding="utf-8", errors="replace") as f:
            lines = f.readlines()
    except OSError:
        return
    for line in lines:
        m = INCLUDE.match(line)
        if not m:
            continue
        for candidate in (os.path.join(source_dir, m.group(1)), os.path.join(os.path.dirname(path), m.group(1))):
            candidate = os.path.normpath(candidate)
            if os.path.isfile(candidate):
                if candidate not in seen:
                    seen.add(candidate)
                    project_includes(candidate, source_dir, seen)
                break


def reaches_annotations(path, source_dir):
    seen = set()
    project_includes(path, source_dir, seen)
    return os.path.join(source_dir, ANNOTATIONS) in seen


def library_sources(build_dir, source_dir):
    with open(os.path.join(build_dir, "compile_commands.json"), encoding="utf-8") as f:
        entries = json.load(f)
    sources = {}
    for entry in entries:
        path = os.path.normpath(os.path.join(entry["directory"], entry["file"]))
        rel = os.path.relpath(path, source_dir).replace(os.sep, "/")
        if rel.split("/", 1)[0] not in LIBRARIES or rel.startswith(SKIPPED) or rel.endswith(NOT_LIBRARY):
            continue
        arguments = entry.get("arguments") or shlex.split(entry["command"])
        sources[rel] = (entry["directory"], path, kept_flags(arguments[1:]))
    return sources


def analyse(clang, rel, directory, path, flags):
    run = subprocess.run([clang, *CLANG_FLAGS, *flags, path], cwd=directory, capture_output=True, text=True)
    return rel, run.returncode, run.stdout + run.stderr


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build_dir")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--all", action="store_true", help="also the sources that do not reach " + ANNOTATIONS)
    parser.add_argument("--clang", default="clang++")
    args = parser.parse_args()

    clang = shutil.which(args.clang)
    if clang is None:
        print(f"thread-safety: {args.clang} not found; scripts/install-deps.sh linux installs clang")
        return 1
    source_dir = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    sources = library_sources(os.path.abspath(args.build_dir), source_dir)
    if not sources:
        print(f"thread-safety: no library source in {args.build_dir}/compile_commands.json")
        return 1

    if not args.all:
        everything = len(sources)
        sources = {rel: s for rel, s in sources.items() if reaches_annotations(s[1], source_dir)}
        print(f"thread-safety: {len(sources)} of {everything} library sources reach {ANNOTATIONS}")

    started = time.monotonic()
    failed = []
    with concurrent.futures.ThreadPoolExecutor(max_workers=max(1, args.jobs)) as pool:
        jobs = [pool.submit(analyse, clang, rel, *sources[rel]) for rel in sorted(sources)]
        for job in jobs:
            rel, code, output = job.result()
            if code != 0:
                failed.append(rel)
                print(output, end="")
    seconds = time.monotonic() - started
    print(f"thread-safety: {len(sources)} sources, {len(failed)} failed, {seconds:.0f} s")
    for rel in failed:
        print(f"thread-safety: FAILED {rel}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
