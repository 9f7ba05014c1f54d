"""The terminal: keys, views, what comes from a pipe, a pulled cable; and the shell's lines for the handset, "set", "run"."""
import fcntl
import os
import pty
import re
import signal
import struct
import termios
import time
import tty
import unittest

from bench import BUILD, BenchTest, main, wait_until
from person import Terminal

MODEM_LINES = os.path.join(BUILD, "libmodem-lines.so")
KEY = "\x14"
TCGETS2 = 0x802C542A  # termios with the rate as a number


class FarEnd:
    """A line whose other end the test itself is."""

    def __init__(self, test):
        self.master, self.slave = pty.openpty()
        tty.setraw(self.slave)
        self.device = os.ttyname(self.slave)
        test.addCleanup(os.close, self.master)
        test.addCleanup(os.close, self.slave)
        self.seen = b""

    def settings(self):
        """The rate, which may be any number, and whether there is hardware flow control."""
        words = struct.unpack("<4I20B2I", fcntl.ioctl(self.slave, TCGETS2, bytes(44)))
        return words[-1], bool(words[2] & termios.CRTSCTS)

    def say(self, data):
        os.write(self.master, data)

    def until(self, data):
        while not self.seen.endswith(data):
            self.seen += os.read(self.master, 1)
        seen, self.seen = self.seen, b""
        return seen


class TalkTest(BenchTest):
    def talk(self, *options, device="7"):
        terminal = Terminal(self, "--port", device, "terminal", *options)
        terminal.until("Ctrl-T q ends\r\n")
        return terminal

    def key(self, terminal, letter):
        terminal.type(KEY + letter)

    def quit(self, terminal):
        self.key(terminal, "q")
        self.assertEqual(terminal.wait(), 0)


class KeysTest(TalkTest):
    def setUp(self):
        super().setUp()
        self.start_handset()

    def test_what_is_typed_is_answered(self):
        terminal = self.talk()
        terminal.type("AT+CSQ\r")
        self.assertEqual(terminal.until("OK\r\n"), "AT+CSQ\r\n+CSQ: 21,99\r\n\r\nOK\r\n")
        self.quit(terminal)

    def test_one_key_shows_the_keys(self):
        terminal = self.talk()
        self.key(terminal, "?")
        shown = terminal.until("Ctrl-T  sends Ctrl-T\r\n")
        self.assertEqual(re.findall(r"^   (.)  ", shown, re.M), list("?qetxlbfdrs"))
        self.assertEqual(sorted(re.findall(r"(?<=  )(\S)  \w", self.mova("terminal", "--help").out.split("one more:")[1])),
                         sorted("?qetxlbfdrs"))
        self.quit(terminal)

    def test_local_echo(self):
        self.start_handset("--echo", "off")
        terminal = self.talk()
        terminal.type("AT\r")
        self.assertEqual(terminal.until("OK\r\n"), "\r\nOK\r\n")
        self.key(terminal, "e")
        terminal.until("-- local echo on\r\n")
        terminal.type("AT\r")
        self.assertEqual(terminal.until("OK\r\n"), "AT\r\n\r\nOK\r\n")
        self.quit(terminal)
        terminal = self.talk("--echo")
        terminal.type("AT\r")
        self.assertEqual(terminal.until("OK\r\n"), "AT\r\n\r\nOK\r\n")
        self.quit(terminal)

    def test_time_stamps(self):
        terminal = self.talk()
        self.key(terminal, "t")
        terminal.until("-- time stamps on\r\n")
        terminal.type("AT\r")
        stamp = r"\d\d:\d\d:\d\d\.\d\d\d  "
        self.assertRegex(terminal.until("OK\r\n"), "^" + stamp + "AT\r\n" + stamp + "OK\r\n$")
        self.quit(terminal)

    def test_hexadecimal_view(self):
        terminal = self.talk()
        self.key(terminal, "x")
        terminal.until("-- hexadecimal view on\r\n")
        terminal.type("AT+CGMI\r")
        self.assertEqual(terminal.until("4F 4B 0D 0A\r\n"),
                         "41 54 2B 43 47 4D 49 0D 0D 0A\r\n41 43 4D 45 0D 0A\r\n0D 0A\r\n4F 4B 0D 0A\r\n")
        self.quit(terminal)

    def test_a_log_of_what_is_shown(self):
        terminal = self.talk("--save", "talk.txt")
        terminal.type("AT\r")
        terminal.until("OK\r\n")
        self.key(terminal, "l")
        terminal.until("-- talk.txt is closed\r\n")
        terminal.type("AT+CGMI\r")
        terminal.until("OK\r\n")
        self.key(terminal, "l")
        terminal.until("-- what is shown goes to talk.txt as well\r\n")
        terminal.type("AT+CSQ\r")
        terminal.until("OK\r\n")
        self.quit(terminal)
        self.assertEqual(self.read("talk.txt"), "AT\nOK\nAT+CSQ\n+CSQ: 21,99\n\nOK\n")
        self.assertEqual(os.stat(self.path("talk.txt")).st_mode & 0o777, 0o600)

    def test_a_log_without_a_name(self):
        terminal = self.talk()
        self.key(terminal, "l")
        shown = terminal.until("as well\r\n")
        name = re.search(r"(mova-terminal-\d{8}-\d{6}\.txt)", shown)[1]
        terminal.type("AT\r")
        terminal.until("OK\r\n")
        self.quit(terminal)
        self.assertEqual(self.read(name), "AT\nOK\n")

    def test_settings_and_counts(self):
        terminal = self.talk("--time")
        terminal.type("AT\r")
        terminal.until("OK\r\n")
        self.key(terminal, "s")
        self.assertEqual(terminal.until("received\r\n"), "-- COM7 at 115200 baud, 8N1, flow control none\r\n"
                         "-- DTR on  RTS on  CTS off  DSR off  RING off  CARRIER off\r\n-- 3 bytes sent, 9 received\r\n")
        self.quit(terminal)

    @unittest.skipUnless(os.path.exists(MODEM_LINES), "a build without the modem lines of pseudo-terminals")
    def test_lines(self):
        self.environment.update(LD_PRELOAD=MODEM_LINES, MODEM_LINES=self.folder)
        out = os.path.basename(os.path.realpath(self.link)) + ".out"
        terminal = self.talk()
        self.assertEqual(self.read(out).strip(), "DTR RTS")
        self.key(terminal, "d")
        terminal.until("-- DTR off\r\n")
        self.assertEqual(self.read(out).strip(), "RTS")
        self.key(terminal, "r")
        terminal.until("-- RTS off\r\n")
        self.key(terminal, "f")  # which sets the port anew
        terminal.until("-- flow control RTS/CTS\r\n")
        self.assertNotIn("DTR", self.read(out))
        self.key(terminal, "d")
        terminal.until("-- DTR on\r\n")
        self.assertIn("DTR", self.read(out))
        self.quit(terminal)

    def test_the_terminal_is_as_it_was_however_it_ends(self):
        for end in (None, signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGABRT):
            master, slave = pty.openpty()
            self.addCleanup(os.close, master)
            self.addCleanup(os.close, slave)
            before = termios.tcgetattr(slave)
            process = self.start("-p", "7", "terminal", stdin=slave)
            wait_until(lambda: not termios.tcgetattr(slave)[3] & termios.ICANON, "the keys")
            if end is None:
                os.write(master, (KEY + "q").encode())
            else:
                process.send_signal(end)
            self.finish(process)
            self.assertEqual(termios.tcgetattr(slave), before, end)
            self.assertEqual(process.returncode, {None: 0, signal.SIGINT: 5, signal.SIGTERM: 5}.get(end, -(end or 0)))

    def test_it_ends_when_its_terminal_goes(self):
        master, slave = pty.openpty()
        process = self.start("-p", "7", "terminal", stdin=slave)
        os.close(slave)
        self.assertIn("Ctrl-T q ends", process.stderr.readline())
        os.close(master)
        self.assertEnds(self.finish(process), 0)


class LineTest(TalkTest):
    def test_another_baud_rate(self):
        line = FarEnd(self)
        terminal = self.talk(device=line.device)
        self.assertEqual(line.settings(), (115200, False))
        self.key(terminal, "b")
        terminal.until("-- baud rate, then Enter: ")
        terminal.type("9601\x7f0\r")
        terminal.until("-- %s at 9600 baud, 8N1, flow control none\r\n" % line.device)
        self.assertEqual(line.settings(), (9600, False))
        self.key(terminal, "f")
        terminal.until("-- flow control RTS/CTS\r\n")
        self.assertEqual(line.settings(), (9600, True))
        self.key(terminal, "b")
        terminal.until("-- baud rate, then Enter: ")
        terminal.type("x")
        terminal.until("-- the baud rate stays\r\n")
        self.assertEqual(line.settings(), (9600, True))
        self.quit(terminal)

    def test_every_key_goes_to_the_handset(self):
        line = FarEnd(self)
        terminal = self.talk(device=line.device)
        keys = bytes(b for b in range(1, 128) if b != 0x14)
        os.write(terminal.master, keys)
        self.assertEqual(line.until(b"\x7f"), keys)
        terminal.type(KEY + KEY)
        self.assertEqual(line.until(b"\x14"), b"\x14")
        terminal.type("é")
        self.assertEqual(line.until(b"\xa9"), b"\xc3\xa9")
        self.quit(terminal)

    def test_control_characters_are_shown_as_escapes(self):
        line = FarEnd(self)
        terminal = self.talk(device=line.device)
        line.say(b"\x1b[2J\x07a\tb\x9b\x7f\xc2\x9b" + "é".encode()[:1])
        line.say("é".encode()[1:] + b" 12%\r13%\r\r\n\n.\r\n")
        self.assertEqual(terminal.until("\\.\r\n"), "\\x1B[2J\\x07a\tb\\x9B\\x7F\\u009Bé 12%\r\n13%\r\n\r\n.\r\n")
        self.quit(terminal)

    def test_raw_lets_them_through(self):
        line = FarEnd(self)
        terminal = self.talk("--raw", device=line.device)
        line.say(b"\x1b[1mbold\x1b[0m\r\n")
        self.assertEqual(terminal.until("\n"), "\x1b[1mbold\x1b[0m\r\r\n")
        self.quit(terminal)

    def test_sixteen_bytes_in_a_line(self):
        line = FarEnd(self)
        terminal = self.talk("-x", device=line.device)
        line.say(bytes(range(0x20, 0x32)))
        self.assertEqual(terminal.until("31"), "20 21 22 23 24 25 26 27 28 29 2A 2B 2C 2D 2E 2F\r\n30 31")
        self.key(terminal, "x")
        self.assertEqual(terminal.until("off\r\n"), "\r\n-- hexadecimal view off\r\n")
        self.quit(terminal)


class PipeTest(TalkTest):
    def setUp(self):
        super().setUp()
        self.start_handset()

    def test_lines_of_a_pipe(self):
        for given in ("AT+CSQ\n", "AT+CSQ\r\n", "AT+CSQ\r"):
            self.assertEnds(self.ask("terminal", "--quiet", "2000", given=given), 0, "AT+CSQ\n+CSQ: 21,99\n\nOK\n")

    def test_nothing_is_a_key(self):
        self.assertEnds(self.ask("terminal", "--quiet", "2000", "--raw", given="AT\x14q\r"), 0)
        self.assertIn("<- AT\\x14q", self.read("handset.log"))

    def test_it_ends_when_both_are_quiet(self):
        self.assertEnds(self.ask("terminal", given=""), 0, "")

    def test_not_as_json_and_not_in_a_piped_shell(self):
        self.assertEnds(self.ask("--json", "terminal"), 2)
        self.assertEnds(self.ask("shell", given="terminal\n"), 2, "")


class PulledTest(TalkTest):
    def setUp(self):
        super().setUp()
        self.start_handset("--cable", self.path("cable"))

    def move(self, way):
        self.write("cable." + way, "")
        wait_until(lambda: not os.path.exists(self.path("cable." + way)), "the cable")

    def test_it_goes_on(self):
        terminal = self.talk()
        terminal.type("AT\r")
        terminal.until("OK\r\n")
        self.key(terminal, "f")
        terminal.until("RTS/CTS\r\n")
        self.move("out")
        terminal.until("-- COM7 is gone; waiting for it\r\n")
        self.key(terminal, "d")
        terminal.until("-- the port is gone\r\n")
        self.key(terminal, "x")
        terminal.until("-- hexadecimal view on\r\n")
        self.move("in")
        terminal.until("-- COM7 is back after \\d+\\.\\d s\r\n")
        terminal.type("AT\r")
        terminal.until("4F 4B 0D 0A\r\n")
        self.key(terminal, "s")
        terminal.until("-- COM7 at 115200 baud, 8N1, flow control RTS/CTS\r\n")
        self.quit(terminal)

    def test_no_reconnect_ends(self):
        terminal = self.talk("--no-reconnect")
        self.move("out")
        terminal.until("COM7 is gone: the port went down")
        self.assertEqual(terminal.wait(), 6)


class ShellTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset()

    def test_a_line_for_the_handset(self):
        result = self.ask("shell", given="AT+CSQ\n  AT+CGMI\r\nAT+X=\"a b\" 'c\n")
        self.assertEnds(result, 1, "+CSQ: 21,99\nOK\nACME\nOK\nERROR\n")
        self.assertIn("<- AT+X=\"a b\" 'c\n", self.read("handset.log"))

    def test_set_timeout(self):
        self.start_handset("--fault", "silence")
        begin = time.monotonic()
        self.assertEnds(self.ask("-t", "170000", "shell", given="set timeout 200\nAT\n"), 4, "")
        self.assertLess(time.monotonic() - begin, 100)  # of 170
        for text in ("0", "x", "200001"):
            self.assertEnds(self.ask("shell", given="set timeout " + text + "\n"), 2, "")

    def test_set_port(self):
        os.symlink(os.path.realpath(self.link), self.path("COM9"))
        result = self.ask("shell", given="AT\nset port 8\nAT\nset port 9\nAT+CGMI\nset\n")
        self.assertEnds(result, 0, "OK\nOK\nACME\nOK\ntimeout usual\nport 9\ntrace off\njson off\n")
        self.assertIn("there is no port COM8", result.err)

    def test_set_trace(self):
        self.assertEnds(self.ask("shell", given="AT+CSQ\nset trace t\nAT+CGMI\nset trace off\nATI\n"), 0)
        trace = self.read("t")
        self.assertIn("AT-S AT+CGMI", trace)
        self.assertNotIn("CSQ", trace)
        self.assertNotIn("ATI", trace)
        self.assertEnds(self.ask("shell", given="set trace none/t\n"), 7, "")

    def test_set_json(self):
        result = self.ask("shell", given="set json on\nAT\nset json off\nAT\nset json maybe\n")
        self.assertEnds(result, 2)
        self.assertEqual([line.split(",")[0] for line in result.lines], ['{"command":"set json"', '{"command":"at"', "OK"])

    def test_run(self):
        self.write("s.mova", "at AT+CSQ\nexpect +CSQ: 21,*\n")
        result = self.ask("shell", given="run s.mova\nset json off\nrun -\n")
        self.assertEnds(result, 2)
        self.assertIn("1 steps: 1 passed, 0 failed", result.out)
        self.write("s.mova", "run s.mova\n")
        self.assertEnds(self.ask("shell", given="run s.mova\n"), 2, "")
        self.write("s.mova", "set json on\n")
        self.assertEnds(self.ask("run", "s.mova"), 2, "")

    def test_a_killed_session_has_its_history(self):
        self.environment["MOVA_HISTORY"] = self.path("lines")
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("AT+CSQ\n")
        terminal.until("OK")
        terminal.prompt()
        terminal.process.kill()
        terminal.wait()
        self.assertIn("AT+CSQ", self.read("lines"))

    def test_a_terminal_within_it(self):
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("terminal\n")
        terminal.until("Ctrl-T q ends\r\n")
        terminal.type("AT+CSQ\r")
        terminal.until("21,99\r\n\r\nOK\r\n")
        terminal.type(KEY + "q")
        terminal.prompt()
        terminal.type("AT\n")
        terminal.until("OK")
        terminal.prompt()
        terminal.type("exit\n")
        self.assertEqual(terminal.wait(), 0)


if __name__ == "__main__":
    main()
