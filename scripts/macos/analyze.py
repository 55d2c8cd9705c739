#!/usr/bin/env python3
"""Lets clang's analyzer follow the objects of the macOS sources, compiled as for macOS: leaks, objects released too
often, nil where none is allowed.   analyze.py BUILD   (a folder with compile_commands.json)"""

import json
import os
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

OURS = ("platform/macos/", "platform/posix/", "app/appkit/")
CHECKS = "core,cplusplus,nullability,osx,security,unix"


def analyze(entry):
    words = shlex.split(entry["command"])
    if os.path.basename(words[0]) == "ccache":
        words.pop(0)
    for flag in ("-o", "-MT", "-MF", "-c"):
        if flag in words:
            at = words.index(flag)
            del words[at:at + 2]
    at = len(words) - 1 - words[::-1].index("-arch")  # one processor is enough
    del words[at:at + 2]
    words = [w for w in words if w not in ("-MD", "-Werror")]
    words += ["--analyze", "--analyzer-output", "text", "-Xclang", "-analyzer-checker=" + CHECKS, "-Xclang",
              "-analyzer-werror", entry["file"]]
    done = subprocess.run(words, cwd=entry["directory"], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout


def main():
    top = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
    with open(os.path.join(sys.argv[1], "compile_commands.json"), encoding="utf-8") as text:
        entries = [e for e in json.load(text) if os.path.relpath(e["file"], top).startswith(OURS)]
    with ThreadPoolExecutor(os.cpu_count()) as workers:
        results = list(workers.map(analyze, entries))
    for code, output in results:
        if code != 0:
            print(output)
    failed = sum(code != 0 for code, _ in results)
    print("analyzer: %d sources, %d with problems" % (len(results), failed))
    return 1 if failed or not results else 0


if __name__ == "__main__":
    sys.exit(main())
