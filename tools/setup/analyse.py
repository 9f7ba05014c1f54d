#!/usr/bin/python3
"""analyse.py [PART OF A NAME...]: clang-tidy (.clang-tidy) over the component, the tools and the tests' support, and
cppcheck over the component and the tools. A finding fails the run. Needs the interface header that the Windows build
generates. What was found clean is remembered in build/analysis by its content and not looked at again.

Most of clang-tidy's time goes into the system's headers. Its checks therefore see a folder's files as one unit; the path
analyser, which follows functions of the main file only, sees them singly."""
import concurrent.futures
import hashlib
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = pathlib.Path("build/analysis")
CONFIG = (".clang-tidy", "tools/setup/analyse.py")
HEADER = "build/windows-x64/src/component/automation/generated"
NATIVE = ["platform/posix", "logging", "device", "transport", "services", "atchannel", "component"]
WINDOWS = ["platform/win32", "component/automation"]
# Names that only their own file may have: the kernel's terminal settings; private constants of the same name.
ALONE = {"TermiosLine.cpp", "PendingText.cpp", "Win32SerialDriver.cpp"}
INCLUDE = ["-Isrc", "-Itools", "-Itests"]
COMPILE = ["-std=c++20", "-Wall", "-Wextra", "-Wshadow", "-Wno-unknown-warning-option", *INCLUDE]
CPPCHECK = ["cppcheck", "--quiet", "--std=c++20", "--language=c++", "--inline-suppr", "--error-exitcode=1",
            "--template={file}:{line}: {severity}: {message} [{id}]", "--enable=warning,style,performance,portability",
            "--suppress=useStlAlgorithm",     # a plain loop may say it better
            "--suppress=shadowFunction",      # a local named as a function elsewhere in the class
            "--suppress=unusedStructMember",  # it does not see fields used through a constant table
            "--suppress=constParameter",      # of callbacks whose shape is given
            "-DSTDMETHODIMP=long", "-DSTDMETHODIMP_(type)=type", "-D__GNUC__=12", *INCLUDE[:2]]


def mingw():
    """Clang knows where MinGW keeps the system's headers, but not where the C++ library's are."""
    told = subprocess.run(["x86_64-w64-mingw32-g++-posix", "-v", "-E", "-x", "c++", "/dev/null"], capture_output=True,
                          text=True, check=True).stderr
    folders = re.findall(r"^ (\S+/include/c\+\+\S*)$", told, re.M)
    return ["--target=x86_64-w64-windows-gnu", *(f"-isystem{folder}" for folder in folders), f"-isystem{HEADER}",
            "-Wno-non-virtual-dtor"]


def sources(folder):
    names = sorted(pathlib.Path(folder).glob("*.cpp"))
    return [name for name in names if not name.name.endswith("Test.cpp")]


def groups():
    """(name, files, compile options), each a folder."""
    windows = mingw()
    com_port = [pathlib.Path("tools/handset/ComPortLine.cpp")]
    for folder in NATIVE:
        yield folder, sources(f"src/{folder}"), COMPILE
    yield "tools/handset", [name for name in sources("tools/handset") if name not in com_port], COMPILE
    for folder in ("support", "soak"):
        yield f"tests/{folder}", sources(f"tests/{folder}"), COMPILE
    for folder in WINDOWS:
        yield folder, sources(f"src/{folder}"), COMPILE + windows
    yield "tools/handset, Windows", com_port, COMPILE + windows


def closure(path, seen):
    """What the file holds and includes of the project."""
    path = path.resolve()
    if path in seen or not path.is_file():
        return seen
    seen[path] = path.read_bytes()
    for name in re.findall(rb'^\s*#\s*include\s*"([^"]+)"', seen[path], re.M):
        for root in (path.parent, ROOT / "src", ROOT / "tools", ROOT / "tests"):
            closure(root / name.decode(), seen)
    return seen


class Job:
    def __init__(self, name, command, files, singly=None):
        self.name, self.command, self.files, self.singly = name, command, files, singly

    def stamp(self, common):
        seen = {}
        for file in self.files:
            closure(file, seen)
        digest = hashlib.sha256(repr((common, self.command, list(seen.values()))).encode())
        return WORK / digest.hexdigest()

    def run(self):
        """What was found, or None."""
        done = subprocess.run(self.command, capture_output=True, text=True)
        if done.returncode == 0:
            return None
        if self.singly and "clang-diagnostic-error" in done.stdout:  # files that do not bear each other
            found = [job.run() for job in self.singly]
            return "".join(text for text in found if text) or None
        return f"--- {self.name}\n{done.stdout or done.stderr}{done.stderr if 'cppcheck' in self.name else ''}"


def tidy(checks, file, options):
    return ["clang-tidy", "--quiet", f"--checks={checks}", str(file), "--", *options]


def jobs():
    everything = sources("src") + [p for top in ("src", "tools") for p in sorted(pathlib.Path(top).rglob("*.[ch]*"))]
    windows = [*(f"src/{folder}" for folder in WINDOWS), "tools/handset/ComPortLine.cpp"]
    yield Job("cppcheck, Windows", [*CPPCHECK, "--platform=win64", "-D_WIN32", *windows], everything)
    yield Job("cppcheck, Linux", [*CPPCHECK, "--platform=unix64", "-D__linux__", *(f"-i{w}" for w in windows), "src", "tools"],
              everything)
    folders = list(groups())
    for name, files, options in folders:
        singly = {file: Job(f"{file}: checks", tidy("-clang-analyzer-*", file, options), [file]) for file in files}
        together = [file for file in files if file.name not in ALONE]
        yield from (job for file, job in singly.items() if file not in together)
        unit = WORK / (re.sub(r"\W+", "-", name) + ".cpp")
        unit.write_text("".join(f'#include "../../{file}"\n' for file in together))
        yield Job(f"{name}: checks", tidy("-clang-analyzer-*,-bugprone-suspicious-include", unit, options), together,
                  [singly[file] for file in together])
    for name, files, options in folders:
        for file in files:
            yield Job(f"{file}: paths", tidy("-*,clang-analyzer-*", file, options), [file])


def main(wanted):
    os.chdir(ROOT)
    os.nice(5)
    WORK.mkdir(parents=True, exist_ok=True)
    common = [subprocess.run([tool, "--version"], capture_output=True, check=True).stdout
              for tool in ("clang-tidy", "cppcheck")] + [(ROOT / name).read_bytes() for name in CONFIG]
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


sys.exit(main(sys.argv[1:]))
