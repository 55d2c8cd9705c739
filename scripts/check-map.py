#!/usr/bin/env python3
"""Hold the code map of ARCHITECTURE.md against the sources, in both directions.

Each folder of the product has a row; the row names each of its files, without their endings, and nothing else that
looks like one. Of platform/ only what is no port is named, since ports are named where their headers are.
"""

import os
import re
import sys

FOLDERS = ("core", "platform", "app", "cli")
ENDING = re.compile(r"(_test)?\.(h|cpp|mm)$")


def main():
    top = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    with open(os.path.join(top, "ARCHITECTURE.md"), encoding="utf-8") as text:
        rows = dict(re.findall(r"(?m)^\| `([a-z/]+)` \| (.*) \|$", text.read()))
    problems, ports = [], set()
    for base, _, names in sorted(os.walk(os.path.join(top, "core"))):
        ports |= {ENDING.sub("", name) for name in names if ENDING.search(name)}
    found = {}
    for folder in FOLDERS:
        for base, _, names in sorted(os.walk(os.path.join(top, folder))):
            stems = {ENDING.sub("", name) for name in names if ENDING.search(name)} - {"main"}
            if stems:
                found[os.path.relpath(base, top)] = stems
    for folder, stems in found.items():
        if folder not in rows:
            problems.append("%s has no row" % folder)
            continue
        named = set(re.findall(r"`([A-Z]\w+)`", rows[folder]))
        expected = stems - ports if folder.startswith("platform/") else stems
        if folder == "cli":
            expected = {stem for stem in stems if not stem.endswith("Command")}
        problems += ["%s: %s is not named" % (folder, stem) for stem in sorted(expected - named)]
        problems += ["%s: there is no %s" % (folder, stem) for stem in sorted(named - stems)]
    for problem in problems:
        print(problem)
    print("%d folders, %d problems" % (len(found), len(problems)))
    return 1 if problems or not found else 0


if __name__ == "__main__":
    sys.exit(main())
