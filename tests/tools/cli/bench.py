"""A simulated handset behind a pseudo-terminal, and the program under test as a subprocess."""
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

BUILD = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 and not sys.argv[1].startswith("-") else "build/linux"
MOVA = os.path.join(BUILD, "mova")
HANDSET = os.path.join(BUILD, "mova-handset")
SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", "..", ".."))
GENEROUS = 180  # seconds; machines are busy


def wait_until(condition, what):
    deadline = time.monotonic() + GENEROUS
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("waited in vain for: " + what)
        time.sleep(0.01)


class Result:
    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err

    @property
    def lines(self):
        return self.out.splitlines()

    def json(self):
        return json.loads(self.out)

    def __repr__(self):
        return "exit %d\n--- out\n%s--- err\n%s" % (self.status, self.out, self.err)


class BenchTest(unittest.TestCase):
    """Each test has a folder with the handset's link COM7 in it."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="mova-cli-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.link = os.path.join(self.folder, "COM7")
        self.handset = None
        self.environment = {k: v for k, v in os.environ.items() if not k.startswith("MOVA_") and k != "NO_COLOR"}
        self.environment.update(MOVA_DEVICE_DIR=self.folder, MOVA_HISTORY="", TERM="xterm", XDG_RUNTIME_DIR=self.folder)
        self.addCleanup(self.end_handset)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text):
        with open(self.path(name), "w") as file:
            file.write(text)
        return self.path(name)

    def read(self, name):
        with open(self.path(name)) as file:
            return file.read()

    def start_handset(self, *options):
        """As fast as the machine; its log is the file handset.log."""
        self.end_handset()
        ready = self.path("ready")
        if os.path.exists(ready):
            os.remove(ready)
        command = [HANDSET, "--link", self.link, "--ready-file", ready, "--baud-rate", "0", "--log", *options]
        with open(self.path("handset.log"), "w") as log:
            self.handset = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=log)
        wait_until(lambda: os.path.exists(ready), "the handset")

    def end_handset(self):
        if self.handset is not None:
            self.handset.terminate()
            self.handset.wait(GENEROUS)
            self.handset = None

    def start(self, *arguments, **options):
        return subprocess.Popen([MOVA, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                cwd=self.folder, env=self.environment, **options)

    def finish(self, process, given=None):
        out, err = process.communicate(given, timeout=GENEROUS)
        return Result(process.returncode, out, err)

    def mova(self, *arguments, given=None):
        return self.finish(self.start(*arguments, stdin=subprocess.PIPE), given or "")

    def ask(self, *arguments, **options):
        """On COM7."""
        return self.mova("--port", "7", *arguments, **options)

    def assertEnds(self, result, status, out=None):
        self.assertEqual(result.status, status, result)
        if out is not None:
            self.assertEqual(result.out, out, result)


def main():
    program = unittest.main(module="__main__", exit=False, argv=[sys.argv[0], *sys.argv[1:]])
    good = program.result.wasSuccessful() and program.result.testsRun > 0
    if good:
        print("[  PASSED  ] %d tests." % program.result.testsRun)
    sys.exit(0 if good else 1)
