#!/usr/bin/python3
"""check-dll.py DLL MACHINE: what can be seen of a built DLL without running it. MACHINE: AMD64 or I386."""
import sys

import pefile

SYSTEM = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll"}
EXPORTS = ["DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"]
STRINGS_96_TO_111 = 7  # the block of the string table with id 100


def resources(pe):
    """{(type, name): bytes}"""
    found = {}
    for kind in pe.DIRECTORY_ENTRY_RESOURCE.entries:
        for entry in kind.directory.entries:
            leaf = entry.directory.entries[0].data.struct
            found[str(kind.name) if kind.name else kind.id, entry.id] = pe.get_data(leaf.OffsetToData, leaf.Size)
    return found


def main(path, machine):
    pe = pefile.PE(path)
    failures = []

    def expect(what, got, wanted):
        if got != wanted:
            failures.append(f"{what}: {got}, expected {wanted}")

    expect("machine", pefile.MACHINE_TYPE[pe.FILE_HEADER.Machine], "IMAGE_FILE_MACHINE_" + machine)
    expect("exports", [e.name.decode() for e in pe.DIRECTORY_ENTRY_EXPORT.symbols], EXPORTS)
    imports = {e.dll.decode().lower() for e in pe.DIRECTORY_ENTRY_IMPORT}
    expect("imports beside the system's", sorted(imports - SYSTEM), [])
    found = resources(pe)
    expect("type library's first bytes", found.get(("TYPELIB", 1), b"")[:4], b"MSFT")
    strings = found.get((pefile.RESOURCE_TYPE["RT_STRING"], STRINGS_96_TO_111), b"")
    empty = b"\0\0"
    expect("string table", strings, empty * 4 + b"\x0a\0" + "MovaCmdSvr".encode("utf-16-le") + empty * 11)
    version = pe.VS_FIXEDFILEINFO[0]
    expect("version", (version.FileVersionMS, version.FileVersionLS), (0x00010008, 0x00040000))

    for failure in failures:
        print(f"FAILED {path}: {failure}")
    if not failures:
        print(f"{path}: {machine}, four exports, system imports only, resources as they should be")
    return 1 if failures else 0


sys.exit(main(*sys.argv[1:]))
