#!/usr/bin/python3
"""analyse.py [PART OF A NAME...]: clang-tidy (.clang-tidy) and cppcheck over the component, the tools, the tests'
support and the benchmarks, and clang-format (.clang-format) over everything. A finding fails the run. Needs what the Windows build generates. What was found clean is
remembered in build/analysis by its content and not looked at again.

Most of clang-tidy's time goes into the libraries' headers: it sees a folder's files after one another, as one file. Most of
what is left goes into the paths that its analyser follows, and of these into the standard library's functions: it looks
twice, at the project's own functions far and at both together less far, which finds more in less than half the time.
Left out: benchmarks/micro, whose time would go into the headers of eight libraries that are compared with, and python/,
whose would go into pybind11's; cppcheck of these, of the benchmarks and of the tests' support."""
import concurrent.futures
import hashlib
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
WORK = pathlib.Path("build/analysis")
CONFIG = (".clang-tidy", ".clang-format", "scripts/analyse.py")
GENERATED = "build/windows-x64/src/component/automation/generated"
TOPS = ("src", "tools", "tests/support", "tests/campaigns/soak", "tests/campaigns/noise",
        "benchmarks/line", "benchmarks/support", "benchmarks/windows")
WINDOWS = re.compile(r"/(win32|automation|windows)/|(Win32|Console|ComPortLine|MailslotReceiver)\.cpp$")
# Names that only their own file may have: the kernel's terminal settings; private ones of the same name.
ALONE = re.compile(r"/(TermiosLine|PendingText|OperatingMode|Win32SerialDriver|ProfileFile|trace/Exchanges)\.cpp$")
FORMATTED = ("src", "include", "tools", "tests", "benchmarks", "samples/cpp", "python")
ROOTS = ("src", "include", "tools", "tests", "benchmarks")
COMPILE = ["-std=c++20", "-Wall", "-Wextra", "-Wthread-safety", "-Wno-unknown-warning-option",
           *(f"-I{root}" for root in ROOTS)]
# The analyser's two looks: how many steps it goes from each function, and whether into the standard library's. From a
# few functions the usual 225000 steps are not enough for both together; 75000 are for our own, but for fewer functions still.
OWN = "c++-stdlib-inlining=false,max-nodes=75000"
BOTH = "max-nodes=10000"
CPPCHECK = ["cppcheck", "--quiet", "--std=c++20", "--language=c++", "--inline-suppr", "--error-exitcode=1",
            "--template={file}:{line}: {severity}: {message} [{id}]", "--enable=warning,style,performance,portability",
            "--suppress=useStlAlgorithm",     # a plain loop may say it better
            "--suppress=shadowFunction",      # a local named as a function elsewhere in the class
            "--suppress=unusedStructMember",  # it does not see fields used through a constant table
            "--suppress=constParameter",      # of callbacks whose shape is given
            "-DSTDMETHODIMP=long", "-DSTDMETHODIMP_(type)=type", "-D__GNUC__=12", "-Isrc", "-Iinclude", "-Itools"]


def mingw():
    """Clang knows where MinGW keeps the system's headers, but not where the C++ library's are."""
    told = subprocess.run(["x86_64-w64-mingw32-g++-posix", "-v", "-E", "-x", "c++", "/dev/null"], capture_output=True,
                          text=True, check=True).stderr
    folders = re.findall(r"^ (\S+/include/c\+\+\S*)$", told, re.M)
    return ["--target=x86_64-w64-windows-gnu", *(f"-isystem{folder}" for folder in [*folders, GENERATED]),
            "-Wno-non-virtual-dtor"]


def folders():
    """(name, files, whether they are Windows') of each folder and each system."""
    found = {}
    for file in sorted(str(file) for top in TOPS for file in pathlib.Path(top).rglob("*.cpp")):
        if not file.endswith("Test.cpp"):
            name = file if ALONE.search(file) else os.path.dirname(file)
            found.setdefault((name, bool(WINDOWS.search(file))), []).append(file)
    return [(name, files, windows) for (name, windows), files in found.items()]


def closure(path, seen):
    """What the file holds and includes of the project."""
    path = path.resolve()
    if path in seen or not path.is_file():
        return seen
    seen[path] = path.read_bytes()
    for name in re.findall(rb'^\s*#\s*include\s*"([^"]+)"', seen[path], re.M):
        for root in (path.parent, *(ROOT / root for root in ROOTS)):
            closure(root / name.decode(), seen)
    return seen


class Job:
    def __init__(self, name, commands, files):
        self.name, self.commands, self.files = name, commands, [pathlib.Path(file) for file in files]

    def stamp(self, common):
        seen = {}
        for file in self.files:
            closure(file, seen)
        digest = hashlib.sha256(repr((common, self.commands, list(seen.values()))).encode())
        return WORK / digest.hexdigest()

    def run(self):
        """What was found, or None."""
        looks = [subprocess.run(command, capture_output=True, text=True) for command in self.commands]
        found = "".join(look.stdout + look.stderr for look in looks if look.returncode != 0)
        return f"--- {self.name}\n{found}" if any(look.returncode != 0 for look in looks) else None


class TidyJob(Job):
    """Files after one another. The analyser follows the functions of its main file only, hence no file of includes."""

    def __init__(self, name, files, options):
        self.unit = WORK / (re.sub(r"\W+", "-", name) + ".cpp")
        super().__init__(name, [self.look(options, OWN), self.look(options, BOTH, "--checks=-*,clang-analyzer-*")], files)

    def look(self, options, analyser, *checks):
        return ["clang-tidy", "--quiet", *checks, str(self.unit), "--", *options,
                "-Xclang", "-analyzer-config", "-Xclang", analyser]

    def run(self):
        lines, included = [], set()
        for file in self.files:
            own = file.read_text().splitlines()
            lines += [(file, at + 1, "" if line in included else line) for at, line in enumerate(own)]
            included.update(line for line in own if line.startswith("#include"))
        self.unit.write_text("".join(line + "\n" for _, _, line in lines))

        def place(match):
            file, at, _ = lines[int(match[1]) - 1]
            return f"{file}:{at}:"
        findings = super().run()
        return findings and re.sub(rf"\S*{re.escape(str(self.unit))}:(\d+):", place, findings)


class FormatJob(Job):
    def __init__(self, name, files):
        super().__init__(name, [["clang-format", "--dry-run", "-Werror", *map(str, files)]], files)


def jobs():
    sources = [file for top in FORMATTED for file in pathlib.Path(top).rglob("*") if file.suffix in (".cpp", ".h")]
    yield FormatJob("clang-format", sorted(sources))
    trees = [pathlib.Path(top) for top in ("src", "tools")]
    every = sorted(str(file) for tree in trees for kind in ("cpp", "h") for file in tree.rglob(f"*.{kind}"))
    windows = [file for file in every if WINDOWS.search(file)]
    yield Job("cppcheck, Windows", [[*CPPCHECK, "--platform=win64", "-D_WIN32", *windows]], every)
    ignored = [f"-i{file}" for file in windows]
    yield Job("cppcheck, Linux", [[*CPPCHECK, "--platform=unix64", "-D__linux__", *ignored, "src", "tools"]], every)
    options = COMPILE, COMPILE + mingw()
    for name, files, windows in sorted(folders(), key=lambda folder: -len(folder[1])):  # the long ones first
        yield TidyJob(name + (", Windows" if windows else ""), files, options[windows])


def main(wanted):
    os.chdir(ROOT)
    os.nice(5)
    WORK.mkdir(parents=True, exist_ok=True)
    common = [subprocess.run([tool, "--version"], capture_output=True, check=True).stdout
              for tool in ("clang-tidy", "cppcheck", "clang-format")] + [(ROOT / name).read_bytes() for name in CONFIG]
    todo, known = [], 0
    for job in jobs():
        if wanted and not any(part in job.name for part in wanted):
            continue
        stamp = job.stamp(common)
        if stamp.exists():
            known += 1
        else:
            todo.append((job, stamp))

    def look(pair):
        job, stamp = pair
        findings = job.run()
        if not findings:
            stamp.touch()
        return findings

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for findings in pool.map(look, todo):
            if findings:
                failed += 1
                print(findings, flush=True)
    print(f"analysed {len(todo)}, clean as before {known}, with findings {failed}")
    return 1 if failed or not (todo or known) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
