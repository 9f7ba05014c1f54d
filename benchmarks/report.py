#!/usr/bin/env python3
"""report.py FOLDER HISTORY: reads what the benchmark programs wrote into FOLDER (micro.json, *.jsonl, sizes.json), prints
the table, writes it to FOLDER/table.md and appends the run to HISTORY.

Every figure stands beside a peer or the limit of the same run, as a ratio: machines are noisy, absolute times are only
shown. Ratios are the component's value divided by the other's."""
import datetime
import json
import os
import pathlib
import sys

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

    def markdown(self):
        out = []
        section = None
        for line in self.lines:
            if line["section"] != section:
                section = line["section"]
                out += ["", f"### {section}", "", "| | component | beside it | | ratio | target |", "|---|--:|---|--:|--:|---|"]
            target = line["target"] or ""
            if line["met"] is not None:
                target += ": met" if line["met"] else ": **missed**"
            out.append(f"| {line['what']} | {figure(line['value'])} {line['unit']} | {line['beside']} | "
                       f"{figure(line['other'])} {line['unit'] if line['other'] is not None else ''} | "
                       f"{figure(line['ratio'])} | {target} |")
        return "\n".join(out).strip() + "\n"


def figure(value):
    if value is None:
        return ""
    if value == 0 or abs(value) >= 1000:
        return f"{value:.0f}"
    return f"{value:.4g}"


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


def exchanges(table, rows):
    for name, who in grouped(rows).items():
        section = "Exchanges natively, " + name.split(", ")[-1]
        what = ", ".join(name.split(", ")[:-1])
        own, bare, paced = who[COMPONENT], who["bare loop"], who["bare loop, paced"]
        for key in ("median_ms", "p99_ms"):
            for peer in ("bare loop", "bare loop, paced", "python3-serial"):
                label = what + (", median" if key == "median_ms" else f", 99th percentile of {own['samples']:.0f}")
                table.compare(section, label, own[key], "ms", peer, who[peer][key])
        over = own["median_ms"] - bare["median_ms"]
        by_rule = paced["median_ms"] - bare["median_ms"]
        target = ("at most 1.3 ms", over <= 1.3) if what == "AT exchange" else (None, None)
        table.compare(section, what + ", over the bare loop", over, "ms", "of that, pacing and pauses", by_rule, *target)
        if "efficiency" not in own:
            continue
        without = own["line_ms"] / (own["median_ms"] - by_rule)
        target = ("97 %", without >= 0.97) if what.startswith("E2P") and name.endswith("115200 baud") else (None, None)
        table.compare(section, what + ", line efficiency", 100 * own["efficiency"], "%", "python3-serial",
                      100 * who["python3-serial"]["efficiency"])
        table.compare(section, what + ", line efficiency, pauses left aside", 100 * without, "%", "bare loop",
                      100 * bare["efficiency"], *target)


def many(table, rows):
    section = "Many objects in one process, handsets at 115200 baud"
    for name, who in grouped(row for row in rows if row["group"] == "idle").items():
        own, bare = who[COMPONENT], who["bare polling"]
        table.compare(section, name + ", CPU of each", own["core_percent"], "% of a core", "the polling alone",
                      bare["core_percent"], "under 0.1 %", own["core_percent"] < 0.1)
        table.add(section, name + ", threads of each", own["threads"], "", "", None, None)
        table.add(section, name + ", memory of each", own["kilobytes"], "KB", "", None, None)
    for name, who in grouped(row for row in rows if row["group"] == "busy").items():
        own, bare = who[COMPONENT], who["bare loop, paced"]
        least = own["efficiency_min"]
        target = ("none under 95 %", least >= 0.95) if name.startswith("64 ") else (None, None)
        table.compare(section, name + ": least line efficiency", 100 * least, "%", "bare loops, paced",
                      100 * bare["efficiency_min"], *target)
        table.compare(section, name + ": median line efficiency", 100 * own["efficiency_median"], "%",
                      "bare loops, paced", 100 * bare["efficiency_median"])
        table.compare(section, name + ": CPU of all", own["cores"], "cores", "bare loops, paced", bare["cores"])


def wine(table, rows):
    for name, who in grouped(row for row in rows if row["group"] == "wine").items():
        own, bare = who[COMPONENT], who["bare Win32 loop"]
        section = "Under Wine"
        table.compare(section, name + ", median", own["median_ms"], "ms", "bare Win32 loop", bare["median_ms"])
        table.compare(section, name + ", 99th percentile", own["p99_ms"], "ms", "bare Win32 loop", bare["p99_ms"])
        over = own["median_ms"] - bare["median_ms"]
        table.add(section, name + ", over the bare loop", over, "ms", "", None, None, "at most 1.3 ms", over <= 1.3)


def lifetimes(table, rows):
    section = "Life and size"
    for name, who in grouped(row for row in rows if row["group"] == "lifetime").items():
        own = who.pop(COMPONENT)
        for peer, row in who.items():
            table.compare(section, name + ", median", own["median_ms"], "ms", peer, row["median_ms"])


def sizes(table, values):
    table.compare("Life and size", "MovaCmdSvr.dll, 64 bit", values["MovaCmdSvr.dll"] / 1e3, "KB",
                  "a DLL with nothing but the C++ runtime", values["bench-empty.dll"] / 1e3)


def main():
    folder, history = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    table = Table()
    micro = Micro(folder / "micro.json")
    codec(table, micro)
    engine(table, micro)
    exchanges(table, json_lines(folder / "exchanges.jsonl"))
    many(table, json_lines(folder / "objects.jsonl"))
    life = json_lines(folder / "lifetimes.jsonl")
    under_wine = json_lines(folder / "wine.jsonl")
    wine(table, under_wine)
    lifetimes(table, life + under_wine)
    sizes(table, json.loads((folder / "sizes.json").read_text()))

    load = " ".join(f"{value:.1f}" for value in os.getloadavg())
    text = table.markdown() + f"\n{os.cpu_count()} cores, load average at the end {load}.\n"
    (folder / "table.md").write_text(text)
    print(text)
    missed = [f"{line['section']}: {line['what']}" for line in table.lines if line["met"] is False]
    print(f"{sum(line['met'] is True for line in table.lines)} targets met, {len(missed)} missed")
    for line in missed:
        print("  missed:", line)
    runs = json.loads(history.read_text()) if history.exists() else []
    runs.append(dict(when=datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="seconds"),
                     cores=os.cpu_count(), load=os.getloadavg(), lines=table.lines))
    history.write_text(json.dumps(runs, indent=1) + "\n")


main()
