#!/usr/bin/env python3
"""Hold every #include "…" of the product against the order of its layers.

The table is the order: a component may use itself and what its row names, nothing else. Adding an arrow is a
decision about the architecture, not a way to make this check pass. Inside a component headers must not form a cycle.
Further: no portable file asks for the platform or includes a header of platform/, but that a desktop may include what
NEIGHBOURS grants it of its own platform; a source of platform/ checks that it is on its platform; and every portable
file belongs to a component of the table.
"""

import os
import re
import sys

# component -> (what belongs to it: paths without ending, a trailing slash for a folder; what it may use)
LAYERS = {
    "base": (["core/base/"], []),
    "rules": (["core/rules/"], ["base"]),
    "volumes": (["core/volumes/"], ["base"]),
    "log": (["core/log/"], ["base"]),
    "disk": (["core/disk/"], ["base"]),
    "PathGuard": (["core/scan/PathGuard", "core/scan/ProtectedPaths"], ["base"]),
    "Directory": (["core/scan/Directory"], ["base"]),
    "FSInfo": (["core/scan/FSInfo", "core/scan/VolumeIdentity"], ["base", "Directory"]),
    "ExecResult": (["core/plan/ExecResult"], ["base"]),
    "Plan": (["core/plan/Plan"], ["base", "volumes"]),
    "TreeRemover": (["core/plan/TreeRemover"], ["base", "Directory"]),
    "PlanReport": (["core/plan/PlanReport"], ["base", "Plan"]),
    "PlanCoding": (["core/plan/PlanCoding"], ["base", "Plan", "volumes"]),
    "Walker": (["core/scan/Walker"], ["base", "Directory", "FSInfo"]),
    "Scanner": (["core/scan/Scanner"], ["base", "rules", "Directory", "FSInfo", "Walker", "Plan"]),
    "ParentFolders": (["core/scan/ParentFolders"], ["base", "Directory"]),
    "Executor": (["core/plan/Executor"],
                 ["base", "log", "PathGuard", "Directory", "FSInfo", "ParentFolders", "Plan", "ExecResult", "TreeRemover"]),
    "watcher": (["core/watcher/"], ["base", "rules", "volumes", "log", "PathGuard", "Directory", "FSInfo", "ParentFolders",
                                    "Plan", "ExecResult", "TreeRemover", "Scanner", "Executor"]),
    "cli": (["cli/"], ["base", "rules", "volumes", "log", "PathGuard", "Directory", "FSInfo", "ExecResult", "Plan",
                       "PlanReport", "PlanCoding", "Walker", "Scanner", "Executor", "watcher", "disk"]),
    "qt": (["app/qt/"], ["base", "app"]),
    "appkit": (["app/appkit/"], ["base", "app"]),
    "app": (["app/"], ["base", "rules", "volumes", "log", "PathGuard", "FSInfo", "ExecResult", "Plan", "PlanReport",
                       "Scanner", "Executor", "watcher", "disk"]),
}
# What a desktop may share with its own platform's layer.
NEIGHBOURS = {"appkit": ["platform/macos/ObjectiveC.h"]}
MOST_OBJECTIVE_C = 600  # lines of code
PORTABLE = ("core", "cli", "app")
PLATFORM_WORDS = re.compile(r"#\s*(?:if|ifdef|ifndef|elif).*\b(__linux__|__APPLE__|_WIN32|__unix__)\b")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def component_of(path):
    """The component that a path (of a header or a source, with or without ending) belongs to; None if none claims it."""
    stem = re.sub(r"(_test)?\.(h|cpp|mm)$", "", path)
    for name, (members, _) in LAYERS.items():
        if any(stem == member or (member.endswith("/") and stem.startswith(member)) for member in members):
            return name
    return None


def sources(top, folders):
    for folder in folders:
        for base, _, names in sorted(os.walk(os.path.join(top, folder))):
            for name in sorted(names):
                if name.endswith((".h", ".cpp", ".mm")):
                    yield os.path.relpath(os.path.join(base, name), top)


def includes(top, path):
    with open(os.path.join(top, path), encoding="utf-8") as text:
        for number, line in enumerate(text, 1):
            found = INCLUDE.match(line)
            if found:
                yield number, found.group(1)


def check_arrows(top, path, problems):
    mine = component_of(path)
    if mine is None:
        problems.append("%s: belongs to no component of the table" % path)
        return
    allowed = set(LAYERS[mine][1]) | {mine}
    for number, target in includes(top, path):
        if target.startswith("tests/") and path.endswith("_test.cpp"):
            continue
        theirs = component_of(target)
        if target in NEIGHBOURS.get(mine, []):
            continue
        if target.startswith("platform/"):
            problems.append("%s:%d: includes a header of a platform: %s" % (path, number, target))
        elif theirs is None:
            problems.append("%s:%d: includes what belongs to no component: %s" % (path, number, target))
        elif theirs not in allowed and not path.endswith("_test.cpp"):
            problems.append("%s:%d: %s may not use %s (%s)" % (path, number, mine, theirs, target))


def check_cycles(top, headers, problems):
    graph = {h: [t for _, t in includes(top, h) if t in headers] for h in headers}
    state = {}

    def visit(header, trail):
        if state.get(header) == "done":
            return
        if header in trail:
            problems.append("headers in a circle: %s" % " -> ".join(trail[trail.index(header):] + [header]))
            return
        for target in graph[header]:
            visit(target, trail + [header])
        state[header] = "done"

    for header in sorted(headers):
        visit(header, [])


def check_thinness(top, problems):
    """Objective-C++ speaks to a Mac and decides nothing; nobody can run it here as it will run there."""
    lines = 0
    for path in sources(top, ["app/appkit", "platform/macos"]):
        if path.endswith(".mm"):
            with open(os.path.join(top, path), encoding="utf-8") as text:
                lines += sum(not re.match(r"\s*(//|#|$)", line) for line in text)
    if not 0 < lines <= MOST_OBJECTIVE_C:
        problems.append("%d lines of Objective-C++, at most %d are wanted" % (lines, MOST_OBJECTIVE_C))


def main():
    top = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    problems = []
    ours = list(sources(top, PORTABLE))
    portable = [path for path in ours if component_of(path) not in ("qt", "appkit")]
    for path in ours:
        check_arrows(top, path, problems)
    for path in portable:
        with open(os.path.join(top, path), encoding="utf-8") as text:
            for number, line in enumerate(text, 1):
                if PLATFORM_WORDS.search(line):
                    problems.append("%s:%d: asks for the platform" % (path, number))
    check_cycles(top, {path for path in ours if path.endswith(".h")}, problems)
    for path in sources(top, ["platform"]):
        if path.endswith((".cpp", ".mm")) and not path.endswith("_test.cpp"):
            with open(os.path.join(top, path), encoding="utf-8") as text:
                if "#error" not in text.read():
                    problems.append("%s: does not check that it is on its platform" % path)
    check_thinness(top, problems)
    for problem in problems:
        print(problem)
    print("%d files, %d problems" % (len(ours), len(problems)))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
