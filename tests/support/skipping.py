"""What a test in Python says where this machine cannot tell."""

import shutil
import sys

SKIPPED = 77


def skip(reason):
    """Ends the test as skipped, for `reason`."""
    print("SKIPPED: " + reason)
    sys.exit(SKIPPED)


def need(*programs):
    """Goes on only where each of the programs is installed."""
    for program in programs:
        if not shutil.which(program):
            skip("needs the program " + program)
