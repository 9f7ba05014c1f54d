#!/usr/bin/python3
"""check-resources.py PROGRAM...: what Windows shows of each: name, version, and of programs the icon in every size."""
import os
import re
import struct
import sys

import pefile

VERSION = "1.8.4"
DESCRIPTIONS = {
    "MovaCmdSvr.dll": "MovaCmdSvr automation component",
    "mova.exe": "Drives a mobile handset on a serial port",
    "mova-viewer.exe": "Shows what MovaCmdSvr says on its debug channel",
    "mova-handset.exe": "Simulated handset for MovaCmdSvr",
    "MovaCmdSvr-setup.exe": "Installs MovaCmdSvr",
    "uninstall.exe": "Installs MovaCmdSvr",  # the installer writes it with its own texts
}
ICON_SIZES = [16, 24, 32, 48, 256]


def strings(pe):
    """The texts of the version's only language."""
    [table] = [table for block in pe.FileInfo for info in block if info.name == "StringFileInfo"
               for table in info.StringTable]
    return {key.decode(): value.decode() for key, value in table.entries.items()}


def icon_sizes(pe):
    [kind] = [entry for entry in pe.DIRECTORY_ENTRY_RESOURCE.entries if entry.id == pefile.RESOURCE_TYPE["RT_GROUP_ICON"]]
    leaf = kind.directory.entries[0].directory.entries[0].data.struct
    group = pe.get_data(leaf.OffsetToData, leaf.Size)
    count = struct.unpack_from("<3H", group)[2]
    return sorted(group[6 + 14 * index] or 256 for index in range(count))


def check(path):
    pe = pefile.PE(path)
    name = re.sub(r"-[\d.]+-setup", "-setup", os.path.basename(path))
    failures = []

    def expect(what, got, wanted):
        if got != wanted:
            failures.append(f"{what}: {got}, expected {wanted}")

    fixed = pe.VS_FIXEDFILEINFO[0]
    expect("version numbers", (fixed.FileVersionMS, fixed.FileVersionLS), (0x00010008, 0x00040000))
    texts = strings(pe)
    expect("product", texts.get("ProductName"), "MovaCmdSvr")
    expect("version", (texts.get("FileVersion"), texts.get("ProductVersion")), (VERSION, VERSION))
    expect("description", texts.get("FileDescription"), DESCRIPTIONS[name])
    if name in ("MovaCmdSvr-setup.exe", "uninstall.exe"):
        expect("bits of the setup", pefile.MACHINE_TYPE[pe.FILE_HEADER.Machine], "IMAGE_FILE_MACHINE_I386")
    else:
        expect("file's own name", texts.get("OriginalFilename"), name)
    if not pe.is_dll():
        expect("sizes of the icon", icon_sizes(pe), ICON_SIZES)
    for failure in failures:
        print(f"FAILED {path}: {failure}")
    return not failures


def main(*paths):
    good = sum(map(check, paths))
    print(f"resources of {good} programs are as they should be, {len(paths) - good} are not")
    return 0 if paths and good == len(paths) else 1


sys.exit(main(*sys.argv[1:]))
