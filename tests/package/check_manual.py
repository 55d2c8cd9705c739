#!/usr/bin/env python3
"""Hold a program's manual page against what the program itself says with --help, in both directions.

    check_manual.py MANUAL PROGRAM

Each option stands in the section of the commands that take it: "OPTIONS", or "OPTIONS OF SCAN AND CLEAN".
"""

import re
import subprocess
import sys

OPTION = re.compile(r"(?<![\w-])--?[a-z][a-z-]*")


def output(*words):
    return subprocess.run(words, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True).stdout


def sections(path):
    """The manual's sections as lists of lines, without the escapes of its language."""
    found = {}
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            line = re.sub(r"\\f[A-Z]", "", line.rstrip("\n")).replace("\\", "")
            if line.startswith(".SH "):
                mine = found.setdefault(line[4:].strip('"'), [])
            elif not line.startswith((".TH", '."')):
                mine.append(line)
    return found


def tags(lines):
    """What a section explains: the line behind each .TP, without the macro."""
    return [re.sub(r'^\.[A-Z]+ |"', "", after) for line, after in zip(lines, lines[1:]) if line == ".TP"]


def options(text):
    return set(OPTION.findall(text))


def below(help_text, heading):
    """The first words of the lines below a heading of a help text."""
    found = re.search(r"(?ms)^%s:\n(.*?)(\n\n|\Z)" % heading, help_text)
    return re.findall(r"(?m)^  (\S+)", found.group(1)) if found else []


def main():
    manual, program = sections(sys.argv[1]), sys.argv[2]
    problems = []

    def compare(what, said, told):
        for word in sorted(said - told):
            problems.append("%s: the manual does not tell of %s" % (what, word))
        for word in sorted(told - said):
            problems.append("%s: the manual tells of %s, which is not there" % (what, word))

    whole = output(program, "--help")
    commands = below(whole, "Subcommands")
    common = {"-h", "--help"}
    documented = {}
    for heading, lines in manual.items():
        if not heading.startswith("OPTIONS"):
            continue
        owners = re.split(", | AND ", heading.removeprefix("OPTIONS").removeprefix(" OF "))
        for owner in owners:
            documented.setdefault(owner.lower(), set()).update(options(" ".join(tags(lines))))
    compare(program, options(whole) | common, documented.pop("", set()))
    for command in commands:
        compare(command, options(output(program, "help", command)), documented.pop(command, set()) | common)
    compare("sections", set(), set(documented))
    if commands:
        compare("commands", set(commands), {tag.split()[0] for tag in tags(manual["COMMANDS"])} | {"help"})
        synopsis = " ".join(manual["SYNOPSIS"])
        compare("synopsis", set(commands), {one for one in commands if re.search(r"\b%s\b" % one, synopsis)})

    # What is only mentioned must be there as well.
    known = options(whole) | common | {"-platform"}
    for command in commands:
        known |= options(output(program, "help", command))
    mentioned = set().union(*(options(line) for lines in manual.values() for line in lines))
    compare("mentioned", set(), mentioned - known)

    # "Exit status: 0 done, 1 …", where the help tells of it.
    said = re.search(r"(?m)^Exit status: (.*)$", whole)
    told = set(tags(manual.get("EXIT STATUS", [])))
    if said:
        compare("exit status", set(re.findall(r"\b\d+\b", said.group(1))), told)
    elif not told:
        problems.append("exit status: none")
    for action in re.findall(r"(?m)^  --action NAME +(.*)$", whole):
        for name in re.split(r", | or ", action):
            if not any(re.search(r"\b%s\b" % re.escape(name), line) for line in manual["OPTIONS"]):
                problems.append("the manual does not tell of the action %s" % name)

    print("\n".join(problems) or "the manual is whole")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
