#!/usr/bin/env python3
"""The help texts of enumeration members, which the IDL compiler refuses: it is given the enumerations without them, and they
are put into the type library that it writes.

MemberHelp.py strip FROM.idl TO.idl                 the enumerations without their members' help texts
MemberHelp.py add ENUMERATIONS.idl FROM.tlb TO.tlb  the library with them

A library has a header, the offsets of its types, a directory of segments (offset and length) and the types' member data. Here
the segment of texts grows by the help texts and each member's record by two fields, so that what lies behind moves.
"""
import re
import struct
import sys

MEMBER = re.compile(r'\[helpstring\(("(?:[^"\\]|\\.)*")\)\]\s*(\w+)(?=\s*=)')
HEADER, DIRECTORY_ENTRIES, TYPE_BYTES = 0x54, 15, 0x64
TYPES, NAMES, TEXTS = 0, 7, 8  # segments
HAS_HELP_DLL = 0x100
ENUMERATION = 0  # kind of a type
PLAIN_RECORD = 0x14  # bytes of a member's record without help: size, type, flags, kind, value


class Library:
    def __init__(self, data):
        if data[:4] != b"MSFT":
            raise SystemExit("no type library")
        self.data = bytearray(data)
        self.types = self.word(0x20)
        self.directory = HEADER + 4 * self.types + (4 if self.word(0x14) & HAS_HELP_DLL else 0)

    def word(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def put(self, at, value):
        struct.pack_into("<I", self.data, at, value)

    def segment(self, number):
        return self.word(self.directory + 16 * number), self.word(self.directory + 16 * number + 4)

    def records(self):
        return [self.segment(TYPES)[0] + TYPE_BYTES * number for number in range(self.types)]

    def name(self, offset):
        at = self.segment(NAMES)[0] + offset
        return self.data[at + 12:at + 12 + self.data[at + 8]].decode()

    def insert(self, at, added):
        """What begins at or behind the place moves."""
        for number in range(DIRECTORY_ENTRIES):
            offset, length = self.segment(number)
            if length and offset >= at:
                self.put(self.directory + 16 * number, offset + len(added))
        for record in self.records():
            if self.word(record + 4) >= at:
                self.put(record + 4, self.word(record + 4) + len(added))
        self.data[at:at] = added

    def add_text(self, text):
        """Its offset among the texts."""
        begin, length = self.segment(TEXTS)
        added = struct.pack("<H", len(text)) + text.encode("ascii")
        added += b"W" * (max(8, (len(added) + 3) // 4 * 4) - len(added))
        self.insert(begin + length, added)
        self.put(self.directory + 16 * TEXTS + 4, length + len(added))
        return length

    def members(self, at, count):
        """(name, record) of each; behind the records stand ids, names and offsets."""
        behind = at + 4 + self.word(at)
        for number in range(count):
            yield self.name(self.word(behind + 4 * (count + number))), at + 4 + self.word(behind + 4 * (2 * count + number))

    def add_help(self, helps):
        places = {text: self.add_text(text) for text in dict.fromkeys(helps.values())}
        texts = {name: places[text] for name, text in helps.items()}
        found = set()
        for record in self.records():
            if self.word(record) & 0xF != ENUMERATION:
                continue
            at, count = self.word(record + 4), self.word(record + 0x18) >> 16
            rows = b""
            for number, (name, place) in enumerate(self.members(at, count)):
                if self.word(place) & 0xFFFF != PLAIN_RECORD or name not in texts:
                    raise SystemExit(f"{name}: no help text, or one already")
                found.add(name)
                rows += struct.pack("<I", PLAIN_RECORD + 8 | number << 16) + self.data[place + 4:place + PLAIN_RECORD]
                rows += struct.pack("<II", 0, texts[name])
            behind = at + 4 + self.word(at)
            tables = self.data[behind:behind + 8 * count]
            offsets = struct.pack(f"<{count}I", *(number * (PLAIN_RECORD + 8) for number in range(count)))
            self.insert(behind + 12 * count, bytes(8 * count))
            block = struct.pack("<I", len(rows)) + rows + tables + offsets
            self.data[at:at + len(block)] = block
        if found != set(texts):
            raise SystemExit(f"not in the type library: {sorted(set(texts) - found)}")


def main(action, *paths):
    with open(paths[0]) as file:
        idl = file.read()
    if action == "strip":
        with open(paths[1], "w") as file:
            file.write(MEMBER.sub(r"\2", idl))
        return
    helps = {name: re.sub(r"\\(.)", r"\1", text[1:-1]) for text, name in MEMBER.findall(idl)}
    with open(paths[1], "rb") as file:
        library = Library(file.read())
    library.add_help(helps)
    with open(paths[2], "wb") as file:
        file.write(library.data)


if __name__ == "__main__":
    main(*sys.argv[1:])
