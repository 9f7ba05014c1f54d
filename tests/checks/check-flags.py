#!/usr/bin/python3
"""check-flags.py [--shipped] BUILD_FOLDER...: every source of the component and, unless the folder was configured with
MOVA_QUICK, of the tools is compiled optimised, with checked copies and guarded stacks. The programs' symbols cannot tell:
one guarded object among soft ones looks the same. --shipped: a folder with MOVA_QUICK is refused."""
import json
import pathlib
import shlex
import sys


def lacks(arguments):
    """What the compiler's arguments fail to ask for; of what contradicts itself the last counts."""
    level, fortified, guarded = "", False, False
    for argument in arguments:
        if argument.startswith("-O"):
            level = argument
        elif argument.startswith("-D_FORTIFY_SOURCE="):
            fortified = argument.endswith("=2")
        elif argument == "-U_FORTIFY_SOURCE":
            fortified = False
        elif "stack-protector" in argument:
            guarded = argument == "-fstack-protector-strong"
    return [what for what, there in (("-O2", level in ("-O2", "-O3")), ("-D_FORTIFY_SOURCE=2", fortified),
                                     ("-fstack-protector-strong", guarded)) if not there]


def main(arguments):
    shipped = arguments[:1] == ["--shipped"]
    failures = 0
    for folder in map(pathlib.Path, arguments[shipped:]):
        quick = "MOVA_QUICK:BOOL=ON" in (folder / "CMakeCache.txt").read_text().splitlines()
        if quick and shipped:
            print(f"FAILED {folder}: configured with MOVA_QUICK, not to be shipped")
            failures += 1
        tops = ("src/",) if quick else ("src/", "tools/")
        # By the object's place: unity sources and generated ones are in the build folder. Resources have no flags.
        commands = [shlex.split(entry["command"])
                    for entry in json.loads((folder / "compile_commands.json").read_text())
                    if not entry["file"].endswith(".rc")]
        checked = {command[command.index("-o") + 1]: lacks(command) for command in commands}
        checked = {output: missing for output, missing in checked.items() if output.startswith(tops)}
        for output, missing in checked.items():
            if missing:
                print(f"FAILED {folder}: {output} is compiled without {', '.join(missing)}")
                failures += 1
        if not any(output.startswith("src/") for output in checked):
            print(f"FAILED {folder}: no sources")
            failures += 1
        print(f"{folder}: the flags of {len(checked)} sources, {'tools compiled quickly' if quick else 'tools included'}")
    return 1 if failures or len(arguments) == shipped else 0


sys.exit(main(sys.argv[1:]))
