#!/usr/bin/env python3
"""Holds a program for macOS against what it must be: both processors, the oldest supported system, nothing but the
system's own libraries, no search path, signed as far as the linker signs.   check-binary.py PROGRAM OLDEST"""

import re
import subprocess
import sys

SYSTEM = ("/usr/lib/libSystem.B.dylib", "/usr/lib/libc++.1.dylib", "/usr/lib/libobjc.A.dylib")
FRAMEWORK = re.compile(r"/System/Library/Frameworks/(AppKit|CoreFoundation|CoreServices|Foundation|ServiceManagement)"
                       r"\.framework/Versions/[A-C]/\1")


def output(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


def problems(program, oldest):
    architectures = set(output("llvm-lipo-19", "-archs", program).split())
    if architectures != {"arm64", "x86_64"}:
        yield "is for %s" % ", ".join(sorted(architectures))
    for architecture in sorted(architectures):
        commands = output("llvm-objdump-19", "--macho", "--private-headers", "--arch=" + architecture, program)
        libraries = re.findall(r"cmd LC_LOAD\w*_DYLIB\n.*\n\s*name (\S+)", commands)
        builds = re.findall(r"cmd LC_BUILD_VERSION\n.*\n\s*platform (\S+)\n.*\n\s*minos (\S+)", commands)
        for ok, text in [
                (builds == [("macos", oldest)], "platform and oldest system are %s" % builds),
                (len(libraries) >= 3, "loads hardly anything: %s" % libraries),
                ("cmd LC_MAIN\n" in commands, "has no entry"),
                ("cmd LC_RPATH\n" not in commands, "searches for libraries"),
                (architecture != "arm64" or "cmd LC_CODE_SIGNATURE\n" in commands, "is not signed, and would not start")]:
            if not ok:
                yield "%s: %s" % (architecture, text)
        for library in libraries:
            if library not in SYSTEM and not FRAMEWORK.fullmatch(library):
                yield "%s: loads %s" % (architecture, library)


def main():
    found = list(problems(*sys.argv[1:]))
    for problem in found:
        print("%s: %s" % (sys.argv[1], problem))
    print("%s: %d problems" % (sys.argv[1], len(found)))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
