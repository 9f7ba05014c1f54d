"""A simulated handset behind a pseudo-terminal for each test that asks for one. MOVA_BUILD names the folder of programs."""
import atexit
import os
import shutil
import subprocess
import sys
import tempfile
import time

import pytest

BUILD = os.path.abspath(os.environ["MOVA_BUILD"])
SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
PATIENCE = 180  # seconds; machines are busy
sys.path.insert(0, os.path.join(BUILD, "python"))

# The library asks its environment once: all tests have their ports in one folder.
PORTS = tempfile.mkdtemp(prefix="mova-python-")
atexit.register(shutil.rmtree, PORTS, ignore_errors=True)
os.environ.update(MOVA_DEVICE_DIR=PORTS, XDG_RUNTIME_DIR=PORTS)


def wait_until(condition, what="it"):
    deadline = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < deadline, "waited in vain for: " + what
        time.sleep(0.01)


class Bench:
    """A handset on port 7."""

    def __init__(self):
        self.link = os.path.join(PORTS, "COM7")
        self.handset = None

    def start(self, *options):
        self.end()
        ready = os.path.join(PORTS, "ready")
        if os.path.exists(ready):
            os.remove(ready)
        program = os.path.join(BUILD, "mova-handset")
        environment = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
        self.handset = subprocess.Popen([program, "--link", self.link, "--ready-file", ready, "--baud-rate", "0", *options],
                                        stdout=subprocess.DEVNULL, env=environment)
        wait_until(lambda: os.path.exists(ready), "the handset")
        return self

    def end(self):
        if self.handset is not None:
            self.handset.terminate()
            self.handset.wait(PATIENCE)
            self.handset = None

    def python(self, code, *arguments, **options):
        """Another Python that has the module."""
        path = os.path.join(BUILD, "python")
        return subprocess.Popen([sys.executable, "-c", code, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                text=True, env={**os.environ, "PYTHONPATH": path}, **options)


@pytest.fixture
def bench():
    bench = Bench()
    yield bench
    bench.end()


@pytest.fixture
def plain(bench):
    """The plain handset."""
    return bench.start()
