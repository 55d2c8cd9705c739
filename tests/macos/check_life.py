#!/usr/bin/env python3
"""Runs the Mac application on GNUstep through one life, and holds what reached the system against the record, byte by
byte, and the log file against the system log.   check_life.py PROGRAM RECORD PICTURES

With VARNEL_RECORD=1 in the environment the record is written anew; look at what changed.
"""

import difflib
import os
import re
import shutil
import subprocess
import sys
import tempfile

STAMP = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d ")
PICTURES = {"menu.png", "menu-without-volumes.png", "alert-1.png", "alert-2.png", "alert-3.png"}


def problems(program, record, pictures):
    shutil.rmtree(pictures, ignore_errors=True)
    os.makedirs(pictures)
    with tempfile.TemporaryDirectory() as home:
        done = subprocess.run([program], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=100,
                              env=dict(os.environ, HOME=home, PICTURES=os.path.abspath(pictures)))
        log = os.path.join(home, "Library", "Logs", "Varnel", "varnel.log")
        with open(log, encoding="utf-8") as text:
            lines = [line.rstrip("\n").replace(home, "HOME") for line in text]
    if done.returncode != 0:
        yield "it ends with %d: %s" % (done.returncode, done.stderr.decode("utf-8", "replace")[-500:])
    if os.environ.get("VARNEL_RECORD"):
        with open(record, "wb") as file:
            file.write(done.stdout)
    with open(record, "rb") as file:
        expected = file.read()
    if done.stdout != expected:
        old, new = (text.decode("utf-8", "replace").splitlines() for text in (expected, done.stdout))
        yield "\n".join(difflib.unified_diff(old, new, "record", "now", lineterm="", n=1))
    yield from ("a line of the log has no stamp: " + line for line in lines if not STAMP.match(line))
    mirrored = re.findall(r"^LOG com\.quorin\.varnel clean %\{public\}s: (.*)$", done.stdout.decode(), re.M)
    written = [re.sub(r"/tmp/varnel-test\.\w+", "T", STAMP.sub("", line)) for line in lines]
    if sorted(mirrored) != sorted(written) or not written:
        yield "the log holds %r, the system's %r" % (written, mirrored)
    missing = PICTURES - set(os.listdir(pictures))
    if missing:
        yield "pictures are missing: " + ", ".join(sorted(missing))


def main():
    found = list(problems(*sys.argv[1:]))
    for problem in found:
        print(problem)
    print("one life: %d problems" % len(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
