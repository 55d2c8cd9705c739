#!/usr/bin/env python3
"""Time commands in turn, round after round, and print how each compares with the first.

    side_by_side.py [--rounds N] [--before COMMAND] [--json FILE] NAME=COMMAND…

A machine's speed drifts, so every round runs each command once and the ratios are taken within the round; printed are
medians. One more round comes first and is not counted. COMMAND is a line for sh; --before runs, untimed, before each.
Needs time(1), Debian's package time.
"""

import argparse
import json
import statistics
import subprocess
import sys
import tempfile
import time


def measure(command):
    """Wall seconds, processor seconds and peak MiB of one run, which must succeed."""
    with tempfile.NamedTemporaryFile("r") as note:
        # time(1) is small, so that the peak is the command's own and not that of whoever forked it.
        words = ["/usr/bin/time", "-q", "-o", note.name, "-f", "%U %S %M", "sh", "-c", "exec " + command]
        begun = time.perf_counter()
        status = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL).returncode
        wall = time.perf_counter() - begun
        if status != 0:
            sys.exit("side_by_side.py: status %d: %s" % (status, command))
        user, system, peak = note.read().split()[-3:]
    return wall, float(user) + float(system), float(peak) / 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--before")
    parser.add_argument("--json")
    parser.add_argument("commands", nargs="+", metavar="NAME=COMMAND")
    args = parser.parse_args()
    commands = [word.split("=", 1) for word in args.commands]
    samples = {name: [] for name, _ in commands}
    for number in range(args.rounds + 1):
        for name, command in commands:
            if args.before:
                subprocess.run(args.before, shell=True, check=True, stdout=subprocess.DEVNULL)
            sample = measure(command)
            if number > 0:
                samples[name].append(sample)
    first = [sample[0] for sample in samples[commands[0][0]]]
    rows = []
    print("%-24s %10s %10s %10s %10s %10s %10s" % ("", "median s", "fastest s", "slowest s", "cpu s", "peak MiB", "ratio"))
    for name, _ in commands:
        wall, cpu, peak = zip(*samples[name])
        rows.append({"name": name, "median": statistics.median(wall), "fastest": min(wall), "slowest": max(wall),
                     "cpu": statistics.median(cpu), "peak": max(peak),
                     "ratio": statistics.median(w / f for w, f in zip(wall, first))})
        print("%-24s %10.4f %10.4f %10.4f %10.4f %10.1f %10.2f" % tuple(rows[-1].values()))
    if args.json:
        with open(args.json, "w") as out:
            json.dump(rows, out, indent=1)


if __name__ == "__main__":
    main()
