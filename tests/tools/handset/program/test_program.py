"""The program mova-handset as its users call it. The program's path is the first argument."""
import os
import signal
import subprocess
import sys
import tempfile
import termios
import time
import tty
import unittest

PROGRAM = sys.argv.pop(1)
PATIENCE = 30  # seconds


class Handset:
    """A running program, its lines open."""

    def __init__(self, *arguments, lines=1):
        self.process = subprocess.Popen([PROGRAM, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.lines = []
        for _ in range(lines):
            path = self.process.stdout.readline().strip()
            if not path:
                break
            line = os.open(path, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
            tty.setraw(line, termios.TCSANOW)
            self.lines.append(line)

    def ask(self, command, ending, line=0):
        os.write(self.lines[line], command.encode() + b"\r")
        return self.listen(ending, line)

    def listen(self, ending, line=0):
        got, limit = b"", time.monotonic() + PATIENCE
        while not got.endswith(ending.encode()) and time.monotonic() < limit:
            try:
                got += os.read(self.lines[line], 4096)
            except BlockingIOError:
                time.sleep(0.002)
        return got.decode()

    def end(self, number=signal.SIGTERM):
        """Exit code and what was said on the error output."""
        self.process.send_signal(number)
        _, errors = self.process.communicate(timeout=PATIENCE)
        for line in self.lines:
            os.close(line)
        return self.process.returncode, errors


class Program(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def file(self, name, text=None):
        path = os.path.join(self.folder, name)
        if text is not None:
            with open(path, "w") as file:
                file.write(text)
        return path

    def handset(self, *arguments, lines=1):
        handset = Handset(*arguments, lines=lines)
        self.addCleanup(handset.process.kill)
        return handset

    def refusal(self, *arguments):
        done = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=PATIENCE)
        self.assertNotEqual(done.returncode, 0)
        return done.stderr

    def test_answers_as_its_profile_says(self):
        profile = self.file("my.toml", "[identity]\nrevision = '7.1'\n[line]\nbaud_rate = 0\necho = false\n")
        handset = self.handset(profile)
        self.assertEqual(handset.ask("AT+CGMR", "OK\r\n"), "\r\n7.1\r\n\r\nOK\r\n")
        self.assertEqual(handset.end(), (0, ""))

    def test_options_hold_over_the_profile(self):
        profile = self.file("my.toml", "[identity]\notp = 'FROM PROFILE'\n[line]\nbaud_rate = 0\necho = false\n")
        handset = self.handset(profile, "--otp", "FROM OPTION", "--echo", "on")
        self.assertEqual(handset.ask("AT%OTP?", "OK\r\n"), "AT%OTP?\r\r\nFROM OPTION\r\n\r\nOK\r\n")
        self.assertEqual(handset.end(), (0, ""))

    def test_serves_several_handsets_each_of_its_own(self):
        profiles = [self.file(f"{n}.toml", f"name = '{n}'\n[identity]\nmodel = 'M-{n}'\n[line]\necho = false\n") for n in "ab"]
        links = [self.file("link-a"), self.file("link-b")]
        handset = self.handset(*profiles, "--link", links[0], "--link", links[1], "--log", lines=2)
        self.assertEqual(os.path.realpath(links[1]), os.ttyname(handset.lines[1]))
        self.assertEqual(handset.ask("AT+CGMM", "OK\r\n", line=1), "\r\nM-b\r\n\r\nOK\r\n")
        self.assertEqual(handset.ask("AT+CGMM", "OK\r\n", line=0), "\r\nM-a\r\n\r\nOK\r\n")
        status, log = handset.end()
        self.assertEqual(status, 0)
        self.assertRegex(log, r"(?m)^b 2 +\d+\.\d{3} <- AT\+CGMM$")
        self.assertRegex(log, r"(?m)^a 1 +\d+\.\d{3} -> \\r\\nM-a\\r\\n\\r\\nOK\\r\\n$")

    def test_one_profile_serves_all_links(self):
        profile = self.file("my.toml", "[identity]\nmodel = 'SAME'\n[line]\necho = false\n")
        handset = self.handset("--link", self.file("1"), "--link", self.file("2"), profile, lines=2)
        for line in (0, 1):
            self.assertEqual(handset.ask("AT+CGMM", "OK\r\n", line=line), "\r\nSAME\r\n\r\nOK\r\n")
        self.assertEqual(handset.end(), (0, ""))

    def test_what_is_recorded_is_replayed(self):
        recording = self.file("talk.log")
        asked = ["AT+CGMR", "AT+NOSUCH", "AT*MOVA=090005000201000000000F"]
        endings = ["OK\r\n", "ERROR\r\n", "OK\r\n"]
        recorder = self.handset("--record", recording)
        said = [recorder.ask(command, ending) for command, ending in zip(asked, endings)]
        self.assertEqual(recorder.end(), (0, ""))
        player = self.handset("--replay", recording, self.file("other.toml", "[identity]\nrevision = 'OTHER'\n"))
        self.assertEqual([player.ask(command, ending) for command, ending in zip(asked, endings)], said)
        self.assertIn("4.2", said[0])
        self.assertIn("AM-1", player.ask("AT+CGMM", "OK\r\n"))  # not recorded: as the profile has it
        self.assertEqual(player.end(), (0, ""))

    def test_keeps_its_objects(self):
        profile = self.file("my.toml", "[line]\nbaud_rate = 0\n[e2p]\nfile = 'kept.txt'\n")
        write = "AT*MOVA=0E008001010800810034120200AABB32"  # object 4660, record 2
        handset = self.handset(profile)
        self.assertIn("AABB", handset.ask(write, "OK\r\n"))
        self.assertEqual(handset.end(), (0, ""))
        with open(self.file("kept.txt")) as kept:
            self.assertIn("4660 2 AABB\n", kept.read())

    def test_the_printed_profile_can_be_used(self):
        printed = subprocess.run([PROGRAM, "--print-profile"], capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(printed.returncode, 0)
        handset = self.handset(self.file("printed.toml", printed.stdout))
        self.assertIn("ACME", handset.ask("AT+CGMI", "OK\r\n"))
        self.assertEqual(handset.end(), (0, ""))

    def test_refuses_what_does_not_fit(self):
        profile = self.file("my.toml", "[line]\necho = 1\n")
        self.assertEqual(self.refusal(profile), f"mova-handset: {profile}:2:8: expected true or false\n")
        good = self.file("good.toml", "")
        self.assertEqual(self.refusal(good, good, "--link", "a", "--link", "b", "--link", "c"),
                         "mova-handset: --link is given 3 times for 2 profiles\n")
        self.assertEqual(self.refusal("--link", "a", "--link", "b", "--record", "x"),
                         "mova-handset: --record is for one handset\n")
        keeping = self.file("keeping.toml", "[e2p]\nfile = 's'\n")
        self.assertEqual(self.refusal(keeping, keeping),
                         f"mova-handset: two handsets would keep their objects in {self.file('s')}\n")
        self.assertEqual(self.refusal("--record", "/nowhere/x"), "mova-handset: /nowhere/x cannot be written\n")
        self.assertIn("no fault is called noise", self.refusal("--fault", "noise"))
        self.assertIn("must be a number above 0", self.refusal("--fault", "silence=2x"))
        broken = self.file("broken.log", "<- AT\nwhat\n")
        self.assertEqual(self.refusal("--replay", broken),
                         f"mova-handset: {broken}: line 2: expected <-, -> or -- behind the time\n")
        self.assertEqual(self.refusal("--link", "/nowhere/link"),
                         "mova-handset: /nowhere/link: No such file or directory\n")

    def test_its_link_replaces_another_link_and_nothing_else(self):
        dear = self.file("dear", "kept")
        self.assertEqual(self.refusal("--link", dear),
                         f"mova-handset: {dear} is no symbolic link and is not replaced: File exists\n")
        with open(dear) as file:
            self.assertEqual(file.read(), "kept")
        old = self.file("old")
        os.symlink(dear, old)
        handset = self.handset("--link", old)
        self.assertEqual(os.path.realpath(old), os.ttyname(handset.lines[0]))
        self.assertEqual(handset.end(), (0, ""))
        self.assertFalse(os.path.lexists(old))
        with open(dear) as file:
            self.assertEqual(file.read(), "kept")

    def test_a_link_that_is_another_ones_meanwhile_stays(self):
        link = self.file("link")
        handset = self.handset("--link", link)
        os.remove(link)
        os.symlink("/elsewhere", link)
        self.assertEqual(handset.end(), (0, ""))
        self.assertEqual(os.readlink(link), "/elsewhere")

    def test_its_link_goes_however_it_is_told_to_end(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE):
            handset = self.handset("--link", self.file("link"))
            self.assertEqual(handset.end(number), (0, ""), number)
            self.assertFalse(os.path.lexists(self.file("link")), number)

    def test_goes_on_where_hanging_up_is_ignored(self):
        before = signal.signal(signal.SIGHUP, signal.SIG_IGN)  # as nohup does
        self.addCleanup(signal.signal, signal.SIGHUP, before)
        handset = self.handset(self.file("quick.toml", "[line]\nbaud_rate = 0\necho = false\n"))
        handset.process.send_signal(signal.SIGHUP)
        self.assertEqual(handset.ask("AT+CGMM", "OK\r\n"), "\r\nAM-1\r\n\r\nOK\r\n")
        self.assertEqual(handset.end(), (0, ""))


unittest.main()
