#!/usr/bin/env -S python3 -B
"""report.py FOLDER HISTORY: reads what the benchmark programs wrote into FOLDER (micro.json, *.jsonl, sizes.json), prints
the table, writes it to FOLDER/table.md and appends the run to HISTORY.
report.py --write PAGE REFERENCE [HISTORY]: makes the last run of HISTORY, if there is one, the only one of REFERENCE, and
writes its tables into PAGE.
report.py --check PAGE REFERENCE: fails when PAGE has other tables than those of REFERENCE.

Every figure stands beside a peer or the limit of the same run, as a ratio: machines are noisy, absolute times are only
shown. Ratios are the component's value divided by the other's."""
import datetime
import json
import os
import pathlib
import sys

import page

COMPONENT = "component"


class Table:
    def __init__(self):
        self.lines = []

    def add(self, section, what, value, unit, beside, other, ratio, target=None, met=None):
        self.lines.append(dict(section=section, what=what, value=value, unit=unit, beside=beside, other=other,
                               ratio=ratio, target=target, met=met))

    # Throughput and the like: a ratio above 1 is good. Times and sizes: one below 1 is.
    def compare(self, section, what, value, unit, beside, other, target=None, met=None):
        self.add(section, what, value, unit, beside, other, value / other if other else None, target, met)


def json_lines(path):
    if not path.exists():
        return []
    return [json.loads(line) for line in path.read_text().splitlines() if line.startswith("{")]


# --- codec, engine, queue

class Micro:
    def __init__(self, path):
        self.values = {}
        # Of the repetitions the fastest: noise only ever adds.
        for row in json.loads(path.read_text())["benchmarks"]:
            name = row["run_name"]
            if row["run_type"] == "iteration" and (name not in self.values or row["cpu_time"] < self.values[name]["cpu_time"]):
                self.values[name] = row

    def megabytes(self, name):
        return self.values[name]["bytes_per_second"] / 1e6

    def nanoseconds(self, name):
        return self.values[name]["cpu_time"]

    def peers(self, operation, size):
        suffix = f"/{size}" if size else ""
        found = {}
        for name in self.values:
            parts = name.split("/")
            if parts[0] == operation and name.endswith(suffix) and parts[1] != "mova":
                found[parts[1]] = self.megabytes(name)
        return sorted(found.items(), key=lambda item: -item[1])


CODEC = [("encode", "hexadecimal encode", (120, 4096)), ("decode", "hexadecimal decode", (120, 4096)),
         ("checksum", "checksum of hexadecimal text", (120, 4096)), ("build", "frame build, 123 bytes", (None,)),
         ("parse", "frame parse, 123 bytes", (None,))]


def codec(table, micro):
    section = "Codec, MB/s of bytes"
    for operation, title, sizes in CODEC:
        for size in sizes:
            what = title + (f", {size} bytes" if size else "")
            own = micro.megabytes(f"{operation}/mova" + (f"/{size}" if size else ""))
            for i, (peer, value) in enumerate(micro.peers(operation, size)[:2]):
                target = ("as fast as the best peer", own >= value) if i == 0 else (None, None)
                table.compare(section, what, own, "MB/s", peer, value, *target)
            if operation != "checksum":
                table.compare(section, what, own, "MB/s", "memcpy of the text", micro.megabytes(f"copyText/{size or 120}"))


def engine(table, micro):
    section = "Receive engine and queue, on a line of memory"
    for kind, what in (("short", "answers of 22 bytes"), ("usual", "answers of 40 bytes"), ("long", "answers of 4.4 KB")):
        own = micro.megabytes(f"stream/{kind}")
        table.compare(section, what, own, "MB/s", "reading the same chunks and finding their line ends",
                      micro.megabytes(f"streamLimit/{kind}"), "over 200 MB/s", own > 200)
    for size in (1, 10, 100, 1024, 5120):
        one, two = (micro.nanoseconds(f"pendingGrows/{size * factor * 1024}/2048") / 1e3 for factor in (1, 2))
        table.add(section, f"{2 * size} KB pending, in chunks of 2048", two, "us", f"{size} KB", one, two / one, "at most 2.2",
                  two / one <= 2.2)
    for chunk in (1, 16, 128, 512):
        one, two = (micro.nanoseconds(f"pendingGrows/{kilobytes * 1024}/{chunk}") / 1e3 for kilobytes in (256, 512))
        table.add(section, f"512 KB pending, in chunks of {chunk}", two, "us", "256 KB", one, two / one, "at most 2.2",
                  two / one <= 2.2)
    little = micro.nanoseconds("idlePass/1024")
    for size in (102400, 10485760):
        value = micro.nanoseconds(f"idlePass/{size}")
        table.compare(section, f"pass without new bytes, {size // 1024} KB pending", value, "ns", "1 KB pending", little,
                      "the same, within a fifth", value < 1.2 * little)
    for operation in ("Append", "Fetch", "Join"):
        own, other = (1e9 / micro.values[f"{kind}{operation}"]["items_per_second"] for kind in ("queue", "deque"))
        what = {"Append": "append a record", "Fetch": "append and fetch a record", "Join": "append a text and join a hundred"}
        table.compare(section, "queue: " + what[operation], own, "ns", "std::deque and std::mutex", other)


# --- lines

def grouped(rows):
    groups = {}
    for row in rows:
        groups.setdefault(row["name"], {})[row["who"]] = row
    return groups


AT_ONCE, ON_USB = "line rate 0", "port on USB"
BYTE_BY_BYTE = "bare loop, byte by byte"
# What the median may be at most at line rate 0, beside a peer's.
AT_MOST = {("AT exchange", "bare loop"): 2, ("RF request", "bare loop"): 2.5}
ENOUGH = 100  # samples for a 99th percentile
OVER_AT_MOST = 0.1  # ms, of an AT exchange at a real line rate over the bare loop


def at_most(limit, value):
    return f"at most {limit}", value <= limit


def median_target(what, rate, own, peer, other):
    if rate == AT_ONCE and (what, peer) in AT_MOST:
        return at_most(AT_MOST[what, peer], own / other)
    if rate == AT_ONCE and what.startswith("E2P object read") and peer == "python3-serial":
        return "faster", own < other
    return None, None


def exchanges(table, rows):
    for name, who in grouped(rows).items():
        what, rate = name.rsplit(", ", 1)
        section = "Exchanges natively, " + rate
        own, bare, python = who[COMPONENT], who["bare loop"], who["python3-serial"]

        def median(kind, row, peers):
            for peer in peers:
                other = who[peer]["median_ms"]
                table.compare(section, what + kind + ", median", row["median_ms"], "ms", peer, other,
                              *median_target(what, rate, row["median_ms"], peer, other))

        median("", own, ("bare loop", BYTE_BY_BYTE, "python3-serial"))
        if own["samples"] >= ENOUGH:
            for peer in ("bare loop", "python3-serial"):
                table.compare(section, f"{what}, 99th percentile of {own['samples']:.0f}", own["p99_ms"], "ms", peer,
                              who[peer]["p99_ms"])
        if f"{COMPONENT}, {ON_USB}" in who:
            median(f", {ON_USB}", who[f"{COMPONENT}, {ON_USB}"], ("bare loop", "python3-serial"))
        if what == "AT exchange":
            over = own["median_ms"] - bare["median_ms"]
            target = (f"at most {OVER_AT_MOST} ms", over <= OVER_AT_MOST) if rate != AT_ONCE else (None, None)
            table.add(section, what + ", over the bare loop", over, "ms", "of that, byte by byte",
                      who[BYTE_BY_BYTE]["median_ms"] - bare["median_ms"], None, *target)
        if "efficiency" not in own:
            continue
        target = (None, None)
        if what.startswith("E2P") and rate == "115200 baud":
            target = ("at least 97 %", own["efficiency"] >= 0.97)
        table.compare(section, what + ", line efficiency", 100 * own["efficiency"], "%", "bare loop",
                      100 * bare["efficiency"], *target)
        table.compare(section, what + ", line efficiency", 100 * own["efficiency"], "%", "python3-serial",
                      100 * python["efficiency"])


# What 64 objects that read had while every pause lasted its time, on the machine of reference.json; to have no worse.
READING_LEAST, READING_CORES = 0.992, 0.49


def many(table, rows):
    section = "Many objects in one process, handsets at 115200 baud"
    for name, who in grouped(row for row in rows if row["group"] == "idle").items():
        own, bare = who[COMPONENT], who["bare polling"]
        count = int(name.split()[0])
        name = name.removesuffix("s") if count == 1 else name
        table.compare(section, name + ", wake-ups of each a second", own["wake_ups"], "", "the polling alone",
                      bare["wake_ups"], *at_most(2, round(own["wake_ups"], 1)))
        table.compare(section, name + ", CPU of each", own["core_percent"], "% of a core", "the polling alone",
                      bare["core_percent"], "under 0.01 %", own["core_percent"] < 0.01)
        if count == 200:
            table.compare(section, name + ", CPU of all", count * own["core_percent"], "% of a core", "the polling alone",
                          count * bare["core_percent"], "under 1 %", count * own["core_percent"] < 1)
        table.add(section, name + ", threads of each", own["threads"], "", "", None, None)
        table.add(section, name + ", memory of each", own["kilobytes"], "KB", "", None, None)
    for name, who in grouped(row for row in rows if row["group"] == "busy").items():
        own, bare = who[COMPONENT], who["bare loops"]
        least = own["efficiency_min"]
        for_least = for_cores = (None, None)
        if name == "64 objects, E2P reads":
            for_least = (f"at least {100 * READING_LEAST:.1f} %", round(least, 3) >= READING_LEAST)
            for_cores = (f"at most {READING_CORES} cores", round(own["cores"], 2) <= READING_CORES)
        elif name == "64 objects, E2P writes":
            for_least = ("at least 0.95 of theirs", least >= 0.95 * bare["efficiency_min"])
        table.compare(section, name + ": least line efficiency", 100 * least, "%", "bare loops",
                      100 * bare["efficiency_min"], *for_least)
        table.compare(section, name + ": median line efficiency", 100 * own["efficiency_median"], "%", "bare loops",
                      100 * bare["efficiency_median"])
        table.compare(section, name + ": CPU of all", own["cores"], "cores", "bare loops", bare["cores"], *for_cores)


# Of bare loops alone: the figures behind the rule by which the component pauses.
def trickle(table, rows):
    section = "A line that trickles: in the component's place, a loop that wakes for each byte"
    for who in grouped(rows).values():
        each, pauses = who["waking for each byte"], who["pauses of 1 ms"]
        for key, what, unit in (("core_percent", "CPU", "% of a core"), ("microseconds_a_look", "CPU of one look", "us"),
                                ("microseconds_a_byte", "CPU of one byte", "us")):
            table.compare(section, what, each[key], unit, "pauses of 1 ms", pauses[key])


def wine(table, rows):
    section = "Under Wine"
    for name, who in grouped(row for row in rows if row["group"] == "wine").items():
        name = name.replace(" under Wine", "")
        bare = who["bare Win32 loop"]
        for kind in ("", f", {ON_USB}"):
            own = who[COMPONENT + kind]
            for peer in ["bare Win32 loop"] + ([] if kind else ["bare Win32 loop, byte by byte"]):
                ratio = own["median_ms"] / who[peer]["median_ms"]
                limited = name.endswith(AT_ONCE) and peer == "bare Win32 loop"
                table.compare(section, name + kind + ", median", own["median_ms"], "ms", peer, who[peer]["median_ms"],
                              *(at_most(3, ratio) if limited else (None, None)))
            table.compare(section, name + kind + ", 99th percentile", own["p99_ms"], "ms", "bare Win32 loop",
                          bare["p99_ms"])


def lifetimes(table, rows):
    section = "Life and size"
    for name, who in grouped(row for row in rows if row["group"] == "lifetime").items():
        own = who.pop(COMPONENT)
        for peer, row in who.items():
            table.compare(section, name + ", median", own["median_ms"], "ms", peer, row["median_ms"])


def sizes(table, values):
    table.compare("Life and size", "MovaCmdSvr.dll, 64 bit", values["MovaCmdSvr.dll"] / 1e3, "KB",
                  "a DLL with nothing but the C++ runtime", values["bench-empty.dll"] / 1e3)


def report(folder, history):
    table = Table()
    micro = Micro(folder / "micro.json")
    codec(table, micro)
    engine(table, micro)
    exchanges(table, json_lines(folder / "exchanges.jsonl"))
    many(table, json_lines(folder / "objects.jsonl"))
    trickle(table, json_lines(folder / "trickle.jsonl"))
    life = json_lines(folder / "lifetimes.jsonl")
    under_wine = json_lines(folder / "wine.jsonl")
    wine(table, under_wine)
    lifetimes(table, life + under_wine)
    sizes(table, json.loads((folder / "sizes.json").read_text()))

    run = dict(when=datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="seconds"),
               cores=os.cpu_count(), load=os.getloadavg(), lines=table.lines)
    text = page.long_table(run)
    (folder / "table.md").write_text(text)
    print(text)
    missed = page.missed(run)
    print(f"{sum(line['met'] is True for line in table.lines)} targets met, {len(missed)} missed")
    for line in missed:
        print(f"  missed: {line['section']}: {line['what']}")
    runs = page.runs(history) if history.exists() else []
    history.write_text(json.dumps(runs + [run], indent=1) + "\n")


def main():
    paths = [pathlib.Path(argument) for argument in sys.argv[2:]]
    match sys.argv[1:]:
        case ["--write", _, _]:
            page.write(*paths)
        case ["--write", _, _, _]:
            page.keep(*paths)
        case ["--check", _, _]:
            page.check(*paths)
        case [folder, history]:
            report(pathlib.Path(folder), pathlib.Path(history))
        case _:
            sys.exit(__doc__)


main()
