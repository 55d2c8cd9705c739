#!/usr/bin/env python3
"""Hold a shell's completion of varnel against what varnel itself says of its commands, options and rules.

    check_completions.py SHELL VARNEL [FOLDER]    bash, zsh or fish, with the completion that lies in FOLDER, or with
                                                  the one that is installed

Each shell completes for real. Exit status 77, with the reason, where this machine has no such shell.
"""

import json
import os
import pty
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from skipping import skip  # noqa: E402

BASH_COMPLETION = "/usr/share/bash-completion/bash_completion"


def output(*words):
    return subprocess.run(words, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True).stdout


class Bash:
    describes = False

    def __init__(self, folder):
        if not os.path.exists(BASH_COMPLETION):
            skip("needs bash-completion")
        self.load = ". %s; " % BASH_COMPLETION
        self.load += ". %s/varnel.bash" % shlex.quote(folder) if folder else "_completion_loader varnel"

    def offers(self, line):
        """What readline gets, asked the way readline asks: '=' is a word of its own."""
        words = [part for word in line.split(" ") for part in re.split("(=)", word) if part or not word]
        ask = """%s
            [[ $(complete -p varnel) =~ -F\\ ([^ ]+) ]] || exit
            COMP_WORDS=(%s) COMP_CWORD=%d COMP_LINE=%s COMP_POINT=${#COMP_LINE}
            "${BASH_REMATCH[1]}" varnel "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}" 2>/dev/null
            printf '%%s\\n' "${COMPREPLY[@]}"
            """ % (self.load, " ".join(map(shlex.quote, words)), len(words) - 1, shlex.quote(line))
        return {word: "" for word in output("bash", "--norc", "-c", ask).splitlines() if word}


class Zsh:
    describes = True

    def __init__(self, folder):
        self.told = os.path.join(os.environ["HOME"], "offers")
        child, self.terminal = pty.fork()
        if child == 0:
            os.execvpe("zsh", ["zsh", "-f", "-i"], {**os.environ, "OFFERS": self.told, "TERM": "dumb"})
        if folder:
            self.write("fpath=(%s $fpath)\n" % shlex.quote(folder))
        self.write("source %s\n" % shlex.quote(os.path.join(os.path.dirname(os.path.abspath(__file__)), "offers.zsh")))
        self.read_until(b"<ready>")

    def offers(self, line):
        self.write("cd %s\n%s\t\x14" % (shlex.quote(os.getcwd()), line))
        self.read_until(b"<told>")
        with open(self.told) as file:
            offers = [one.rstrip("\n").partition("\t") for one in file]
        # zsh shows a description behind its word, in a column.
        return {word: re.sub(r"^.*? +-- ", "", text) for word, _, text in offers if word}

    def write(self, text):
        os.write(self.terminal, text.encode())

    def read_until(self, word):
        seen = b""
        while word not in seen:
            some = os.read(self.terminal, 4096)
            assert some, seen
            seen += some


class Fish:
    describes = True

    def __init__(self, folder):
        self.load = "source %s/varnel.fish; " % shlex.quote(folder) if folder else ""

    def offers(self, line):
        offers = output("fish", "--private", "-c", self.load + "complete -C " + shlex.quote(line)).splitlines()
        return {word: text for word, _, text in (offer.partition("\t") for offer in offers)}


def listed(text, heading):
    """The lines below a heading of a help text, as {words: description}."""
    found = {}
    for line in re.search(r"(?ms)^%s:\n(.*?)(\n\n|\Z)" % heading, text).group(1).splitlines():
        entry = re.match(r"  (\S+)(?: \S+)*?(?:  +(\S.*))?$", line)
        if entry:
            words = entry.group(1)
            found[words] = entry.group(2)
        else:
            found[words] = line.strip()
    assert found and all(found.values()), text
    return {word: description for words, description in found.items() for word in words.split(",")}


def plain(offers):
    """As the person reads them: no backslashes, no slash behind a folder."""
    return {re.sub(r"\\(.)", r"\1", word).rstrip("/"): text for word, text in offers.items()}


def main():
    shell, varnel, folder = sys.argv[1], os.path.abspath(sys.argv[2]), (sys.argv[3:] or [None])[0]
    if not shutil.which(shell):
        skip("needs the program " + shell)
    home = tempfile.TemporaryDirectory(prefix="varnel-completion.")
    os.environ.update(HOME=home.name, PATH=os.path.dirname(varnel) + ":" + os.environ["PATH"])
    shell = {"bash": Bash, "zsh": Zsh, "fish": Fish}[shell](folder)
    wrong = []

    def complain(line, offers, expected):
        wrong.append("`%s`:\n  offers   %s\n  expected %s" % (line, sorted(offers), sorted(expected)))

    def expect(line, expected):
        offers = plain(shell.offers(line))
        if not shell.describes:
            expected = dict.fromkeys(expected, "")
        if offers != expected:
            complain(line, offers.items(), expected.items())

    def expect_words(line, expected):
        offers = set(plain(shell.offers(line)))
        # A shell gives the whole word, or what stands behind the last '=' or ','.
        if offers not in [{re.sub(before, "", word) for word in expected} for before in ("^$", "^.*=", "^.*[=,]")]:
            complain(line, offers, expected)

    whole = output(varnel, "--help")
    commands = listed(whole, "Subcommands")
    expect("varnel ", commands)
    expect("varnel -", listed(whole, "Options"))
    expect("varnel help ", commands)
    selecting = []
    for command in commands:
        options = listed(output(varnel, "help", command), "Options")
        expect("varnel %s -" % command, options)
        if "--only" in options:
            selecting.append(command)

    rules = {rule["id"]: rule["label"] for rule in json.loads(output(varnel, "rules", "--json"))["rules"]}
    assert selecting and rules
    for command in selecting:
        for option in ("--only", "--except"):
            expect("varnel %s %s " % (command, option), rules)
            for start in (" ", "="):
                expect_words("varnel %s %s%sdsstore,ap" % (command, option, start),
                             [option + "=dsstore," + rule for rule in rules if rule.startswith("ap")])
        expect("varnel %s --samples " % command, {})
    expect("varnel watch --sweep-every ", {})
    expect("varnel log -n ", {})
    # Where no word can follow, zsh goes on to the options.
    expect("varnel rules ", listed(output(varnel, "help", "rules"), "Options") if isinstance(shell, Zsh) else {})
    expect("varnel nonsense ", {})

    place = os.path.join(home.name, "place")
    for name in ("Stick of Ana", "clean"):
        os.makedirs(os.path.join(place, name))
    open(os.path.join(place, "notes.txt"), "w").close()
    os.chdir(place)
    for command in ("scan", "clean", "watch"):
        expect_words("varnel %s " % command, ["Stick of Ana", "clean"])
        expect_words("varnel %s clean St" % command, ["Stick of Ana"])
    expect_words("varnel eject ", ["Stick of Ana", "clean", "notes.txt"])
    os.chdir("/")

    print("\n".join(wrong) or "complete")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
