"""The tables of docs/performance.md, made from a run that report.py has kept. Each stands in the page between two marks:

    <!-- table: NAME -->
    <!-- end of table -->
"""
import itertools
import json
import re
import sys


def figure(value, digits=4):
    if float(value).is_integer() or abs(value) >= 10 ** (digits - 1):
        return f"{value:.0f}"
    return f"{value:#.{digits}g}".rstrip(".")


def quantity(line, key, digits=4):
    return f"{figure(line[key], digits)} {line['unit']}".strip()


# Throughput and the like: a ratio above 1 is good. Times and sizes: one below 1 is.
def beside(line):
    ratio = f" ({figure(line['ratio'], 3)})" if line["ratio"] is not None else ""
    return f"{line['beside']}: {quantity(line, 'other')}{ratio}" if line["other"] is not None else ""


def target(line):
    if line["met"] is None:
        return ""
    return f"{line['target']}: " + ("met" if line["met"] else "**missed**")


# One row for what stands beside several others.
def row(what, lines):
    cells = [what, quantity(lines[0], "value")]
    cells += ["; ".join(filter(None, map(text, lines))) for text in (beside, target)]
    return "| " + " | ".join(cells) + " |"


HEAD = ["| | component | beside it (ratio) | target |", "|---|--:|---|---|"]


def long_table(run):
    out = []
    for section, of_section in itertools.groupby(run["lines"], lambda line: line["section"]):
        out += ["", f"### {section}", ""] + HEAD
        out += [row(what, list(lines)) for what, lines in itertools.groupby(of_section, lambda line: line["what"])]
    load = " ".join(f"{value:.1f}" for value in run["load"])
    return "\n".join(out).strip() + f"\n\n{run['cores']} cores, load average at the end {load}.\n"


def missed(run):
    return [line for line in run["lines"] if line["met"] is False]


def missed_table(run):
    lines = missed(run)
    rows = HEAD + [row(f"{line['section']}: {line['what']}", [line]) for line in lines]
    return "\n".join(rows if lines else ["None in this run."]) + "\n"


# --- the answers to a user's questions

class Answers:
    def __init__(self, run):
        self.lines = run["lines"]

    def line(self, section, what, beside):
        for line in self.lines:
            if (line["section"].endswith(section) and line["what"] == what
                    and line["beside"].startswith(beside)):
                return line
        sys.exit(f"this run has no {section}: {what}, beside {beside}")

    def exchange(self, question, section, what, bare="bare loop", python="python3-serial"):
        beside = [self.line(section, what, peer) for peer in (bare, python) if peer]
        times = [quantity(beside[0], "value", 3)] + [quantity(line, "other", 3) for line in beside]
        return [question] + times + [""] * (3 - len(times))

    def rows(self):
        at_once, usual, wine, life = "line rate 0", "natively, 115200 baud", "Under Wine", "Life and size"
        many = "Many objects in one process, handsets at 115200 baud"
        yield self.exchange("AT exchange over USB", at_once, "AT exchange, port on USB, median")
        yield self.exchange("AT exchange at 115200 baud", usual, "AT exchange, median")
        yield self.exchange("E2P object of 10 KB read over USB", at_once, "E2P object read, 10 KB, port on USB, median")
        yield self.exchange("E2P object of 10 KB read at 115200 baud", usual, "E2P object read, 10 KB, median")
        yield self.exchange("E2P object of 10 KB written at 115200 baud", usual, "E2P object write, 10 KB, median")
        yield self.exchange("AT exchange of a COM client over USB, under Wine", wine,
                            "AT exchange, line rate 0, port on USB, median", "bare Win32 loop", None)
        least, cores = (self.line(many, f"64 objects, E2P reads: {what}", "bare loops")
                        for what in ("least line efficiency", "CPU of all"))
        yield ["64 handsets on one PC read at 115200 baud at once"] + [
            f"the slowest at {quantity(least, key, 3)} of its line, all with {quantity(cores, key, 2)}"
            for key in ("value", "other")] + [""]
        wakes, cpu = (self.line(many, f"200 idle objects, {what}", "the polling alone")
                      for what in ("wake-ups of each a second", "CPU of each"))
        yield ["An idle object that listens, one of 200"] + [
            f"{quantity(wakes, key, 2)} wake-ups a second, {quantity(cpu, key, 2)}{of}"
            for key, of in (("value", ""), ("other", " (polling)"))] + [""]
        own = self.line(life, "object created and released, median", "thread")
        yield ["An object's life", quantity(own, "value", 3), quantity(own, "other", 2) + " (a thread's life)", ""]
        size = self.line(life, "MovaCmdSvr.dll, 64 bit", "a DLL")
        yield ["Size of `MovaCmdSvr.dll`", quantity(size, "value", 3),
               quantity(size, "other", 3) + " (the C++ runtime alone)", ""]


def answers_table(run):
    lines = ["| | component | bare loop | python3-serial |", "|---|--:|--:|--:|"]
    return "\n".join(lines + ["| " + " | ".join(cells) + " |" for cells in Answers(run).rows()]) + "\n"


# --- the page

TABLES = {"answers": answers_table, "missed": missed_table, "everything": long_table}
MARKED = re.compile(r"(<!-- table: (\w+) -->\n).*?(<!-- end of table -->\n)", re.DOTALL)


def runs(path):
    return json.loads(path.read_text())


def with_tables(text, run):
    found = [name for _, name, _ in MARKED.findall(text)]
    if sorted(found) != sorted(TABLES):
        sys.exit(f"the page has marks for the tables {found}, and should for {list(TABLES)}")
    return MARKED.sub(lambda mark: f"{mark[1]}\n{TABLES[mark[2]](run)}\n{mark[3]}", text)


def write(page, reference):
    page.write_text(with_tables(page.read_text(), runs(reference)[-1]))


def keep(page, reference, history):
    text = with_tables(page.read_text(), runs(history)[-1])  # first: a run that lacks something is not kept
    reference.write_text(json.dumps(runs(history)[-1:], indent=1) + "\n")
    page.write_text(text)


def check(page, reference):
    if with_tables(page.read_text(), runs(reference)[-1]) != page.read_text():
        sys.exit(f"{page} has other tables than {reference}: {sys.argv[0]} --write {page} {reference}")
