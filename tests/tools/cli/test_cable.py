"""A pulled cable: noticed, told, waited for, and the port opened again as it was."""
import json
import os
import signal
import subprocess
import time
import unittest
import xml.etree.ElementTree

from bench import BUILD, GENEROUS, BenchTest, main, wait_until
from person import Terminal

MODEM_LINES = os.path.join(BUILD, "libmodem-lines.so")


class CableTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset()

    def start_handset(self, *options):
        super().start_handset("--cable", self.path("cable"), *options)

    def move(self, way):
        with open(self.path("cable." + way), "w"):
            pass
        wait_until(lambda: not os.path.exists(self.path("cable." + way)), "the cable")

    def pull(self):
        self.move("out")

    def put_back(self):
        self.move("in")

    def requests(self):
        return [line.split("<- ", 1)[1].rstrip("\n") for line in self.read("handset.log").splitlines() if "<- " in line]

    def until_asked(self, command, times=1):
        wait_until(lambda: self.requests().count(command) >= times, command)


class MonitorTest(CableTest):
    def test_it_goes_on_with_the_device_that_the_link_names_now(self):
        monitor = self.start("--port", self.link, "monitor", "--count", "1")
        self.assertEqual(os.path.realpath(self.link), self.open_device(monitor))
        before = os.path.realpath(self.link)
        # The old node stays taken: the one behind the link is another when it is back.
        holder = os.open(before, os.O_RDWR | os.O_NOCTTY)
        self.addCleanup(os.close, holder)
        self.pull()
        self.assertEqual(monitor.stderr.readline(), self.link + " is gone; waiting for it\n")
        self.put_back()
        self.assertNotEqual(os.path.realpath(self.link), before)
        self.assertRegex(monitor.stderr.readline(), self.link + r" is back after \d+\.\d s\n")
        self.assertEqual(os.path.realpath(self.link), self.open_device(monitor))
        monitor.send_signal(signal.SIGINT)
        self.assertEqual(self.finish(monitor).status, 5)

    def open_device(self, process):
        folder = "/proc/%d/fd" % process.pid

        def found():
            for descriptor in os.listdir(folder):
                name = os.path.realpath(os.path.join(folder, descriptor))
                if name.startswith("/dev/pts/"):
                    return name
            return None
        wait_until(found, "the open port")
        return found()

    def test_what_comes_afterwards_is_shown(self):
        self.start_handset("--unsolicited", "100")
        monitor = self.start("-p", "7", "monitor", "--json")
        self.assertRegex(json.loads(monitor.stdout.readline())["text"], "^7E")
        self.pull()
        seen = []
        while not seen or "port" not in seen[-1]:
            seen.append(json.loads(monitor.stdout.readline()))
        self.assertEqual(seen[-1]["port"], "gone")
        self.put_back()
        self.assertEqual(json.loads(monitor.stdout.readline())["port"], "back")
        self.assertRegex(json.loads(monitor.stdout.readline())["text"], "^7E")
        monitor.send_signal(signal.SIGINT)
        out, _ = monitor.communicate()
        last = json.loads(out.splitlines()[-1])
        self.assertEqual((monitor.returncode, last["ok"], last["portLost"]), (0, True, 1))

    def test_no_reconnect_ends(self):
        monitor = self.start("-p", "7", "monitor", "--no-reconnect")
        self.assertIn("watching COM7", monitor.stderr.readline())
        self.pull()
        result = self.finish(monitor)
        self.assertEnds(result, 6, "")
        self.assertIn("mova: watching ended: the port went down\n  0x4340 ReadFailed", result.err)

    def test_a_port_that_stays_away_is_a_failure_when_the_time_is_over(self):
        monitor = self.start("-p", "7", "monitor", "--seconds", "2")
        self.open_device(monitor)
        self.pull()
        result = self.finish(monitor)
        self.assertEnds(result, 6, "")
        self.assertIn("COM7 is gone; waiting for it\nmova: watching ended: the port went down\n", result.err)


class CommandTest(CableTest):
    """The wait for an answer that cannot come any more ends with the port, not with its time."""

    def test_a_wait_ends_with_the_port(self):
        for command, request, code in (("at ATI", "ATI", "ReadFailed"), ("e2p read 0x1234 2", "AT*MOVA=0C0080010106008000341202002E", "ReadFailed"),
                                       ("rf general 5 0x0102", "AT*MOVA=090005000201000000000F", "ReadFailed")):
            self.start_handset("--fault", "silence")
            process = self.start("-p", "7", "-t", "170000", "--json", *command.split())
            self.until_asked(request)
            begin = time.monotonic()
            self.pull()
            result = self.finish(process)
            self.assertEnds(result, 6)
            self.assertEqual(result.json()["error"]["name"], code)
            self.assertLess(time.monotonic() - begin, 100)  # of 170


class RunTest(CableTest):
    def run_while(self, script, *options):
        self.write("s.mova", script)
        return self.start("-p", "7", "-t", "170000", "run", "s.mova", *options)

    def verdicts(self, result):
        return [(line[2:6], line.split("s.mova:")[1]) for line in result.lines if " s.mova:" in line]

    def test_the_step_under_way_fails_and_the_others_wait(self):
        self.start_handset("--fault", "silence=1")
        run = self.run_while("at ATI\nat AT+CSQ\nexpect +CSQ: 21,99\nat AT\n", "--junit", "r.xml")
        self.until_asked("ATI")
        self.pull()
        self.assertEqual(run.stderr.readline(), "COM7 is gone; waiting for it\n")
        self.put_back()
        result = self.finish(run)
        self.assertEnds(result, 6)
        self.assertEqual(self.verdicts(result), [("FAIL", "1: at ATI"), ("pass", "2: at AT+CSQ"), ("pass", "4: at AT")])
        self.assertIn("        the port went away\n", result.out)
        self.assertRegex(result.out, r"\n  back +\d+\.\d\d s  the port was gone for \d+\.\d s\n  pass .* 2: at AT\+CSQ\n".replace(" 2:", ":2:"))
        self.assertRegex(result.err, r"^COM7 is back after \d+\.\d s\nmova: s.mova:1: the port went away\n$")
        self.assertEqual(self.requests(), ["ATI", "AT+CSQ", "AT"])  # nothing is sent twice
        cases = xml.etree.ElementTree.parse(self.path("r.xml")).getroot()
        self.assertEqual(cases[0].find("failure").get("message"), "the port went away")
        self.assertIn("the port was gone for", cases[1].find("system-out").text)

    def test_it_is_never_the_failure_that_was_expected(self):
        self.start_handset("--fault", "silence")
        run = self.run_while("at ATI\nexpect-failure\n")
        self.until_asked("ATI")
        self.pull()
        result = self.finish(run)
        self.assertEnds(result, 6)
        self.assertEqual(self.verdicts(result), [("FAIL", "1: at ATI")])

    def test_a_sleep_outlives_it(self):
        run = self.run_while("at AT\nsleep 3000\nat AT+CSQ\n", "--json")
        self.until_asked("AT")
        self.pull()
        self.put_back()
        result = self.finish(run)
        self.assertEnds(result, 0)
        answer = result.json()
        self.assertEqual(([step["verdict"] for step in answer["steps"]], answer["portLost"]), (["passed"] * 3, 1))
        self.assertIn("the port was gone for", answer["steps"][1]["output"][0])

    def test_no_reconnect_ends(self):
        for script, failed in (("at ATI\nat AT\n", ("FAIL", "1: at ATI")), ("at ATI\nsleep 170000\n", ("FAIL", "2: sleep 170000"))):
            self.start_handset(*(("--fault", "silence") if "sleep" not in script else ()))
            run = self.run_while(script, "--no-reconnect", "--keep-going")
            self.until_asked("ATI")
            self.pull()
            result = self.finish(run)
            self.assertEnds(result, 6)
            self.assertEqual(self.verdicts(result)[-1], failed)

    def test_ctrl_c_ends_the_waiting(self):
        run = self.run_while("at AT\nsleep 1000\nat AT\n")
        self.until_asked("AT")
        self.pull()
        self.assertEqual(run.stderr.readline(), "COM7 is gone; waiting for it\n")
        time.sleep(1.5)  # beyond the sleep
        run.send_signal(signal.SIGINT)
        result = self.finish(run)
        self.assertEnds(result, 5)


class ShellTest(CableTest):
    def test_at_the_prompt(self):
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("at AT\n")
        terminal.until("OK")
        terminal.prompt()
        terminal.type("at AT+C")
        terminal.until("at AT\\+C")
        self.pull()
        terminal.until("COM7 is gone; waiting for it")
        self.put_back()
        terminal.until("COM7 is back after")
        terminal.type("SQ\n")  # what was being typed is still there
        terminal.until("\\+CSQ: 21,99\r\n")
        terminal.prompt()
        terminal.type("exit\n")
        self.assertEqual(terminal.wait(), 0)

    def test_a_command_waits_for_the_port(self):
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("at AT\n")
        terminal.until("OK")
        terminal.prompt()
        self.pull()
        terminal.until("is gone")
        terminal.type("at AT+CSQ\n")
        terminal.until("at AT\\+CSQ\r\n")
        self.put_back()
        terminal.until("is back after")
        terminal.until("\\+CSQ: 21,99\r\n")
        terminal.prompt()
        terminal.type("exit\n")
        self.assertEqual(terminal.wait(), 0)

    @unittest.skipUnless(os.path.exists(MODEM_LINES), "a build without the modem lines of pseudo-terminals")
    def test_lines_stay_as_they_were_set(self):
        self.environment.update(LD_PRELOAD=MODEM_LINES, MODEM_LINES=self.folder)
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("signals rts=off\n")
        terminal.until("CTS off")
        terminal.prompt()
        self.assertEqual(self.raised(), "DTR")
        self.pull()
        terminal.until("is gone")
        self.put_back()
        terminal.until("is back after")
        self.assertEqual(self.raised(), "DTR")
        terminal.type("exit\n")
        self.assertEqual(terminal.wait(), 0)

    def raised(self):
        return self.read(os.path.basename(os.path.realpath(self.link)) + ".out").strip()

    def test_from_a_pipe(self):
        shell = self.start("-p", "7", "shell", stdin=-1)
        shell.stdin.write("at AT\n")
        shell.stdin.flush()
        self.assertEqual(shell.stdout.readline(), "OK\n")
        self.pull()
        self.assertEqual(shell.stderr.readline(), "COM7 is gone; waiting for it\n")
        self.put_back()
        self.assertIn("COM7 is back after", shell.stderr.readline())
        self.assertEnds(self.finish(shell, "at AT\n"), 0, "OK\n")

    def test_no_reconnect_ends(self):
        shell = self.start("-p", "7", "shell", "--no-reconnect", stdin=-1)
        shell.stdin.write("at AT\n")
        shell.stdin.flush()
        self.assertEqual(shell.stdout.readline(), "OK\n")
        self.pull()
        shell.wait()
        out, err = shell.stdout.read(), shell.stderr.read()
        shell.stdin.close()
        shell.stdout.close()
        shell.stderr.close()
        self.assertEqual((shell.returncode, out), (6, ""))
        self.assertIn("mova: COM7 is gone: the port went down\n", err)


class NameTest(CableTest):
    """Two handsets by path are told apart."""

    def test_in_the_trace(self):
        self.assertEnds(self.mova("-p", self.link, "--trace", "t", "at", "AT"), 0)
        trace = self.read("t")
        self.assertIn("Get Driver Name: Pseudo-terminal (COM7)", trace)
        os.symlink(os.path.realpath(self.link), self.path("left"))
        self.assertEnds(self.mova("-p", "./left", "--trace", "u", "at", "AT"), 0)
        trace = self.read("u")
        self.assertIn("Get Driver Name: Pseudo-terminal (left)", trace)
        self.assertIn("CreateFile DeviceName: \\\\.\\left\t", trace)
        self.assertNotIn("COM", trace.replace("Com Port", ""))

    def test_on_the_debug_channel(self):
        os.symlink(os.path.realpath(self.link), self.path("left"))
        viewer = self.viewer("--object", "left", "--match", "Driver Name", "--count", "1")
        self.assertEnds(self.mova("-p", self.path("left"), "shell", given="at AT+CSQ\nexit\n"), 0)
        out, _ = viewer.communicate(timeout=GENEROUS)
        self.assertRegex(out, r" MovaCmdSvr:\(left\) ")

    def viewer(self, *arguments):
        viewer = subprocess.Popen([os.path.join(BUILD, "mova-viewer"), *arguments], stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True, cwd=self.folder, env=self.environment)
        self.addCleanup(viewer.wait)
        self.addCleanup(viewer.kill)
        self.assertIn("listening", viewer.stderr.readline())
        return viewer


if __name__ == "__main__":
    main()
