"""Output that is lost, pipes that nobody reads, and what stands when the program is told to end."""
import os
import pty
import resource
import select
import signal
import subprocess
import time
import tty

from bench import GENEROUS, MOVA, BenchTest, main, wait_until

FULL = "No space left on device"


class FullDiskTest(BenchTest):
    """/dev/full takes nothing, as a disk without space."""

    def setUp(self):
        super().setUp()
        self.start_handset()

    def to_full_output(self, *arguments, given=""):
        with open("/dev/full", "w") as full:
            process = subprocess.Popen([MOVA, *arguments], stdin=subprocess.PIPE, stdout=full, stderr=subprocess.PIPE,
                                       text=True, cwd=self.folder, env=self.environment)
            return self.finish(process, given)

    def finish(self, process, given=None):
        if process.stdout is None:
            process.stdout = open(os.devnull)
            self.addCleanup(process.stdout.close)
        return super().finish(process, given)

    def test_of_the_standard_output(self):
        script = self.write("script", "at AT\n")
        for arguments in (("--port", "7", "at", "AT"), ("--port", "7", "--json", "at", "AT"), ("--port", "7", "run", script),
                          ("--port", "7", "monitor", "--count", "1", "--send", "AT"), ("ports",), ("ports", "--json"),
                          ("--port", "9", "--json", "at", "AT"), ("--help",), ("--version",), ("--man-page",)):
            result = self.to_full_output(*arguments)
            self.assertEnds(result, 3 if "9" in arguments else 7)
            self.assertIn("mova: the standard output cannot be written: " + FULL, result.err, arguments)

    def test_ends_a_session(self):
        result = self.to_full_output("--port", "7", "shell", given="at AT\nat AT+CSQ\n")
        self.assertEnds(result, 7)
        self.assertIn("mova: the standard output cannot be written: " + FULL, result.err)
        self.assertNotIn("CSQ", self.read("handset.log"))

    def test_of_the_trace_or_the_log(self):
        for option in ("--trace", "--log"):
            result = self.ask(option, "/dev/full", "at", "AT")
            self.assertEnds(result, 7, "OK\n")
            self.assertIn("mova: /dev/full could not be written, and does not hold all that was sent and received\n", result.err)
            answer = self.ask(option, "/dev/full", "--json", "at", "AT")
            self.assertEnds(answer, 7)
            self.assertEqual((answer.json()["ok"], answer.json()["error"]["status"]), (False, 7))

    def test_of_the_trace_while_a_session_goes_on(self):
        limited = self.path("trace")
        result = self.finish(self.start("--port", "7", "--trace", limited, "shell", stdin=subprocess.PIPE,
                                        preexec_fn=lambda: (resource.setrlimit(resource.RLIMIT_FSIZE, (400, 400)),
                                                            signal.signal(signal.SIGXFSZ, signal.SIG_IGN))),
                             "at AT\nat AT+CGMR\n" + "at AT+CSQ\n" * 4)
        self.assertEnds(result, 7)
        self.assertIn("mova: %s could not be written" % limited, result.err)
        self.assertEqual(os.path.getsize(limited), 400)


class PipeWithoutReaderTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset()
        os.mkfifo(self.path("pipe"))

    def test_of_files_that_are_written(self):
        script = self.write("script", "at AT\n")
        self.assertEnds(self.ask("--trace", self.path("trace"), "at", "AT"), 0)
        for arguments, name in ((("--trace", "pipe", "at", "AT"), "--trace pipe"), (("--log", "pipe", "at", "AT"), "--log pipe"),
                                (("run", script, "--junit", "pipe"), "pipe"), (("trace", "trace", "--html", "pipe"), "pipe")):
            result = self.ask(*arguments)
            self.assertEnds(result, 7)
            self.assertIn("mova: %s is a pipe without a reader\n" % name, result.err)

    def test_a_log_is_read_from_a_pipe(self):
        reader = subprocess.Popen(["cat", self.path("pipe")], stdout=subprocess.PIPE, text=True)
        with open(self.path("pipe"), "w"):  # keeps the reader from ending between two lines
            self.assertEnds(self.ask("--log", "pipe", "at", "AT"), 0, "OK\n")
        self.assertIn("[AT] Send: AT", reader.communicate()[0])

    def test_whose_reader_left(self):
        self.start_handset("--unsolicited", "50")
        for more in ((), ("--json",)):
            process = self.start("--port", "7", *more, "monitor")
            process.stdout.readline()
            process.stdout.close()
            process.stdout = open(os.devnull)
            result = self.finish(process)
            process.stdout.close()
            self.assertEnds(result, 7)
            self.assertRegex(result.err, "mova: (the standard output cannot be written: Broken pipe|nobody reads the standard output any more)\n")

    def test_whose_reader_left_while_nothing_is_shown(self):
        process = self.start("--port", "7", "monitor")
        self.assertIn("watching", process.stderr.readline())
        process.stdout.close()
        process.stdout = open(os.devnull)
        result = self.finish(process)
        process.stdout.close()
        self.assertEnds(result, 7)
        self.assertEqual(result.err, "mova: nobody reads the standard output any more\n")


class FirstSignalTest(BenchTest):
    """Whatever stands, the first of these ends it."""

    SIGNALS = (signal.SIGINT, signal.SIGTERM)

    def assertSignalEnds(self, start):
        for number in self.SIGNALS:
            process = start()
            wait_until(lambda: self.settles(process), "what stands")
            process.send_signal(number)
            process.wait(GENEROUS)  # before anything is read
            result = self.finish(process)
            self.assertEnds(result, 5)
            self.assertIn("mova: interrupted", result.err)

    def settles(self, process):
        """Minds signals, and sleeping for a while: in the call that is meant, and no longer on its way there."""
        minded = sum(1 << (number - 1) for number in self.SIGNALS)
        for _ in range(20):
            time.sleep(0.02)
            with open("/proc/%d/status" % process.pid) as file:
                status = dict(line.split(":\t", 1) for line in file if ":\t" in line)
            if status["State"][0] != "S" or int(status["SigCgt"], 16) & minded != minded:
                return False
        return True

    def test_a_session_that_waits_for_a_line(self):
        self.assertSignalEnds(lambda: self.start("shell", stdin=subprocess.PIPE))

    def test_a_script_that_is_not_written_yet(self):
        self.assertSignalEnds(lambda: self.start("run", "-", stdin=subprocess.PIPE))
        os.mkfifo(self.path("script"))
        self.assertSignalEnds(lambda: self.start("run", "script"))

    def test_a_trace_whose_writer_stands(self):
        os.mkfifo(self.path("trace"))
        writer = os.open(self.path("trace"), os.O_RDWR)
        self.addCleanup(os.close, writer)
        self.assertSignalEnds(lambda: self.start("trace", "trace"))

    def test_an_output_that_nobody_takes(self):
        script = self.write("script", ("echo " + "x" * 200 + "\n") * 1000)
        self.assertSignalEnds(lambda: self.start("run", script))

    def test_a_write_that_the_port_does_not_take(self):
        for number in self.SIGNALS:
            master, slave = pty.openpty()  # nobody reads the far end
            self.addCleanup(os.close, master)
            self.addCleanup(os.close, slave)
            tty.setraw(slave)
            process = self.start("--port", os.ttyname(slave), "--timeout", "200000", "raw", "write", "--text", "x" * 100_000)
            wait_until(lambda: select.select([master], [], [], 0)[0], "the bytes")
            wait_until(lambda: self.settles(process), "what stands")
            process.send_signal(number)
            result = self.finish(process)
            self.assertEnds(result, 5, "")
            self.assertEqual(result.err, "mova: interrupted\n")

    def test_a_session_told_to_end_is_not_left_with_its_next_command(self):
        self.start_handset()
        process = self.start("--port", "7", "shell", stdin=subprocess.PIPE)
        process.stdin.write("raw read --for 60000\nat AT+CSQ\n")
        process.stdin.flush()
        wait_until(lambda: self.settles(process), "the reading")
        process.send_signal(signal.SIGTERM)
        self.assertEnds(self.finish(process), 5, "")
        self.assertNotIn("CSQ", self.read("handset.log"))


if __name__ == "__main__":
    main()
