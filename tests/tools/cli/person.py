"""A person at a terminal: the program on a pseudo-terminal of its own."""
import os
import pty
import re
import select
import subprocess
import termios
import time

from bench import GENEROUS, MOVA, wait_until


class Terminal:
    """The program on a pseudo-terminal, as a person sees it."""

    def __init__(self, test, *arguments):
        self.master, slave = pty.openpty()
        self.process = subprocess.Popen([MOVA, *arguments], stdin=slave, stdout=slave, stderr=slave, cwd=test.folder,
                                        env=test.environment, start_new_session=True,
                                        preexec_fn=lambda: __import__("fcntl").ioctl(0, __import__("termios").TIOCSCTTY, 0))
        os.close(slave)
        self.seen = ""
        test.addCleanup(self.end)

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.master)

    def pump(self, seconds):
        if select.select([self.master], [], [], seconds)[0]:
            try:
                self.seen += os.read(self.master, 65536).decode(errors="replace")
            except OSError:  # the other side has gone
                time.sleep(0.01)

    def until(self, pattern):
        """Waits for the pattern; returns what came up to its end, which is then forgotten."""
        deadline = time.monotonic() + GENEROUS
        while True:
            found = re.search(pattern, self.seen)
            if found:
                before, self.seen = self.seen[:found.end()], self.seen[found.end():]
                return before
            if time.monotonic() > deadline:
                raise AssertionError("%r did not come; seen: %r" % (pattern, self.seen))
            self.pump(0.05)

    def prompt(self):
        """Waits until a line can be typed: keys that come before the editor has the terminal mean something else."""
        before = self.until("mova> ")
        wait_until(lambda: not termios.tcgetattr(self.master)[3] & termios.ICANON, "the editor")
        return before

    def type(self, text):
        os.write(self.master, text.encode())

    def wait(self):
        deadline = time.monotonic() + GENEROUS
        while self.process.poll() is None and time.monotonic() < deadline:
            self.pump(0.05)
        self.pump(0)
        return self.process.wait(1)
