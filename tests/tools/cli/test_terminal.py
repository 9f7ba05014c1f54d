"""Whatever bytes come from line, files or arguments: none drives the terminal."""
import os
import pty
import re
import socket
import subprocess
import threading
import time
import tty

from bench import BUILD, GENEROUS, MOVA, BenchTest, main, wait_until

VIEWER = os.path.join(BUILD, "mova-viewer")

# Every byte, each C1 character in UTF-8, and what an attacker would send.
EVERY_BYTE = bytes(range(256)) + b"".join(("<%c>" % c).encode() for c in range(0x80, 0xA0))
ATTACK = b"\x1b]0;owned\x07\x1b[2J\xc2\x9b2J\x9b2J\x7f"
HOSTILE = ATTACK + EVERY_BYTE.replace(b"\r", b"").replace(b"\n", b"") + ATTACK
NAME = os.fsdecode(b"a\x01b\x1b[2Jc\x7fd\xc2\x9b2Je")
OWN_COLOURS = re.compile(rb"\x1b\[(?:0|1|2|32|1;31)m")


def raw_controls(output):
    """The control characters in it that are neither tab nor line end: C0, DEL, C1 in UTF-8 and in single bytes."""
    text = output.decode("utf-8", "surrogateescape")
    codes = [0xDC00 <= ord(c) < 0xDD00 and ord(c) - 0xDC00 or ord(c) for c in text]
    return [hex(c) for c in codes if (c < 0x20 and c not in (0x09, 0x0A)) or 0x7F <= c < 0xA0]


class HostileLine:
    """The far end of a line, which answers every command with such bytes."""

    def __init__(self, test):
        self.master, slave = pty.openpty()
        tty.setraw(slave)
        self.device = os.ttyname(slave)
        self.slave = slave
        self.ended = False
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()
        test.addCleanup(self.end)

    def serve(self):
        pending = b""
        while not self.ended:
            try:
                pending += os.read(self.master, 4096)
            except OSError:
                return
            while b"\r" in pending and not self.ended:
                command, pending = pending.split(b"\r", 1)
                if command.startswith(b"AT*MOVA="):
                    answer = b"*MOVA=ACK\r\n*MOVA=0E008000" + HOSTILE + b"\r\nOK\r\n"
                else:
                    answer = command + b"\r\r\n" + HOSTILE + b"\r\n+CME ERROR: " + ATTACK + b"\r\n"
                os.write(self.master, answer)

    def end(self):
        self.ended = True
        os.write(self.slave, b"\r")  # wakes the reading
        self.thread.join()
        os.close(self.slave)
        os.close(self.master)


class RawControlsTest(BenchTest):
    def tell(self, *arguments, given=b"", program=MOVA, most=GENEROUS):
        """Everything that the program writes to output and error output."""
        done = subprocess.run([program, *arguments], input=given, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              cwd=self.folder, env=self.environment, timeout=most, check=False)
        return done.stdout

    def assertHarmless(self, output, what):
        self.assertTrue(output, what)
        self.assertEqual(raw_controls(OWN_COLOURS.sub(b"", output)), [], "%s\n%r" % (what, output))

    def assertHarmlessEverywhere(self, *arguments, given=b""):
        for more in ((), ("--json",), ("--colour", "always")):
            self.assertHarmless(self.tell(*more, *arguments, given=given), more + arguments)

    def test_the_check_itself_sees_them_all(self):
        self.assertEqual(len(raw_controls(bytes(range(256)))), 32 - 2 + 1 + 32)
        self.assertEqual(raw_controls("\u009b é\t\n".encode()), ["0x9b"])

    def test_of_answers(self):
        line = HostileLine(self)
        port = ("--port", line.device, "-t", "100")
        with open(self.path("script"), "wb") as script:
            script.write(b"at ATI\nexpect nothing\n")
        with open(self.path("dump"), "w") as dump:
            dump.write("4097 1 00\n")
        for arguments in (("at", "ATI"), ("at", "-k", "ATI", "AT" + NAME), ("info",), ("rf", "general", "5", "1"),
                          ("rf", "param", "6", "1", "2", "3"), ("hci", "0", "01"), ("wifi", "1", "01"), ("e2p", "read", "1", "1"),
                          ("e2p", "read", "1", "1", "--table"), ("e2p", "write", "1", "1", "00"), ("e2p", "hash-request", "0", "0"),
                          ("e2p", "dump", "out", "--objects", "1", "--restart"), ("e2p", "restore", "dump", "--force"),
                          ("e2p", "diff", "dump"), ("monitor", "--send", "ATI", "--count", "1", "--seconds", "5"),
                          ("raw", "write", "--text", "AT\\r", "--read", "--ascii"), ("raw", "write", "41540D", "--read"),
                          ("signals",), ("run", "script"), ("run", "-v", "script")):
            self.assertHarmlessEverywhere(*port, *arguments)
        for more in ((), ("--hex",), ("--time", "--echo")):
            self.assertHarmlessEverywhere(*port, "terminal", "--quiet", "2000", *more, given=b"ATI\x1b[2J\r")
        self.assertHarmlessEverywhere(*port, "shell", given=b"at ATI\nat \x1b[2J\n\x1b]0;x\x07\n'\x1b\n")

    def test_of_files(self):
        self.start_handset()
        with open(self.path("dump"), "wb") as dump:
            dump.write(b"# mova e2p dump: 1\n# imei: " + HOSTILE + b"\n4097 1 00\n# complete: 1\n")
        os.link(self.path("dump"), self.path("out.part"))
        with open(self.path("objects"), "wb") as objects:
            objects.write(b"4097 1 " + HOSTILE.replace(b"#", b"") + b"\n")
        with open(self.path("trace"), "wb") as trace:
            for kind in (b"AT-S AT", b"AT-R ", b"E2P-R ", b"Mv-R ", b"Mv-R-Error ", b""):
                trace.write(kind + HOSTILE + b"\t\t\t\t[T:%d]\n" % len(kind))
        with open(self.path("trace2"), "wb") as trace:
            trace.write(HOSTILE)
        for arguments in (("e2p", "restore", "dump"), ("e2p", "dump", "out"), ("e2p", "restore", "objects"), ("e2p", "diff", "objects"),
                          ("e2p", "diff", "dump", "objects"), ("trace", "trace"), ("trace", "trace", "--exchanges"), ("trace", "trace2")):
            self.assertHarmlessEverywhere("--port", "7", *arguments)
        for number, text in enumerate((b"at AT\nexpect " + HOSTILE, b"at AT\nexpect-regex (" + HOSTILE, b"echo " + HOSTILE, HOSTILE,
                                       b"at 'AT" + ATTACK, b"at AT\nexpect-code " + ATTACK)):
            name = "script%d" % number
            with open(self.path(name), "wb") as script:
                script.write(text + b"\n")
            self.assertHarmlessEverywhere("--port", "7", "run", name)

    def test_of_arguments_and_names(self):
        self.start_handset()
        os.symlink(os.path.realpath(self.link), self.path("COM9"))
        device = self.path("tty" + NAME)
        os.symlink(os.path.realpath(self.link), device)
        self.assertHarmlessEverywhere("ports")
        for arguments in ((NAME,), ("e2p", NAME), ("at", "--" + NAME), ("--port", NAME, "at", "AT"), ("--port", device, "at", "AT"),
                          ("--port", "7", "at", NAME), ("--port", "7", "e2p", "read", NAME, "1"), ("--port", "7", "wifi", "1", NAME),
                          ("--port", "7", "signals", NAME), ("--port", "7", "run", NAME), ("--port", "7", "raw", "write", "--text", "\\" + NAME),
                          ("--port", "7", "--trace", self.path("none/" + NAME), "at", "AT"), ("trace", NAME), ("e2p", "diff", NAME),
                          ("--colour", NAME, "ports"), ("--port", "7", "e2p", "dump", "none/" + NAME)):
            self.assertHarmlessEverywhere(*arguments)

    def test_of_the_debug_channel(self):
        for more in ((), ("--json",)):
            viewer = subprocess.Popen([VIEWER, "--count", "2", *more], stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder,
                                      env=self.environment)
            self.addCleanup(viewer.kill)
            self.assertIn(b"listening", viewer.stderr.readline())
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as channel:
                channel.connect(self.path("KSDW_DEBUG.sock"))
                channel.send(b"MovaCmdSvr:(" + ATTACK + b") " + HOSTILE)
                channel.send(EVERY_BYTE)
            out, err = viewer.communicate(timeout=GENEROUS)
            self.assertHarmless(out, more)
            self.assertEqual(raw_controls(err), [])
        for arguments in (("--regex", "(" + NAME), ("--file", "none/" + NAME), ("--" + NAME,), ("--count", NAME)):
            self.assertHarmless(self.tell(*arguments, program=VIEWER), arguments)


if __name__ == "__main__":
    main()
