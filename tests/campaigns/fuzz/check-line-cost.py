#!/usr/bin/env python3
"""check-line-cost.py PROGRAM FOLDER: lines cost time and memory in proportion to their bytes, whatever they hold.

Runs the program under callgrind and compares its parts: twice the bytes cost at most 2.2 times the instructions, heap
calls and heap bytes; a pass without new bytes costs the same whatever is pending. Nothing here looks at a clock.
"""
import collections
import pathlib
import re
import shutil
import subprocess
import sys

MOST_PER_BYTE = 3.2  # heap in use at its highest, for each byte that arrived
RATIO = 2.2
IDLE_DIFFERENCE = 0.02
SMALL = 8000  # bytes: growth that is no matter of proportion


def main():
    program, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    run = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/part", program],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        sys.exit(f"the program failed:\n{run.stdout[-2000:]}{run.stderr[-4000:]}")

    figures = collections.defaultdict(dict)
    for line in run.stdout.splitlines():
        flavour, mode, part, times, *rest = line.split()
        figures[flavour, mode, part][int(times)] = {k: int(v) for k, v in (item.split("=") for item in rest)}
    for path in folder.iterdir():
        text = path.read_text(errors="replace")
        name = re.search(r"^desc: Trigger: Client Request: (\S+) (\S+) (\S+) (\d+)$", text, re.M)
        total = re.search(r"^(?:summary|totals): (\d+)", text, re.M)
        if name:
            figures[name[1], name[2], name[3]][int(name[4])]["instructions"] = int(total[1])

    failures = []
    checked = 0

    def check(holds, what):
        nonlocal checked
        checked += 1
        if not holds:
            failures.append(what)

    for (flavour, mode, part), sizes in sorted(figures.items()):
        once, twice = sizes[1], sizes[2]
        name = f"{flavour}, {mode}, {part}"
        if part == "arrive":
            for figure, least in (("instructions", 0), ("calls", 100), ("bytes", SMALL)):
                check(twice[figure] <= max(RATIO * once[figure], least),
                      f"{name}: {figure} grow from {once[figure]} to {twice[figure]}")
            # A text that doubles its capacity copies itself; the old block goes only afterwards.
            check(twice["most"] <= MOST_PER_BYTE * 40000 + SMALL, f"{name}: {twice['most']} bytes in use for 40000")
        else:
            difference = abs(twice["instructions"] - once["instructions"])
            check(difference <= IDLE_DIFFERENCE * once["instructions"],
                  f"{name}: instructions {once['instructions']} and {twice['instructions']}")
            check(once["calls"] == twice["calls"], f"{name}: heap calls {once['calls']} and {twice['calls']}")
            check(once["bytes"] == twice["bytes"], f"{name}: heap bytes {once['bytes']} and {twice['bytes']}")
    for sizes in figures.values():
        check("instructions" in sizes[1] and "instructions" in sizes[2], "a part without its count of instructions")
    worst = max(s[2]["instructions"] / s[1]["instructions"] for (_, _, part), s in figures.items() if part == "arrive")
    print(f"{len(figures)} parts, {checked} comparisons; twice the bytes cost at most {worst:.3f} times the instructions")
    for failure in failures:
        print("FAILED:", failure)
    sys.exit(1 if failures or not figures else 0)


main()
