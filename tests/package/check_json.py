#!/usr/bin/env python3
"""Hold docs/json.md against what varnel prints: the fields of every object, in both directions.

    check_json.py DOCUMENT VARNEL

Where this machine lets us mount nothing, what is printed of volumes is left out.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

CODE = re.compile(r"`(\w+)`")


def main():
    document, varnel = sys.argv[1], os.path.abspath(sys.argv[2])
    with open(document, encoding="utf-8") as file:
        text = file.read()
    told = {words: fields for words, fields in re.findall(r"(?m)^\| `([a-z -]+)` \|[^|]*\| (.*) \|$", text)}
    # "- `items`: `path`, `name`, …; a folder counts 0 bytes."
    parts = {name: set(CODE.findall(re.split(r"[;.]| where ", rest)[0]))
             for name, rest in re.findall(r"(?m)^- `(\w+)`: (.*)$", text)}
    problems, seen = [], set()

    def compare(what, printed, named):
        if set(printed) != set(named):
            problems.append("%s: prints %s, the document names %s" % (what, sorted(printed), sorted(named)))

    with tempfile.TemporaryDirectory(prefix="varnel-json.") as folder:
        for name in ("stick/__MACOSX", "home"):
            os.makedirs(os.path.join(folder, name))
        for name in ("._x", "._x.ttf"):
            open(os.path.join(folder, "stick", name), "w").close()
        stick = os.path.join(folder, "stick")

        # A volume of our own, which nobody else sees.
        mounting = ["unshare", "-m", "--propagation", "private",
                    "sh", "-c", 'mount -t tmpfs volume /mnt && exec "$@"', "sh"]
        can_mount = subprocess.run([*mounting, "true"], stderr=subprocess.DEVNULL).returncode == 0

        def printed(*words):
            done = subprocess.run([*(mounting if can_mount else []), varnel, *words],
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  text=True, env={**os.environ, "HOME": folder + "/home"})
            return [json.loads(line) for line in done.stdout.splitlines()]

        for words in (["scan", stick], ["clean", "--yes", stick], ["clean", "--yes", "/etc"], ["volumes"], ["rules"],
                      ["clean", "--yes", "--eject", "/mnt"]):
            if "--eject" in words and not can_mount:
                continue
            for one in printed(*words, "--json"):
                command = "clean --eject" if "ejected" in one else words[0]
                outer = told[command].replace("the plan: ", "")
                fields = set(CODE.findall(re.sub(r"\(.*?\)", "", outer)))
                seen.add(command)
                compare(command, one, fields)
                for name, value in one.items():
                    if isinstance(value, list) and value and isinstance(value[0], dict):
                        inner = re.search(r"`%s` \((.*?)\)" % name, outer)
                        compare(name, value[0], CODE.findall(inner.group(1)) if inner else parts[name])
                        seen.add(name)
    expected = {"scan", "clean", "rules", "items", "tallies", "failures"}
    missing = (expected | {"volumes", "clean --eject"} if can_mount else expected) - seen
    assert not missing, "nothing was printed for %s" % missing
    print("\n".join(problems) or "the document is true")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
