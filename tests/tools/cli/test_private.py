"""What the program leaves on the disk: files of what went over the line are their owner's alone, and nothing stays behind."""
import os
import signal

from bench import BenchTest, main, wait_until


def mode(path):
    return os.stat(path).st_mode & 0o777


class PrivateTest(BenchTest):
    def setUp(self):
        super().setUp()
        umask = os.umask(0o022)
        self.addCleanup(os.umask, umask)
        self.start_handset()

    def test_log_trace_dump_page_and_report_are_their_owners_alone(self):
        log, trace, dump, page, report = (self.path(name) for name in ("a.log", "a.trace", "a.e2p", "a.html", "a.xml"))
        self.assertEnds(self.ask("--log", log, "--trace", trace, "at", "AT"), 0)
        self.assertEnds(self.ask("e2p", "dump", dump, "--objects", "0x1234"), 0)
        self.assertEnds(self.mova("trace", trace, "--html", page), 0)
        self.assertEnds(self.ask("run", self.write("script", "at AT\n"), "--junit", report), 0)
        self.assertEqual([mode(path) for path in (log, trace, dump, page, report)], [0o600] * 5)

    def test_a_dump_is_its_owners_alone_while_it_grows(self):
        self.start_handset("--delay", "50")
        process = self.start("--port", "7", "e2p", "dump", self.path("a.e2p"), "--objects", "0x1000-0x10FF")
        wait_until(lambda: os.path.exists(self.path("a.e2p.part")), "the dump's beginning")
        self.assertEqual(mode(self.path("a.e2p.part")), 0o600)
        process.send_signal(signal.SIGINT)
        self.finish(process)

    def test_a_file_that_is_there_keeps_its_mode(self):
        log = self.write("a.log", "")
        os.chmod(log, 0o640)
        self.assertEnds(self.ask("--log", log, "at", "AT"), 0)
        self.assertEqual(mode(log), 0o640)
        self.assertIn("[AT] Send: AT", self.read("a.log"))

    def test_a_device_needs_nothing_in_the_temporary_folder(self):
        os.mkdir(self.path("tmp"))
        self.environment["TMPDIR"] = self.path("tmp")
        device = os.path.realpath(self.link)
        for end in (signal.SIGHUP, signal.SIGINT, signal.SIGKILL, signal.SIGTERM):
            process = self.start("--port", device, "monitor")
            wait_until(lambda: os.path.exists("/proc/%d/fd" % process.pid) and device in
                       [os.path.realpath("/proc/%d/fd/%s" % (process.pid, fd))
                        for fd in os.listdir("/proc/%d/fd" % process.pid)], "the open port")
            process.send_signal(end)
            self.finish(process)
            self.assertEqual(os.listdir(self.path("tmp")), [], end)
        self.environment["TMPDIR"] = self.path("missing")
        self.assertEnds(self.mova("--port", device, "at", "AT"), 0, "OK\n")


if __name__ == "__main__":
    main()
