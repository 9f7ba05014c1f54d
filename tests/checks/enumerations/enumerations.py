#!/usr/bin/env python3
"""enumerations.py TREE LIBRARY: the type library's enumerations name the interface's numbers, all of them and no others, and the
reference lists the names beside their numbers. The numbers are those of mova/Numbers.h, the texts of codes those of the library."""
import ctypes
import pathlib
import re
import sys

NUMBERS = "include/mova/Numbers.h"
ENUMERATIONS = "src/component/automation/Enumerations.idl"
REFERENCE = "docs/reference.md"
CODES = "mova_code_number"
NOT_SEEN_BY_CALLERS = {"MOVA_LOG_PATH_EMPTY"}
SUCCESS = "success"  # which no message tells, so that the library has no text for it


def camel(name):
    return "".join(word.capitalize() for word in name.lower().split("_"))


def number(text):
    return int(text, 0)


def numbers_of(header):
    """{name in the type library: (number, enumeration or None where the header has none)}"""
    header = re.sub(r"/\*.*?\*/", "", header, flags=re.DOTALL)
    found = {}
    for tag, body in re.findall(r"\benum\s*(\w*)\s*\{(.*?)\}", header, re.DOTALL):
        enumeration = "MovaCode" if tag == CODES else camel(tag) or None
        for name, value in re.findall(r"\bMOVA_(\w+)\s*=\s*([-\w]+)", body):
            if f"MOVA_{name}" not in NOT_SEEN_BY_CALLERS:
                found["mova" + ("Code" if tag == CODES else "") + camel(name)] = number(value), enumeration
    return found


def enumerations_of(idl):
    """{enumeration: {member: (number, help or None)}}"""
    found = {}
    for name, body in re.findall(r"\benum (\w+) \{(.*?)\n    \}", idl, re.DOTALL):
        found[name] = members = {}
        for text, member, value in re.findall(r'(?:\[helpstring\("((?:[^"\\]|\\.)*)"\)\]\s*)?\b(\w+) = ([-\w]+)', body):
            members[member] = number(value), re.sub(r"\\(.)", r"\1", text) or None
    return found


class Enumerations:
    def __init__(self, tree, text_of_code):
        self.tree = pathlib.Path(tree)
        self.text_of_code = text_of_code
        self.numbers = numbers_of(self.read(NUMBERS))
        self.enumerations = enumerations_of(self.read(ENUMERATIONS))
        self.failures = []

    def read(self, path):
        return (self.tree / path).read_text()

    def members(self):
        for enumeration, members in self.enumerations.items():
            for name, (value, text) in members.items():
                yield enumeration, name, value, text

    def check_numbers(self):
        there = set()
        for enumeration, name, value, _ in self.members():
            if name.lower() in there or name in self.enumerations:
                self.failures.append(f"{name} is there twice, or in another case")
            there.add(name.lower())
            expected = self.numbers.get(name)
            if not expected:
                self.failures.append(f"{name}: {NUMBERS} has no such number")
            elif expected[0] != value:
                self.failures.append(f"{name} is {value}, not {expected[0]}")
            elif expected[1] not in (None, enumeration):
                self.failures.append(f"{name} is in {enumeration}, not in {expected[1]}")
        for name in self.numbers:
            if name.lower() not in there:
                self.failures.append(f"{name}: {ENUMERATIONS} lacks it")

    def check_texts(self):
        for enumeration, name, value, text in self.members():
            expected = (self.text_of_code(value) or SUCCESS) if enumeration == "MovaCode" else text
            if not text:
                self.failures.append(f"{name} has no help text")
            elif text != expected:
                self.failures.append(f"{name}: {text!r}, not {expected!r}")

    def check_reference(self):
        """Codes stand in rows, a number or a range of them in the first cell and as many names in the third; all others as
        `name` and number."""
        text = self.read(REFERENCE)
        told = {}
        for row in re.findall(r"^\| 0.*", text, re.MULTILINE):
            cells = [cell.strip() for cell in row.strip("|").split("|")]
            numbers = [number(each) for each in re.findall(r"\b0x[0-9A-F]+|\b0\b", cells[0])]
            names = re.findall(r"`(movaCode\w+)`", cells[2]) if len(cells) == 4 else []
            if " to " in cells[0] and len(names) == 2:
                first, last = numbers
                told.update((name, value) for _, name, value, _ in self.members() if first <= value <= last)
            elif len(numbers) == 1:
                numbers *= len(names)
            if len(numbers) != len(names) and numbers[0] < 0x10000:  # the last row is the call's own failure
                self.failures.append(f"{REFERENCE}: {cells[0]} and {cells[2:3]}")
            told.update(zip(names, numbers))
        told.update((name, number(value)) for name, value in re.findall(r"`(mova[A-Z]\w+)` (-?\w+)\b", text)
                    if name in self.numbers and name not in told)
        for enumeration, name, value, _ in self.members():
            if name not in told:
                self.failures.append(f"{REFERENCE} does not list {name}")
            elif told[name] != value:
                self.failures.append(f"{REFERENCE}: {name} is {value}, not {told[name]}")
            if f"`{enumeration}`" not in text:
                self.failures.append(f"{REFERENCE} does not list {enumeration}")
        for name in set(re.findall(r"`(mova[A-Z]\w+)`", text)) - {name for _, name, *_ in self.members()}:
            self.failures.append(f"{REFERENCE}: there is no {name}")

    def check(self):
        if len(self.numbers) < 100:
            self.failures.append(f"only {len(self.numbers)} numbers were found")
        self.check_numbers()
        self.check_texts()
        self.check_reference()
        return sorted(set(self.failures))


def texts_of(library):
    code_text = ctypes.CDLL(library).mova_code_text
    code_text.restype = ctypes.c_char_p
    code_text.argtypes = [ctypes.c_uint32]
    return lambda code: code_text(code).decode()


if __name__ == "__main__":
    enumerations = Enumerations(sys.argv[1], texts_of(sys.argv[2]))
    failures = enumerations.check()
    for failure in failures:
        print(failure)
    print(f"{len(enumerations.numbers)} numbers in {len(enumerations.enumerations)} enumerations, {len(failures)} findings")
    sys.exit(1 if failures else 0)
