#!/usr/bin/env python3
"""Sum up CTest's JUnit files: the tests that were skipped and why, those that failed, and "N passed, N failed".

A test that runs other tests and ends with this summary of them hands on what they skipped.

Exit status 0 when nothing failed and something passed.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree


def skip_reason(case):
    """The line in which a skipped test says why."""
    output = case.findtext("system-out") or ""
    found = re.search(r"Skipped\n(.+)|^SKIPPED: (.+)", output, re.MULTILINE)
    return (found.group(1) or found.group(2)).strip() if found else "no reason given"


def skipped_within(case):
    """What a test that passed tells of the tests that it ran."""
    return re.findall(r"^skipped: (.+?): (.+)$", case.findtext("system-out") or "", re.MULTILINE)


def main():
    passed, failed, skipped = 0, [], []
    for path in sys.argv[1:]:
        try:
            cases = list(ElementTree.parse(path).getroot().iter("testcase"))
        except (OSError, ElementTree.ParseError) as error:
            failed.append("%s: %s" % (path, error))
            continue
        for case in cases:
            status, name = case.get("status"), case.get("name")
            if case.find("skipped") is not None and status != "fail":
                skipped.append((name, skip_reason(case)))
            elif status == "run":
                passed += 1
                skipped += [("%s, %s" % (name, inner), reason) for inner, reason in skipped_within(case)]
            else:
                failed.append(name)
    for name, reason in skipped:
        print("skipped: %s: %s" % (name, reason))
    for name in failed:
        print("failed: %s" % name)
    if skipped:
        print("%d skipped" % len(skipped))
    print("%d passed, %d failed" % (passed, len(failed)))
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
