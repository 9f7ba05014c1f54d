#!/usr/bin/env python3
"""test_neighbours.py BUILD: what other users of the machine may try, and what comes of it.

The station's user has no runtime folder, as under a service manager or cron; a neighbour got up earlier and has planted
what it could. Needs root, to be two other users; ends with 77 where that is not to be had.
"""
import os
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest

BUILD = os.path.abspath(sys.argv.pop(1))
STATION, NEIGHBOUR = 64997, 64998  # nobody's numbers: their folders in /tmp are this campaign's own
GENEROUS = 120  # seconds; machines are busy
SKIPPED = 77
PRIVATE = "/tmp/mova-%d" % STATION


def as_user(user, *command):
    return ["setpriv", "--reuid=%d" % user, "--regid=%d" % user, "--clear-groups", "--", *command]


def wait_until(condition, what):
    deadline = time.monotonic() + GENEROUS
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("waited in vain for: " + what)
        time.sleep(0.01)


class NeighboursTest(unittest.TestCase):
    def setUp(self):
        umask = os.umask(0o022)
        self.addCleanup(os.umask, umask)
        self.clear()
        self.addCleanup(self.clear)
        self.folder = tempfile.mkdtemp(prefix="mova-neighbours-")
        self.addCleanup(shutil.rmtree, self.folder)
        os.chmod(self.folder, 0o755)
        for program in ("mova", "mova-handset", "mova-viewer"):
            shutil.copy(os.path.join(BUILD, program), self.folder)
        self.home = self.path("home")
        os.mkdir(self.home)
        os.chown(self.home, STATION, STATION)
        self.street = self.path("street")  # like /tmp
        os.mkdir(self.street)
        os.chmod(self.street, 0o1777)
        self.environment = {"PATH": os.environ["PATH"], "HOME": self.home, "TMPDIR": self.street}
        self.link = os.path.join(self.home, "handset")

    @staticmethod
    def clear():
        for path in [PRIVATE, "/tmp/mova-%d" % NEIGHBOUR, *OLD_NAMES]:
            if os.path.isdir(path) and not os.path.islink(path):
                shutil.rmtree(path)
            elif os.path.lexists(path):
                os.remove(path)

    def path(self, name):
        return os.path.join(self.folder, name)

    # --- the station

    def start(self, program, *arguments, **options):
        process = subprocess.Popen(as_user(STATION, self.path(program), *arguments), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, cwd=self.home, env=self.environment, **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
        process.communicate()

    def start_handset(self):
        ready = self.path("home/ready")
        if os.path.exists(ready):
            os.remove(ready)
        handset = self.start("mova-handset", "--link", self.link, "--baud-rate", "0", "--ready-file", ready)
        wait_until(lambda: os.path.exists(ready), "the handset")
        return handset

    def mova(self, *arguments, given=""):
        """Exit code, output, errors; None as the code of a program that hangs."""
        process = self.start("mova", "--port", self.link, *arguments, stdin=subprocess.PIPE)
        try:
            out, errors = process.communicate(given, timeout=GENEROUS)
        except subprocess.TimeoutExpired:
            return None, "", "it hangs"
        return process.returncode, out, errors

    def expect_exchange(self, *options):
        self.assertEqual(self.mova(*options, "at", "AT"), (0, "OK\n", ""))

    def refusal(self, program, *arguments):
        process = self.start(program, *arguments)
        out, errors = process.communicate(timeout=GENEROUS)
        self.assertEqual((process.returncode, out), (3, ""))  # neither channel nor link could be had
        return errors

    # --- the neighbour

    def neighbour(self, code, *arguments):
        """Runs Python as the neighbour, which says "ready" when it has done what it does, and then waits. Not able to: false."""
        process = subprocess.Popen(as_user(NEIGHBOUR, sys.executable, "-I", "-c", code + "\nprint('ready', flush=True)\ninput()\n" + REPORT,
                                           *arguments), stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                   text=True, cwd="/")
        self.addCleanup(self.end, process)
        return process if process.stdout.readline() == "ready\n" else None

    def overheard(self, process):
        return process.communicate("\n", timeout=GENEROUS)[0]


# Where things lay when everybody had them in /tmp.
OLD_NAMES = ["/tmp/KSDW_DEBUG.sock", "/tmp/SUTLOG.lock"]

REPORT = "if 'channels' in globals(): print(*overheard(), sep='\\n')"

LISTEN = r"""
import os, socket, sys
channels = []
for path in sys.argv[1:]:
    if os.path.dirname(path) != "/tmp":
        os.makedirs(os.path.dirname(path), exist_ok=True)
        os.chmod(os.path.dirname(path), 0o777)
    channel = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    channel.bind(path)
    os.chmod(path, 0o777)
    channel.setblocking(False)
    channels.append(channel)
def overheard():
    for channel in channels:
        try:
            while True:
                yield channel.recv(65536)
        except BlockingIOError:
            pass
"""

LOCK = r"""
import fcntl, os, sys
held = []
for path in sys.argv[2:]:
    if not os.path.exists(path):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        open(path, "w").close()
    file = os.open(path, os.O_RDONLY)
    fcntl.flock(file, getattr(fcntl, sys.argv[1]))
    held.append(file)
"""

ABSTRACT = r"""
import socket, sys
names = []
for name in sys.argv[1:]:
    taken = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    taken.bind("\0" + name)
    names.append(taken)
"""


class Traffic(NeighboursTest):
    SECRET = "C0DEC0DE"

    def expect_nothing_heard(self, *paths):
        listener = self.neighbour(LISTEN, *paths)
        self.assertTrue(listener)
        code, _, errors = self.mova("shell", given="e2p password 0x1234 2 %s\nat AT\nat AT\n" % self.SECRET)
        self.assertEqual(code, 0, errors)
        self.assertEqual(self.overheard(listener).strip(), "")

    def test_is_not_told_to_who_listens_where_everybody_may(self):
        self.start_handset()
        self.expect_nothing_heard("/tmp/KSDW_DEBUG.sock")

    def test_is_not_told_to_who_made_the_users_folder_first(self):
        self.start_handset()
        self.expect_nothing_heard(PRIVATE + "/KSDW_DEBUG.sock")
        self.assertEqual(self.refusal("mova-viewer"),
                         "mova-viewer: there is no folder of your own to listen in: %s belongs to another user (%d); set "
                         "XDG_RUNTIME_DIR to a folder that only you may enter (mode 700)\n" % (PRIVATE, NEIGHBOUR))

    def test_is_not_told_through_a_planted_link(self):
        self.start_handset()
        listener = self.neighbour(LISTEN, self.path("street/trap/KSDW_DEBUG.sock"))
        self.assertTrue(listener)
        self.assertTrue(self.neighbour("import os, sys; os.symlink(*sys.argv[1:])", self.path("street/trap"), PRIVATE))
        self.assertEqual(self.mova("e2p", "password", "0x1234", "2", self.SECRET)[0], 0)
        self.assertEqual(self.overheard(listener).strip(), "")

    def test_cannot_be_read_in_what_the_station_writes(self):
        self.start_handset()
        log, trace, dump = (os.path.join(self.street, name) for name in ("log", "trace", "dump"))
        code, _, errors = self.mova("--log", log, "--trace", trace, "e2p", "password", "0x1234", "2", self.SECRET)
        self.assertEqual(code, 0, errors)
        self.assertEqual(self.mova("e2p", "dump", dump, "--objects", "0x1234")[0], 0)
        for path in (log, trace, dump):
            self.assertTrue(os.path.exists(path), path)
            self.assertIsNone(self.neighbour("import sys; open(sys.argv[1]).read()", path), path)
        with open(trace) as file:
            self.assertIn(self.SECRET, file.read())

    def test_is_heard_by_the_users_own_viewer(self):
        self.start_handset()
        viewer = self.start("mova-viewer", "--match", self.SECRET, "--count", "1")
        wait_until(lambda: os.path.exists(PRIVATE + "/KSDW_DEBUG.sock"), "the viewer")
        status = os.stat(PRIVATE)
        self.assertEqual((stat.S_IMODE(status.st_mode), status.st_uid), (0o700, STATION))
        self.assertIsNone(self.neighbour(LISTEN, PRIVATE + "/KSDW_DEBUG.sock"))
        self.assertEqual(self.mova("e2p", "password", "0x1234", "2", self.SECRET)[0], 0)
        out, errors = viewer.communicate(timeout=GENEROUS)
        self.assertEqual(viewer.returncode, 0, errors)
        self.assertIn(self.SECRET, out)


class Stations(NeighboursTest):
    def expect_lines(self, log, count):
        with open(log) as file:
            self.assertEqual(file.read().count("[AT] Send: AT"), count)

    def test_log_while_a_neighbour_holds_every_lock_it_can_have(self):
        self.start_handset()
        log = self.path("home/a.log")
        open(log, "w").close()
        os.chown(log, STATION, STATION)  # and everybody may read it
        for count, kind in enumerate(("LOCK_SH", "LOCK_EX"), 1):
            holder = self.neighbour(LOCK, kind, "/tmp/SUTLOG.lock", PRIVATE + "/SUTLOG.lock", log)
            self.assertTrue(holder)
            self.expect_exchange("--log", log)
            self.expect_lines(log, count)
            self.end(holder)

    def test_log_where_the_users_folder_cannot_be_had(self):
        self.start_handset()
        log = self.path("home/a.log")
        plants = ("os.mkdir(%r, 0o777)", "open(%r, 'w')", "os.symlink('/tmp', %r)", "os.symlink('/nowhere', %r)",
                  "os.mkfifo(%r)")
        for count, plant in enumerate(plants, 1):
            self.assertTrue(self.neighbour("import os\n" + plant % PRIVATE), plant)
            self.expect_exchange("--log", log)
            self.expect_lines(log, count)
            self.clear()

    def test_log_into_one_file_whatever_becomes_of_the_others_process(self):
        self.start_handset()
        log = os.path.join(self.street, "shared.log")
        open(log, "w").close()
        os.chmod(log, 0o666)
        holder = self.neighbour(LOCK, "LOCK_EX", "/tmp/mova-%d/SUTLOG.lock" % NEIGHBOUR, log)
        self.assertTrue(holder)
        holder.send_signal(signal.SIGSTOP)
        self.expect_exchange("--log", log)
        self.expect_lines(log, 1)
        holder.send_signal(signal.SIGCONT)

    def test_go_on_while_their_own_viewer_is_stopped(self):
        self.start_handset()
        viewer = self.start("mova-viewer")
        wait_until(lambda: os.path.exists(PRIVATE + "/KSDW_DEBUG.sock"), "the viewer")
        viewer.send_signal(signal.SIGSTOP)
        code, out, errors = self.mova("shell", given="at AT\n" * 500)
        self.assertEqual((code, out), (0, "OK\n" * 500), errors)
        viewer.send_signal(signal.SIGCONT)

    def test_go_on_with_a_locked_lock_file_of_a_process_that_was_killed(self):
        self.start_handset()
        log = self.path("home/a.log")
        self.expect_exchange("--log", log)
        holder = subprocess.Popen(as_user(STATION, sys.executable, "-I", "-c", LOCK + "\nprint(flush=True); input()", "LOCK_EX",
                                          PRIVATE + "/SUTLOG.lock"), stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.end, holder)
        holder.stdout.readline()
        waiting = self.start("mova", "--port", self.link, "--log", log, "at", "AT")
        time.sleep(0.5)
        self.assertIsNone(waiting.poll())  # of one user's processes one writes at a time
        holder.kill()
        self.assertEqual(waiting.communicate(timeout=GENEROUS)[0], "OK\n")
        self.expect_lines(log, 2)


class Viewers(NeighboursTest):
    def test_start_whoever_took_their_names(self):
        names = ["mova-viewer:" + folder + "/KSDW_DEBUG.sock" for folder in ("/tmp", PRIVATE)]
        self.assertTrue(self.neighbour(ABSTRACT, *names))
        self.assertTrue(self.neighbour(LISTEN, "/tmp/KSDW_DEBUG.sock"))
        viewer = self.start("mova-viewer", "--for", "0.2")
        _, errors = viewer.communicate(timeout=GENEROUS)
        self.assertEqual((viewer.returncode, errors),
                         (0, "mova-viewer: listening on %s/KSDW_DEBUG.sock; Ctrl-C ends\n" % PRIVATE))

    def test_have_a_place_for_each_user(self):
        first = self.start("mova-viewer")
        wait_until(lambda: os.path.exists(PRIVATE + "/KSDW_DEBUG.sock"), "the viewer")
        done = subprocess.run(as_user(NEIGHBOUR, self.path("mova-viewer"), "--for", "0.2"), capture_output=True, text=True,
                              cwd="/", env={"PATH": os.environ["PATH"]}, timeout=GENEROUS)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIsNone(first.poll())


class PlantedNames(NeighboursTest):
    def test_of_the_handsets_link_stay_and_are_told(self):
        link, dear = os.path.join(self.street, "handset"), self.path("home/dear")
        with open(dear, "w") as file:
            file.write("kept")
        os.chown(dear, STATION, STATION)
        self.assertTrue(self.neighbour("import os, sys; os.symlink(*sys.argv[1:])", dear, link))
        self.assertEqual(self.refusal("mova-handset", "--link", link), "mova-handset: %s: Operation not permitted\n" % link)
        self.assertEqual(os.readlink(link), dear)
        with open(dear) as file:
            self.assertEqual(file.read(), "kept")

    def test_in_the_temporary_folder_are_of_no_use(self):
        before = sorted(os.listdir(self.street))
        for end in (signal.SIGHUP, signal.SIGPIPE, signal.SIGKILL, signal.SIGTERM):
            handset = self.start_handset()  # a pseudo-terminal stays exclusive when its program is killed
            process = self.start("mova", "--port", os.path.realpath(self.link), "shell", stdin=subprocess.PIPE)
            process.stdin.write("at AT\n")
            process.stdin.flush()
            self.assertEqual(process.stdout.readline(), "OK\n")
            process.send_signal(end)
            process.communicate(timeout=GENEROUS)
            self.assertEqual(sorted(os.listdir(self.street)), before, end)
            self.end(handset)


def two_users():
    if os.geteuid() != 0:
        return "it needs root, to be two other users"
    if shutil.which("setpriv") is None:
        return "it needs setpriv, of the package util-linux"
    if subprocess.run(as_user(STATION, "true"), capture_output=True).returncode != 0:
        return "root may not become another user here"
    if subprocess.run(as_user(NEIGHBOUR, sys.executable, "-I", "-c", ""), capture_output=True).returncode != 0:
        return "other users may not run " + sys.executable
    return None


if __name__ == "__main__":
    missing = two_users()
    if missing:
        print("skipped: " + missing)
        sys.exit(SKIPPED)
    program = unittest.main(exit=False)
    good = program.result.wasSuccessful() and program.result.testsRun > 0
    if good:
        print("[  PASSED  ] %d tests." % program.result.testsRun)
    sys.exit(0 if good else 1)
