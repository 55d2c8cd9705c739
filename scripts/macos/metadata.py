#!/usr/bin/env python3
"""Reads the description of macOS's frameworks that the npm package @nativescript/macos-node-api carries inside its
Mach-O: which class, protocol, function and constant exists, with exact selectors and types.

The data tells neither the first version of anything nor const, and little of signedness. Types are spelled like
Objective-C's encodings, with names: "@NSString", "q", "{_NSRange}", "^{__FSEventStream}", "@?<v @NSNotification>".
"""

import struct

NO_NAME = 0x7FFFFFFF
MORE = 1 << 31
KINDS = ["c", "i", "s", "l", "q", "C", "I", "S", "L", "Q", "f", "d", "C", "v", "*", "@", "@proto", "@class", "@inst",
         "@NSString", "@NSMutableString", "#", ":", "[", "{", "^", "^v", "^?", "B", "@?", "u128", "D", "vec", "extvec",
         "complex", "H"]
MAGIC = b"NSMD\x01\x00"


class Metadata:
    """`classes` and `protocols` are dictionaries of {"super", "protocols", "members": {"-selector:": "types"}},
    `functions` of types, `constants` of {"type"} or {"value"}, `enums` of {name: value}."""

    def __init__(self, path):
        with open(path, "rb") as binary:
            self.data = self._located(binary.read())
        offsets = struct.unpack_from("<8I", self.data, len(MAGIC))
        self.strings = len(MAGIC) + 4 * len(offsets)
        (self.at_constants, self.at_enums, self.at_signatures, self.at_functions, self.at_protocols, self.at_classes,
         self.at_structs, self.at_unions) = offsets
        self.classes = dict(self._classes())
        self.protocols = dict(self._protocols())
        self.functions = dict(self._functions())
        self.constants = dict(self._constants())
        self.enums = dict(self._enums())

    def member(self, owner, key):
        """The types of "-selector" or "+selector" of a class, looked for in what it inherits and adopts too."""
        name = owner
        while name in self.classes:
            described = self.classes[name]
            if key in described["members"]:
                return described["members"][key]
            for protocol in described["protocols"]:
                found = self.protocol_member(protocol, key)
                if found:
                    return found
            name = described["super"]
        return None

    def protocol_member(self, name, key):
        described = self.protocols.get(name)
        if described is None:
            return None
        if key in described["members"]:
            return described["members"][key]
        return next(filter(None, (self.protocol_member(p, key) for p in described["protocols"])), None)

    @staticmethod
    def _located(binary):
        at = binary.find(MAGIC)
        while at >= 0:
            offsets = struct.unpack_from("<8I", binary, at + len(MAGIC))
            if list(offsets) == sorted(offsets) and at + offsets[-1] <= len(binary):
                return binary[at:]
            at = binary.find(MAGIC, at + 1)
        raise SystemExit("no metadata in the file")

    def _u32(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def _string(self, offset):
        offset &= NO_NAME
        if offset == NO_NAME:
            return None
        start = self.strings + offset
        return self.data[start:self.data.index(b"\0", start)].decode()

    def _name_in(self, table, offset):
        offset &= NO_NAME
        return "?" if offset == NO_NAME else self._string(self._u32(table + offset))

    def _type(self, at, depth=0):
        """One type: its text, where the next begins, whether one follows, whether the signature is variadic."""
        byte = self.data[at]
        follows, variadic, text = bool(byte & 0x80), bool(byte & 0x40), KINDS[byte & 0x3F]
        at += 1
        if text == "[":
            size, = struct.unpack_from("<H", self.data, at)
            inner, at, *_ = self._type(at + 2, depth)
            text = "[%d%s]" % (size, inner)
        elif text == "{":
            offset = self._u32(at)
            at += 4
            text = "{%s}" % self._name_in(self.at_unions if offset & MORE else self.at_structs, offset)
        elif text in ("^?", "@?"):
            offset = self._u32(at)
            at += 4
            if depth < 2 and offset & NO_NAME != NO_NAME:
                text += "<%s>" % self._signature(offset, depth + 1)
        elif text == "@proto":
            names, at = self._list(at, self.at_protocols)
            text = "@<%s>" % ",".join(names)
        elif text == "@class":
            offset = self._u32(at)
            at += 4
            text = "@" + self._name_in(self.at_classes, offset)
            if offset & MORE:
                names, at = self._list(at, self.at_protocols)
        elif text == "^":
            inner, at, *_ = self._type(at, depth)
            text = "^" + inner
        return text, at, follows, variadic

    def _list(self, at, table):
        names = []
        while True:
            offset = self._u32(at)
            at += 4
            names.append(self._name_in(table, offset))
            if not offset & MORE:
                return names, at

    def _signature(self, offset, depth=0):
        text, at, follows, variadic = self._type(self.at_signatures + (offset & NO_NAME), depth)
        types = [text]
        more = follows or variadic  # a variadic signature has an argument, though it does not say so
        while more:
            text, at, more, _ = self._type(at, depth)
            types.append(text)
        return " ".join(types) + (" ..." if variadic else "")

    def _members(self, at):
        found = {}
        while True:
            flags = self.data[at]
            at += 1
            if flags & 0x7F == 0:
                return found, at
            sign = "+" if flags & 8 else "-"
            pairs = []
            if flags & 1:  # a property: its own name, its getter, and its setter unless it is read-only
                at += 4
                pairs.append(struct.unpack_from("<2I", self.data, at))
                at += 8
                if not flags & 2:
                    pairs.append(struct.unpack_from("<2I", self.data, at))
                    at += 8
            else:
                pairs.append(struct.unpack_from("<2I", self.data, at))
                at += 8
            for selector, signature in pairs:
                found[sign + self._string(selector)] = self._signature(signature)
            if not flags & 0x80:
                return found, at

    def _classes(self):
        at = self.at_classes
        while at < self.at_structs:
            name = self._u32(at)
            at += 8
            protocols, members = [], {}
            if name & MORE:
                protocols, at = self._list(at, self.at_protocols)
            above = self._u32(at)
            at += 4
            if above & MORE:
                members, at = self._members(at)
            yield self._string(name), {"super": self._name_in(self.at_classes, above), "protocols": protocols,
                                       "members": members}

    def _protocols(self):
        at = self.at_protocols
        while at < self.at_classes:
            name = self._u32(at)
            at += 4
            protocols = []
            if name & MORE:
                protocols, at = self._list(at, self.at_protocols)
            members, at = self._members(at)
            yield self._string(name), {"protocols": protocols, "members": members}

    def _functions(self):
        for at in range(self.at_functions, self.at_protocols, 8):
            name, signature = struct.unpack_from("<2I", self.data, at)
            yield self._string(name), self._signature(signature)

    def _constants(self):
        at = self.at_constants
        while at < self.at_enums:
            name, kind = self._u32(at), self.data[at + 4]
            at += 5
            if kind == 0:
                text, at, *_ = self._type(at)
                value = {"type": text}
            elif kind in (1, 2):
                value = {"value": struct.unpack_from("<q" if kind == 1 else "<d", self.data, at)[0]}
                at += 8
            else:
                value = {"type": "@NSString"}
                at += 4
            yield self._string(name), value

    def _enums(self):
        at = self.at_enums
        while at < self.at_signatures:
            name = self._u32(at)
            at += 4
            members, more = {}, True
            while more:
                member, value = struct.unpack_from("<Iq", self.data, at)
                at += 12
                members[self._string(member)] = value
                more = member & MORE
            yield self._string(name), members
