#!/usr/bin/env python3
"""Holds the application's bundle against what macOS reads of it before it ever runs: the property list, the service
that it declares and the method that answers it, the oldest system, the icon, the command line.   check-bundle.py Varnel.app VERSION OLDEST"""

import os
import plistlib
import re
import subprocess
import sys

PURPOSES = ("NSDesktopFolderUsageDescription", "NSDocumentsFolderUsageDescription", "NSDownloadsFolderUsageDescription",
            "NSNetworkVolumesUsageDescription", "NSRemovableVolumesUsageDescription")
# What AppKit finds by name alone: a misspelt one is simply never sent.
ANSWERED = {"applicationDidFinishLaunching:", "applicationWillTerminate:", "menuNeedsUpdate:", "cleanUsingVarnel:",
            "scanVolume:", "cleanVolume:", "cleanAndEject:", "chooseFolder:", "sweepAll:", "toggleWatcher:",
            "toggleLoginItem:", "showLog:", "quit:"}


def methods_of(program):
    """The methods that the delegate implements."""
    symbols = subprocess.run(["llvm-nm-19", "--arch=arm64", "--format=just-symbols", program], check=True, text=True,
                             stdout=subprocess.PIPE).stdout
    return set(re.findall(r"^-\[VarnelApplicationDelegate ([\w:]+)\]$", symbols, re.M))


def problems(bundle, version, oldest):
    contents = os.path.join(bundle, "Contents")
    with open(os.path.join(contents, "Info.plist"), "rb") as text:
        raw = text.read()
    facts = plistlib.loads(raw)
    program = os.path.join(contents, "MacOS", facts.get("CFBundleExecutable", ""))
    if b"${" in raw or b"$(" in raw or b"@PROJECT" in raw:
        yield "a variable is left in the property list"
    expected = {"CFBundleIdentifier": "com.quorin.varnel", "CFBundleName": "Varnel", "CFBundlePackageType": "APPL",
                "CFBundleShortVersionString": version, "CFBundleVersion": version, "LSMinimumSystemVersion": oldest,
                "LSUIElement": True, "LSMultipleInstancesProhibited": True, "NSPrincipalClass": "NSApplication",
                "NSSupportsSuddenTermination": False, "NSSupportsAutomaticTermination": False}
    for key, value in expected.items():
        if facts.get(key) != value:
            yield "%s is %r" % (key, facts.get(key))
    for key in PURPOSES:
        if not facts.get(key):
            yield "%s is missing: the system would refuse without asking" % key
    if not os.access(program, os.X_OK):
        yield "there is no program %s" % program
        return
    methods = methods_of(program)
    for name in sorted(ANSWERED - methods):
        yield "nothing answers %s" % name
    if not os.path.isfile(os.path.join(contents, "Resources", facts.get("CFBundleIconFile", "") + ".icns")):
        yield "the icon is missing"
    if not os.access(os.path.join(contents, "Helpers", "varnel"), os.X_OK):
        yield "the command line is not inside"
    services = facts.get("NSServices", [])
    if len(services) != 1:
        yield "%d services are declared" % len(services)
    for service in services:
        if service.get("NSMessage", "") + ":userData:error:" not in methods:
            yield "nothing answers the service %s" % service.get("NSMessage")
        if service.get("NSPortName") != facts.get("CFBundleName"):
            yield "the service's port is not the application"
        if service.get("NSMenuItem", {}).get("default") != "Clean Using Varnel":
            yield "the service's title is %r" % service.get("NSMenuItem")
        if set(service.get("NSSendTypes", [])) != {"NSFilenamesPboardType", "public.file-url"}:
            yield "the service takes %r" % service.get("NSSendTypes")
        if service.get("NSSendFileTypes") != ["public.item"] or service.get("NSRequiredContext") != {}:
            yield "the service would not be offered for every file and folder"


def main():
    found = list(problems(*sys.argv[1:]))
    for problem in found:
        print("%s: %s" % (sys.argv[1], problem))
    print("%s: %d problems" % (sys.argv[1], len(found)))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
