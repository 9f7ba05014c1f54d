"""What the documentation shows is what happens: its commands are run, its conversations held, its frames checked,
its paths looked for.

test_docs.py FOLDER_OF_PROGRAMS FILE...

```console       lines that begin with "$ " are run by one shell for each file, in a folder of its own; what follows is
                 what they print ("..." stands for any lines, or for any text in a line). mova-handset runs beside. Files
                 in /tmp are in that folder as well.
```conversation  is held with a plain simulated handset.
Frames           anywhere have the right length and checksum.
Paths            whose first folder is in the tree, or beside the file, are there to their end; so are `folders/` in
                 backticks, `./commands` and, in the folder of programs, build/linux/...
"""
import contextlib
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import termios
import time
import tty
import unittest

PROGRAMS = os.path.abspath(sys.argv[1])
FILES = sys.argv[2:]
ROOT = pathlib.Path(__file__).resolve().parents[3]
del sys.argv[1:]
PATIENCE = 180  # seconds
LEADING_SHELL_LINES = r"""
export PATH="$PROGRAMS:$PATH" NO_COLOR=1 HOME="$PWD"
unset XDG_CONFIG_HOME
export PYTHONPATH="$PROGRAMS/python" PYTHONDONTWRITEBYTECODE=1
python3() { /usr/bin/python3 "$@"; }  # the module is for the system's, whichever comes first here
# Runs beside the following commands once its lines are up.
mova-handset() {
    case " $* " in *" --help "*|*" --version "*|*" --print-profile "*) command mova-handset "$@"; return ;; esac
    command mova-handset --ready-file .ready "$@" >.handset 2>&1 &
    until [ -e .ready ]; do kill -0 $! 2>/dev/null || { cat .handset; return 1; }; sleep 0.05; done
    rm .ready
}
"""


def blocks(text, language):
    """Each with the number of its first line."""
    for found in re.finditer(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        yield text.count("\n", 0, found.start(1)) + 1, found.group(1)


def commands(text):
    """(line number, command, expected output) of all console blocks."""
    for first, block in blocks(text, "console"):
        command, number, expected = None, first, []
        for offset, line in enumerate(block.splitlines()):
            if line.startswith("$ "):
                if command is not None:
                    yield number, command, "\n".join(expected)
                command, number, expected = line[2:], first + offset, []
            elif line.startswith("> ") and command is not None and not expected:
                command += "\n" + line[2:]
            else:
                expected.append(line)
        if command is not None:
            yield number, command, "\n".join(expected)


def pattern_of(expected):
    lines = []
    for line in expected.splitlines():
        lines.append(r"(?:.*\n)*?" if line == "..." else ".*".join(map(re.escape, line.split("..."))) + r" *\n")
    return "".join(lines)


def frame_fault(frame):
    """What is wrong with the hexadecimal text behind "*MOVA=", or None."""
    try:
        data = bytes.fromhex(frame)
    except ValueError:
        return "no hexadecimal text"
    if len(data) < 3 or data[0] + 256 * data[1] != len(data) - 2:
        return "wrong length"
    total = 0
    for byte in data[:-1]:
        total ^= byte
    return None if total == data[-1] else f"checksum should be {total:02X}"


def unescaped(text):
    return re.sub(r"\\(r|n|\\|x[0-9A-F]{2})",
                  lambda m: {"r": "\r", "n": "\n", "\\": "\\"}.get(m[1]) or chr(int(m[1][1:], 16)), text)


def folders():
    """Each with a slash before and behind, as "/src/platform/win32/"."""
    for top in ROOT.iterdir():
        if top.is_dir() and top.name != "build" and not top.name.startswith("."):
            for folder, _, _ in os.walk(top):
                yield f"/{os.path.relpath(folder, ROOT)}/"


def missing_paths(text, beside, known=tuple(folders())):
    """(line number, path) of the paths in the text that lead nowhere. What blocks of commands make is left out."""
    text = re.sub(r"^```con.*?^```$", lambda block: "\n" * block[0].count("\n"), text, flags=re.MULTILINE | re.DOTALL)
    for number, line in enumerate(text.replace("\\", "/").splitlines(), 1):
        for path in re.findall(r"(?<![\w./:$%~<>+-])(?:[\w.+-]+/)+[\w.+-]*", line):
            path = re.sub(r"^\./(?=build/)", "", path.rstrip("."))
            first, _, rest = path.partition("/")
            if first == "build":
                preset, _, rest = rest.partition("/")
                found = preset != "linux" or os.path.exists(os.path.join(PROGRAMS, rest))
            elif f"`{path}`" in line and path.endswith("/"):
                found = any(folder.endswith("/" + path) for folder in known)
            else:
                places = [place for place in (ROOT, pathlib.Path(beside)) if (place / first).is_dir()]
                found = not places or any((place / path).exists() for place in places)
            if not found:
                yield number, path


class Docs(unittest.TestCase):
    maxDiff = None

    def each_file(self):
        for path in FILES:
            with open(path) as file:
                yield os.path.basename(path), file.read()

    def test_commands_print_what_is_shown(self):
        for name, text in self.each_file():
            if next(commands(text), None):
                self.run_shell(name, list(commands(text)))

    def run_shell(self, name, steps):
        mark = "\x1e"
        script = LEADING_SHELL_LINES + "".join(
            f"{command.replace('/tmp/', './')}\nprintf '{mark}'\n" for _, command, _ in steps)
        with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryFile() as output:
            shell = subprocess.Popen(["bash", "-c", script], cwd=folder, stdin=subprocess.DEVNULL, stdout=output,
                                     stderr=subprocess.STDOUT, start_new_session=True,
                                     env={**os.environ, "PROGRAMS": PROGRAMS})
            try:
                shell.wait(timeout=PATIENCE)
            finally:
                with contextlib.suppress(ProcessLookupError):  # the handsets that it left, too
                    os.killpg(shell.pid, signal.SIGKILL)
            output.seek(0)
            printed = output.read().decode(errors="replace").split(mark)
        for (number, command, expected), got in zip(steps, printed):
            with self.subTest(file=name, line=number, command=command):
                if not re.fullmatch(pattern_of(expected), got):
                    self.assertEqual(got.rstrip("\n"), expected)
                    self.fail("differs in blank lines only")
        self.assertEqual(len(printed), len(steps) + 1, f"{name}: the shell ended early")

    def test_conversations_are_held(self):
        for name, text in self.each_file():
            held = [(n, block) for n, block in blocks(text, "conversation")]
            if held:
                self.hold(name, held)

    def hold(self, name, conversations):
        handset = subprocess.Popen([os.path.join(PROGRAMS, "mova-handset"), "--baud-rate", "0"], stdout=subprocess.PIPE,
                                   text=True)
        try:
            line = os.open(handset.stdout.readline().strip(), os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
            tty.setraw(line, termios.TCSANOW)
            for number, block in conversations:
                for offset, text in enumerate(block.splitlines()):
                    if text.startswith("<- "):
                        os.write(line, unescaped(text[3:]).encode() + b"\r")
                        continue
                    with self.subTest(file=name, line=number + offset):
                        expected = unescaped(text[3:])
                        self.assertEqual(self.listen(line, len(expected)), expected)
            os.close(line)
        finally:
            handset.terminate()
            handset.wait()
            handset.stdout.close()

    @staticmethod
    def listen(line, length):
        got, limit = b"", time.monotonic() + PATIENCE
        while len(got) < length and time.monotonic() < limit:
            try:
                got += os.read(line, 4096)
            except BlockingIOError:
                time.sleep(0.002)
        return got.decode()

    def test_frames_are_right(self):
        frames = 0
        for name, text in self.each_file():
            for number, line in enumerate(text.splitlines(), 1):
                for frame in re.findall(r"\*MOVA=([0-9A-Fa-f]{6,})", line):
                    frames += 1
                    with self.subTest(file=name, line=number, frame=frame):
                        self.assertIsNone(frame_fault(frame))
        self.assertGreater(frames, 10)

    def test_links_lead_somewhere(self):
        for path in FILES:
            with open(path) as file:
                for target in re.findall(r"\]\(([^)#:\s]+)(?:#[^)]*)?\)", file.read()):
                    with self.subTest(file=path, target=target):
                        self.assertTrue(os.path.exists(os.path.join(os.path.dirname(path), target)))

    def test_paths_are_there(self):
        for path in FILES:
            with open(path) as file:
                self.assertEqual(list(missing_paths(file.read(), os.path.dirname(path))), [], path)

    def test_paths_that_are_not_there_are_found(self):
        planted = ("`src/` and src/base/Text.h\n"
                   "src/gone/Text.h, tests/checks/gone.py. ./gone and `gone/`; samples\\gone.vbs\n"
                   "build/linux/tests/gone\n"
                   "```console\n$ cat src/made.txt\n```\n"
                   "`corpus/gone/`, ../gone/README.md, 3 MB/s, /dev/gone, build/windows-x64/gone\n")
        self.assertEqual(list(missing_paths(planted, ROOT / "tests")),
                         [(2, "src/gone/Text.h"), (2, "tests/checks/gone.py"), (2, "./gone"), (2, "gone/"),
                          (2, "samples/gone.vbs"), (3, "build/linux/tests/gone"), (7, "corpus/gone/"),
                          (7, "../gone/README.md")])

    def test_the_changelog_begins_with_the_version_that_is_built(self):
        newest = re.search(r"^## (\S+)", (ROOT / "CHANGELOG.md").read_text(), re.M).group(1)
        told = subprocess.run([os.path.join(PROGRAMS, "mova"), "--version"], stdout=subprocess.PIPE, text=True, check=True)
        built = told.stdout.split()[1]
        self.assertEqual(newest, built)


unittest.main()
