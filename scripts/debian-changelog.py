#!/usr/bin/env python3
"""Print the Debian changelog of this version.

    debian-changelog.py SECONDS    the time of the release, since 1970

The version is that of CMakeLists.txt, which must be the newest of CHANGELOG.md; its text is from there, the name behind
it from packaging/debian/control.
"""

import datetime
import email.utils
import os
import re
import sys
import textwrap

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")


def first(pattern, *path):
    """What the first group of the pattern matches in that file."""
    with open(os.path.join(ROOT, *path), encoding="utf-8") as file:
        found = re.search(pattern, file.read(), re.MULTILINE | re.DOTALL)
    if not found:
        sys.exit("%s says nothing like %s" % (os.path.join(*path), pattern))
    return found.group(1)


def main():
    version = first(r"^project\(\w+ VERSION ([0-9.]+)", "CMakeLists.txt")
    newest = first(r"^## (\S+)$", "CHANGELOG.md")
    if newest != version:
        sys.exit("CMakeLists.txt says %s, CHANGELOG.md %s" % (version, newest))
    changes = first(r"^## \S+\n+(.*?)\n*(?:^## |\Z)", "CHANGELOG.md")
    print("varnel (%s) unstable; urgency=medium\n" % version)
    for change in re.split(r"^- ", changes, flags=re.MULTILINE)[1:]:
        print(textwrap.fill(" ".join(change.split()), 78, initial_indent="  * ", subsequent_indent="    "))
    maintainer = first(r"^Maintainer: ([^\n]+)$", "packaging", "debian", "control")
    released = datetime.datetime.fromtimestamp(int(sys.argv[1]), datetime.timezone.utc)
    print("\n -- %s  %s" % (maintainer, email.utils.format_datetime(released)))


if __name__ == "__main__":
    main()
