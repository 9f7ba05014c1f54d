#!/usr/bin/python3
"""check-dll.py DLL_OR_PROGRAM MACHINE: what can be seen of what was built without running it. MACHINE: AMD64 or I386."""
import re
import subprocess
import sys

import pefile

SYSTEM = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll"}
EXPORTS = ["DllCanUnloadNow", "DllGetClassObject", "DllInstall", "DllRegisterServer", "DllUnregisterServer"]
STRINGS_96_TO_111 = 7  # the block of the string table with id 100


def resources(pe):
    """{(type, name): bytes}"""
    found = {}
    for kind in pe.DIRECTORY_ENTRY_RESOURCE.entries:
        for entry in kind.directory.entries:
            leaf = entry.directory.entries[0].data.struct
            found[str(kind.name) if kind.name else kind.id, entry.id] = pe.get_data(leaf.OffsetToData, leaf.Size)
    return found


def guarded_returns(pe, path):
    """How many places call the end of the process that a smashed stack brings about."""
    if not pe.is_dll():  # the compiler's own, found by its name
        tools = {"AMD64": "x86_64", "I386": "i686"}[pefile.MACHINE_TYPE[pe.FILE_HEADER.Machine].rsplit("_", 1)[1]]
        code = subprocess.run([f"{tools}-w64-mingw32-objdump", "-d", path], capture_output=True, text=True, check=True)
        return len(re.findall(r"call.*<_*stack_chk_fail>", code.stdout))
    text = next(section for section in pe.sections if section.Name.startswith(b".text"))
    code = text.get_data()
    fast_fail = code.find(b"\xb9\x02\0\0\0\xcd\x29")  # move 2 into ecx, interrupt 29h: the stack's cookie is wrong
    if fast_fail < 0:
        return 0
    # In 64 bit the function begins with what its caller's calling convention asks for.
    starts = range(fast_fail - 8, fast_fail + 1)
    calls = (match.start() for match in re.finditer(rb"\xe8", code))
    return sum(at + 5 + int.from_bytes(code[at + 1:at + 5], "little", signed=True) in starts for at in calls)


def check_hardening(pe, path, machine, expect):
    bits = pe.OPTIONAL_HEADER.DllCharacteristics
    wanted = {"DYNAMIC_BASE", "NX_COMPAT", "HIGH_ENTROPY_VA" if machine == "AMD64" else "NO_SEH"}
    got = {name for name in wanted if bits & pefile.DLL_CHARACTERISTICS["IMAGE_DLLCHARACTERISTICS_" + name]}
    expect("header bits", got, wanted)
    relocations = sum(len(block.entries) for block in getattr(pe, "DIRECTORY_ENTRY_BASERELOC", []))
    expect("can be moved", relocations > 100 and not pe.FILE_HEADER.IMAGE_FILE_RELOCS_STRIPPED, True)
    expect("writable and executable sections",
           [s.Name for s in pe.sections if s.IMAGE_SCN_MEM_WRITE and s.IMAGE_SCN_MEM_EXECUTE], [])
    expect("more than 100 guarded returns", (guarded_returns(pe, path) > 100), True)


def main(path, machine):
    pe = pefile.PE(path)
    failures = []

    def expect(what, got, wanted):
        if got != wanted:
            failures.append(f"{what}: {got}, expected {wanted}")

    expect("machine", pefile.MACHINE_TYPE[pe.FILE_HEADER.Machine], "IMAGE_FILE_MACHINE_" + machine)
    check_hardening(pe, path, machine, expect)
    if pe.is_dll():
        check_component(pe, expect)
    else:
        expect("imports beside the system's", sorted(imports(pe) - SYSTEM), [])
    for failure in failures:
        print(f"FAILED {path}: {failure}")
    if not failures:
        what = "five exports, resources as they should be, " if pe.is_dll() else ""
        print(f"{path}: {machine}, {what}system imports only, hardened, {guarded_returns(pe, path)} guarded returns")
    return 1 if failures else 0


def imports(pe):
    return {e.dll.decode().lower() for e in pe.DIRECTORY_ENTRY_IMPORT}


def check_component(pe, expect):
    expect("exports", [e.name.decode() for e in pe.DIRECTORY_ENTRY_EXPORT.symbols], EXPORTS)
    expect("imports beside the system's", sorted(imports(pe) - SYSTEM), [])
    found = resources(pe)
    expect("type library's first bytes", found.get(("TYPELIB", 1), b"")[:4], b"MSFT")
    strings = found.get((pefile.RESOURCE_TYPE["RT_STRING"], STRINGS_96_TO_111), b"")
    empty = b"\0\0"
    expect("string table", strings, empty * 4 + b"\x0a\0" + "MovaCmdSvr".encode("utf-16-le") + empty * 11)
    version = pe.VS_FIXEDFILEINFO[0]
    expect("version", (version.FileVersionMS, version.FileVersionLS), (0x00010008, 0x00040000))

sys.exit(main(*sys.argv[1:]))
