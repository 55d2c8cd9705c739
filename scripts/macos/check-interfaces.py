#!/usr/bin/python3
"""Holds the framework headers of scripts/macos/sdk/frameworks against the system's own metadata.

The headers declare what this project uses of the frameworks and nothing else, so the compiler refuses any other
message. Here each declaration is looked up: its class and what that class inherits, the exact selector, the types of
its arguments and its result, the values of constants; and each must name the first macOS that has it, which the
compiler in turn holds against the oldest supported one. Nullability and versions are taken from the documentation:
the metadata tells neither.

  check-interfaces.py METADATA SDK [--stubs]    --stubs also writes what the linker reads in the SDK
"""

import os
import re
import subprocess
import sys

from clang import cindex
from clang.cindex import CursorKind, TypeKind

import metadata

HERE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "sdk", "frameworks")
RESOURCES = subprocess.run(["clang++-19", "-print-resource-dir"], check=True, text=True,
                           stdout=subprocess.PIPE).stdout.strip()
VERSION = re.compile(r"API_AVAILABLE\(macos\((\d+\.\d+)\)\)")
TARGETS = "[ x86_64-macos, arm64-macos ]"
PLAIN = {TypeKind.VOID: "v", TypeKind.BOOL: "B", TypeKind.DOUBLE: "d", TypeKind.INT: "i", TypeKind.UINT: "I",
         TypeKind.USHORT: "S", TypeKind.UCHAR: "C", TypeKind.LONG: "q", TypeKind.LONGLONG: "q", TypeKind.ULONG: "Q",
         TypeKind.ULONGLONG: "Q", TypeKind.OBJCSEL: ":", TypeKind.OBJCCLASS: "#", TypeKind.OBJCID: "@"}
# Classes that are not in a stub of their own framework: the runtime's.
RUNTIME_CLASSES = {"NSObject"}


def encoding(kind):
    """A type in the metadata's spelling."""
    if kind.spelling.replace("_Nullable", "").replace("_Nonnull", "").strip() == "instancetype":
        return "@inst"
    kind = kind.get_canonical()
    if kind.kind == TypeKind.ENUM:
        return encoding(kind.get_declaration().enum_type)
    if kind.kind in PLAIN:
        return PLAIN[kind.kind]
    if kind.kind == TypeKind.RECORD:
        return "{%s}" % kind.get_declaration().spelling
    if kind.kind == TypeKind.OBJCOBJECTPOINTER:
        return object_encoding(kind)
    if kind.kind == TypeKind.BLOCKPOINTER:
        return "@?<%s>" % function_encoding(kind.get_pointee())
    if kind.kind == TypeKind.INCOMPLETEARRAY:
        return "^" + encoding(kind.element_type)
    if kind.kind == TypeKind.POINTER:
        below = kind.get_pointee().get_canonical()
        if below.kind == TypeKind.OBJCSEL:
            return ":"
        if below.kind == TypeKind.FUNCTIONPROTO:
            return "^?<%s>" % function_encoding(below)
        if below.kind in (TypeKind.CHAR_S, TypeKind.SCHAR):
            return "*"
        if below.kind == TypeKind.RECORD and below.get_declaration().spelling.startswith("__CF"):
            return "@"
        return "^" + encoding(below)
    raise SystemExit("a type that this script does not know: %s" % kind.spelling)


def object_encoding(kind):
    name = kind.spelling.replace("_Nullable", "").replace("_Nonnull", "").replace("const", "")
    name = re.sub(r"__\w+", "", name).replace("*", "").strip()
    if name.startswith("id<"):
        return "@" + name[2:]
    name = name.split("<")[0].strip()
    return "@" if name in ("id", "ObjectType", "KeyType") else "@" + name


def function_encoding(kind):
    return " ".join([encoding(kind.get_result())] + [encoding(a) for a in kind.argument_types()])


def normalised(types):
    """Without what the metadata does not keep apart: signedness, Boolean getters, and how pointers are passed."""
    types = re.sub(r"@inst\b|@<NSObject>|@NSObject\b|\^\{(dispatch_queue_s|__CF\w+)\}", "@", types.replace("^v", "*"))
    return re.sub(r"(?<![\w@{])[QICS](?!\w)", lambda found: {"Q": "q", "I": "i", "C": "B", "S": "s"}[found[0]], types)


class Header:
    """The declarations of one framework header, each held against the metadata."""

    def __init__(self, path, framework, described, sdk):
        self.framework, self.described, self.problems = framework, described, []
        self.classes, self.symbols, self.count = [], [], 0
        with open(path, encoding="utf-8") as text:
            self.source = text.read()
        arguments = ["-x", "objective-c++", "-target", "arm64-apple-macos13.0", "-isysroot", sdk, "-fblocks",
                     "-DOS_OBJECT_USE_OBJC=0", "-nostdinc++", "-resource-dir", RESOURCES]
        unit = cindex.Index.create().parse(path, args=arguments)
        for note in unit.diagnostics:
            if note.severity >= cindex.Diagnostic.Error:
                self.problems.append("%s: %s" % (framework, note))
        for cursor in flattened(unit.cursor):
            if cursor.location.file and cursor.location.file.name == path:
                self.check(cursor)

    def check(self, cursor):
        if cursor.kind == CursorKind.OBJC_INTERFACE_DECL:
            self.check_class(cursor)
        elif cursor.kind == CursorKind.OBJC_PROTOCOL_DECL and cursor.is_definition():
            self.check_protocol(cursor)
        elif cursor.kind == CursorKind.ENUM_DECL:
            self.check_enum(cursor)
        elif cursor.kind == CursorKind.VAR_DECL and cursor.storage_class == cindex.StorageClass.EXTERN:
            self.check_constant(cursor)
        elif cursor.kind == CursorKind.FUNCTION_DECL and cursor.storage_class != cindex.StorageClass.STATIC:
            types = " ".join([encoding(cursor.result_type)] + [encoding(a.type) for a in cursor.get_arguments()])
            if cursor.type.is_function_variadic():
                types += " ..."
            self.compare(cursor.spelling, types, self.described.functions.get(cursor.spelling))
            self.require_version(cursor, cursor.spelling)
            self.symbols.append("_" + cursor.spelling)

    def check_class(self, cursor):
        name = cursor.spelling
        if name not in self.described.classes:
            self.problems.append("%s: no such class" % name)
            return
        above = [c.spelling for c in cursor.get_children() if c.kind == CursorKind.OBJC_SUPER_CLASS_REF]
        if above and above[0] not in self.ancestors(name):
            self.problems.append("%s: does not inherit %s" % (name, above[0]))
        self.classes.append(name)
        self.check_methods(cursor, lambda key: self.described.member(name, key))

    def check_protocol(self, cursor):
        name = cursor.spelling
        if name not in self.described.protocols:
            self.problems.append("%s: no such protocol" % name)
        self.check_methods(cursor, lambda key: self.described.protocol_member(name, key))

    def check_methods(self, owner, look_up):
        own_version = self.version_before(owner)
        for method in owner.get_children():
            if method.kind not in (CursorKind.OBJC_INSTANCE_METHOD_DECL, CursorKind.OBJC_CLASS_METHOD_DECL):
                continue
            key = ("-" if method.kind == CursorKind.OBJC_INSTANCE_METHOD_DECL else "+") + method.spelling
            types = " ".join([encoding(method.result_type)] + [encoding(a.type) for a in method.get_arguments()])
            self.compare("%s[%s %s]" % (key[0], owner.spelling, key[1:]), types, look_up(key))
            if not own_version:
                self.require_version(method, "%s %s" % (owner.spelling, key))

    def check_enum(self, cursor):
        kind = cursor.enum_type.spelling
        if cursor.spelling and not cursor.is_anonymous():
            kind = cursor.spelling
        for member in cursor.get_children():
            if member.kind != CursorKind.ENUM_CONSTANT_DECL:
                continue
            self.count += 1
            known = self.described.constants.get(member.spelling, {}).get("value")
            if known is None:
                # The metadata keeps "Same" for NSOrderedSame: what of the name tells it from the others.
                short = [name for name in self.described.enums.get(kind, {}) if name in member.spelling]
                known = self.described.enums[kind][max(short, key=len)] if short else None
            if known is None:
                self.problems.append("%s: no such enumerator of %s" % (member.spelling, kind))
            elif int(known) % 2**64 != member.enum_value % 2**64:
                self.problems.append("%s: is %d, declared as %d" % (member.spelling, known, member.enum_value))

    def check_constant(self, cursor):
        known = self.described.constants.get(cursor.spelling, {})
        self.compare(cursor.spelling, encoding(cursor.type), known.get("type"))
        self.require_version(cursor, cursor.spelling)
        self.symbols.append("_" + cursor.spelling)

    def compare(self, what, declared, known):
        self.count += 1
        if known is None:
            self.problems.append("%s: macOS has no such thing" % what)
        elif normalised(declared) != normalised(known):
            self.problems.append("%s: is (%s), declared as (%s)" % (what, known, declared))

    def ancestors(self, name):
        while name in self.described.classes:
            name = self.described.classes[name]["super"]
            yield name

    def version_before(self, cursor):
        above = self.source[:cursor.extent.start.offset].rstrip().splitlines()
        line = self.source.splitlines()[cursor.extent.start.line - 1]
        return VERSION.search(above[-1] if above else "") or VERSION.search(line)

    def require_version(self, cursor, what):
        start = cursor.extent.start.offset
        if not VERSION.search(self.source[start:self.source.index(";", start)]):
            self.problems.append("%s: does not say since when macOS has it" % what)

    def write_stub(self, folder):
        """What the linker reads: only what is declared can be linked."""
        version = "C" if self.framework in ("AppKit", "Foundation") else "A"
        name = "/System/Library/Frameworks/%s.framework/Versions/%s/%s" % (self.framework, version, self.framework)
        symbols = list(self.symbols)
        if self.framework == "CoreFoundation":
            symbols.append("___CFConstantStringClassReference")  # the class of string literals
        classes = [c for c in self.classes if c not in RUNTIME_CLASSES]
        with open(os.path.join(folder, self.framework + ".tbd"), "w", encoding="utf-8") as stub:
            stub.write("--- !tapi-tbd\ntbd-version: 4\ntargets: %s\ninstall-name: '%s'\nexports:\n  - targets: %s\n"
                       % (TARGETS, name, TARGETS))
            stub.write("    symbols: [ %s ]\n" % ", ".join(symbols))
            if classes:
                stub.write("    objc-classes: [ %s ]\n" % ", ".join(classes))
            stub.write("...\n")


def flattened(cursor):
    for child in cursor.get_children():
        if child.kind in (CursorKind.LINKAGE_SPEC, CursorKind.UNEXPOSED_DECL):
            yield from flattened(child)
        else:
            yield child


def main():
    described, sdk = metadata.Metadata(sys.argv[1]), sys.argv[2]
    problems, count = [], 0
    for file in sorted(os.listdir(HERE)):
        framework = file[:-2]
        folder = os.path.join(sdk, "System", "Library", "Frameworks", framework + ".framework")
        header = Header(os.path.join(folder, "Headers", file), framework, described, sdk)
        problems += header.problems
        count += header.count
        if "--stubs" in sys.argv:
            header.write_stub(folder)
    for problem in problems:
        print(problem)
    print("%d declarations, %d problems" % (count, len(problems)))
    return 1 if problems or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
