#!/usr/bin/env python3
"""Holds scripts/summarize-tests.py against results of each kind: what passed, failed, was skipped, and was skipped
inside a test that runs other tests."""

import os
import subprocess
import sys
import tempfile

SUMMARIZE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "summarize-tests.py")
CASES = {
    "passed": ('status="run"', "", "nothing to tell"),
    "rung": ('status="run"', "", "skipped: Inner.Test/0  # GetParam(): no mounts: not root\n1 skipped\n7 passed, 0 failed"),
    "failed": ('status="fail"', "<failure/>", "skipped: Inner.Other: of no account"),
    "script": ('status="notrun"', "<skipped/>", "some words\nSKIPPED: no npm here"),
    "program": ('status="notrun"', "<skipped/>", "a_test.cpp:7: Skipped\nneeds a disk\n"),
    "silent": ('status="notrun"', "<skipped/>", ""),
}


def summary(names):
    with tempfile.NamedTemporaryFile("w", suffix=".xml") as results:
        results.write("<testsuite>%s</testsuite>" % "".join(
            '<testcase name="%s" %s>%s<system-out>%s</system-out></testcase>' % ((name,) + CASES[name]) for name in names))
        results.flush()
        done = subprocess.run([sys.executable, SUMMARIZE, results.name], text=True, stdout=subprocess.PIPE)
    return done.returncode, done.stdout


def main():
    checks = [
        (["passed"], (0, "1 passed, 0 failed\n")),
        (["passed", "rung"], (0, "skipped: rung, Inner.Test/0  # GetParam(): no mounts: not root\n1 skipped\n"
                                 "2 passed, 0 failed\n")),
        (["passed", "failed"], (1, "failed: failed\n1 passed, 1 failed\n")),
        (["passed", "script", "program", "silent"],
         (0, "skipped: script: no npm here\nskipped: program: needs a disk\nskipped: silent: no reason given\n"
             "3 skipped\n1 passed, 0 failed\n")),
        (["script"], (1, "skipped: script: no npm here\n1 skipped\n0 passed, 0 failed\n")),
    ]
    wrong = [(names, summary(names), expected) for names, expected in checks if summary(names) != expected]
    for names, got, expected in wrong:
        print("%s: %r instead of %r" % (names, got, expected))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
