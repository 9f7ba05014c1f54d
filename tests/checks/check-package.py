#!/usr/bin/python3
"""check-package.py: what build/package holds is what was built and checked, without names, and they are beside it."""
import glob
import os
import struct
import sys
import zipfile
import zlib

import pefile

FILES = ("MovaCmdSvr.dll", "mova.exe", "mova-viewer.exe", "mova-handset.exe")
CODE_AND_DATA = (".text", ".data", ".rdata", ".rsrc", ".reloc")
failures = []


def expect(what, got, wanted):
    if got != wanted:
        failures.append(f"{what}: {got}, expected {wanted}")


def name_of(section, pe):
    """A long one is "/n": it stands in the text behind the symbols."""
    name = section.Name.rstrip(b"\0").decode()
    if name.startswith("/"):
        at = pe.FILE_HEADER.PointerToSymbolTable + 18 * pe.FILE_HEADER.NumberOfSymbols + int(name[1:])
        name = pe.__data__[at:pe.__data__.find(b"\0", at)].decode()
    return name


def sections(pe):
    """{name: content as it is loaded}"""
    return {name_of(section, pe): section.get_data()[:section.Misc_VirtualSize] for section in pe.sections}


def check(name, built, shipped, symbols):
    """symbols: the content of the file of its names, or None."""
    mine, theirs = sections(pefile.PE(data=shipped)), sections(pefile.PE(data=built))
    for section in CODE_AND_DATA:
        expect(f"{name}, {section} as built", mine.get(section) == theirs.get(section), True)
    bits = [pefile.PE(data=data).OPTIONAL_HEADER.DllCharacteristics for data in (shipped, built)]
    expect(f"{name}, header bits", bits[0], bits[1])
    expect(f"{name}, names", pefile.PE(data=shipped).FILE_HEADER.NumberOfSymbols, 0)
    expect(f"{name}, line tables", [section for section in mine if section.startswith(".debug")], [])
    has_names = pefile.PE(data=built).FILE_HEADER.NumberOfSymbols > 0
    expect(f"{name}, names beside it", symbols is not None, has_names)
    if symbols is not None:
        expect(f"{name}, as many names as built", pefile.PE(data=symbols).FILE_HEADER.NumberOfSymbols,
               pefile.PE(data=built).FILE_HEADER.NumberOfSymbols)
        link = mine.get(".gnu_debuglink", bytes(8))
        expect(f"{name}, the file that debuggers look for", link.split(b"\0", 1)[0].decode(),
               os.path.basename(name) + ".debug")
        expect(f"{name}, its checksum", struct.unpack_from("<I", link, (link.index(b"\0") + 4) // 4 * 4)[0], zlib.crc32(symbols))
    return has_names


def main():
    [archive] = glob.glob("build/package/MovaCmdSvr-*[0-9].zip")
    base = os.path.basename(archive)[:-len(".zip")]
    with_names = 0
    with zipfile.ZipFile(archive) as package, zipfile.ZipFile(f"build/package/{base}-symbols.zip") as apart:
        for name in (f"windows-{platform}/{file}" for platform in ("x64", "x86") for file in FILES):
            path = f"{base}-symbols/{name}.debug"
            with open(f"build/{name}", "rb") as built:
                with_names += check(name, built.read(), package.read(f"{base}/{name}"),
                                    apart.read(path) if path in apart.namelist() else None)
        version = base.split("-")[1]
        for path, text in (("docs/getting-started-windows.md", f"`{base}-setup.exe`"),
                           ("windows-x64/MovaCmdSvr.manifest", f'name="MovaCmdSvr" version="{version}.0"'),
                           ("windows-x86/MovaCmdSvr.manifest", f'name="MovaCmdSvr" version="{version}.0"'),
                           ("samples/registration-free/program.exe.manifest", f'name="MovaCmdSvr" version="{version}.0"')):
            expect(f"{path} tells the version", text in package.read(f"{base}/{path}").decode(), True)
        left = sorted(name for name in package.namelist() if name.endswith((".debug", "CMakeLists.txt")))
        expect("what does not belong into the package", left, [])
    expect("programs with names, at least", with_names >= 4, True)
    for failure in failures:
        print("FAILED", failure)
    print(f"the package's 8 programs are those that were built; the names of {with_names} are apart, {len(failures)} failures")
    return 1 if failures else 0


sys.exit(main())
