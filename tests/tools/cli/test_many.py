"""A script on several stations side by side."""
import os
import pty
import signal
import subprocess
import xml.etree.ElementTree

from bench import GENEROUS, HANDSET, MOVA, BenchTest, main, wait_until

SCRIPT = """at AT+CSQ
capture rssi CSQ: (\\d+)
expect-value ${rssi} >= ${limit}
at AT
"""


class ManyTest(BenchTest):
    """Handsets at COM1, COM2, ... of the folder, those of the list alone with a fault."""

    def setUp(self):
        super().setUp()
        self.environment.update(XDG_CONFIG_HOME=self.folder)
        os.mkdir(self.path("mova"))
        self.write("s.mova", SCRIPT)

    def start_handsets(self, count, *options, first=1):
        ready = self.path("ready-%d" % first)
        links = [word for n in range(first, first + count) for word in ("--link", self.path("COM%d" % n))]
        process = subprocess.Popen([HANDSET, *links, "--ready-file", ready, "--baud-rate", "0", *options],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait, GENEROUS)
        self.addCleanup(process.terminate)
        wait_until(lambda: os.path.exists(ready), "the handsets")

    def stations(self, **limits):
        self.write("mova/stations.toml", "".join("[%s]\nport = %d\n[%s.variables]\nlimit = %d\n" % (name, port, name, limit)
                                                 for port, (name, limit) in enumerate(limits.items(), 1)))

    def test_four_handsets_pass(self):
        self.start_handsets(4)
        result = self.mova("run", "s.mova", "--ports", "1-3,COM4", "--set", "limit=5")
        self.assertEnds(result, 0)
        for name in ("COM1", "COM2", "COM3", "COM4"):
            steps = [line for line in result.lines if line.startswith(name + "    pass")]
            self.assertEqual([line.split(" s  ")[1] for line in steps], ["s.mova:1: at AT+CSQ", "s.mova:4: at AT"])
            self.assertIn(name + "  pass  2 steps: 2 passed, 0 failed, 0 not run", result.out)
        self.assertRegex(result.lines[-1], r"^4 stations: 4 passed, 0 failed, \d+\.\d\d s$")
        self.assertEqual(result.err, "")

    def test_one_that_fails_does_not_hold_the_others(self):
        self.start_handsets(2)
        self.stations(left=5, right=50)
        result = self.mova("run", "s.mova", "--stations", "left,right", "--junit", "report.xml")
        self.assertEnds(result, 1)
        self.assertIn("left   pass  2 steps: 2 passed, 0 failed, 0 not run", result.out)
        self.assertIn("right  FAIL  2 steps: 0 passed, 1 failed, 1 not run", result.out)
        problem = "s.mova:1: line 3: ${rssi} >= ${limit}: 21 is not >= 50"
        self.assertIn("             " + problem + "\n", result.out)
        self.assertEqual(result.err, "mova: 1 of 2 stations failed; right: %s\n" % problem)
        whole = xml.etree.ElementTree.parse(self.path("report.xml")).getroot()
        self.assertEqual((whole.tag, whole.get("tests"), whole.get("failures"), whole.get("skipped")), ("testsuites", "4", "1", "1"))
        self.assertEqual([(suite.get("name"), suite.get("tests"), suite.get("failures"), suite.find("properties/property").get("value"))
                          for suite in whole], [("left", "2", "0", "1"), ("right", "2", "1", "2")])
        self.assertEqual([case.get("classname") + " " + case.get("name") for case in whole.iter("testcase")],
                         ["left line 1: at AT+CSQ", "left line 4: at AT", "right line 1: at AT+CSQ", "right line 4: at AT"])

    def test_as_json(self):
        self.start_handsets(2)
        self.stations(left=5, right=50)
        result = self.mova("--json", "run", "s.mova", "--stations", "*")
        self.assertEnds(result, 1)
        self.assertEqual(result.err, "")
        answer = result.json()
        self.assertEqual([answer[name] for name in ("command", "ok", "file", "passed", "failed", "notRun")],
                         ["run", False, "s.mova", 2, 1, 1])
        left, right = answer["stations"]
        self.assertEqual([(s["station"], s["port"], s["status"], s["passed"], s["failed"], s["notRun"]) for s in (left, right)],
                         [("left", "1", 0, 2, 0, 0), ("right", "2", 1, 0, 1, 1)])
        self.assertEqual(left["steps"][0]["captured"], {"rssi": "21"})
        self.assertEqual(right["problem"], "s.mova:1: line 3: ${rssi} >= ${limit}: 21 is not >= 50")
        self.assertEqual(answer["error"]["status"], 1)

    def test_the_exit_code_is_the_worst(self):
        self.start_handsets(1)
        self.start_handsets(1, "--fault", "silence", first=2)
        self.stations(good=5, silent=5, strict=50)
        os.symlink(self.path("COM1"), self.path("COM4"))
        self.write("mova/stations.toml", "".join("[%s]\nport = %d\ntimeout = 1500\nvariables = { limit = %d }\n" % row for row in
                                                 (("good", 1, 5), ("strict", 1, 50), ("silent", 2, 5), ("gone", 9, 5))))
        for names, status in (("good", 0), ("strict", 1), ("silent,good", 4), ("strict,silent", 4), ("silent,gone", 3),
                              ("gone,good,silent", 3)):
            self.assertEnds(self.mova("run", "s.mova", "--stations", names), status)

    def test_each_has_its_own_session_trace_and_dump(self):
        self.start_handsets(2)
        self.write("dump.mova", "e2p write 0x1234 2 ${value}\ne2p dump ${station}.e2p --objects 0x1234 --records 2\n")
        self.write("mova/stations.toml", "".join("[%s]\nport = %d\nvariables = { value = '%s' }\n" % row for row in
                                                 (("left", 1, "AAAA"), ("right", 2, "BBBB"))))
        self.assertEnds(self.mova("--trace", "trace.log", "run", "dump.mova", "--stations", "left,right"), 0)
        for name, data, other in (("left", "AAAA", "BBBB"), ("right", "BBBB", "AAAA")):
            self.assertIn("4660 2 %s\n" % data, self.read(name + ".e2p"))
            self.assertIn(data, self.read("trace.%s.log" % name))
            self.assertNotIn(other, self.read("trace.%s.log" % name))
        self.assertFalse(os.path.exists(self.path("trace.log")))

    def test_everything_is_checked_before_anything_is_sent(self):
        self.start_handsets(2, "--log")
        self.stations(left=5)
        self.write("mova/stations.toml", "[left]\nport = 1\nvariables = { limit = 5 }\n[right]\nport = 2\n")
        self.assertEnds(self.mova("run", "s.mova", "--stations", "left", "--check"), 0,
                        "2 steps for each of 1 stations, well formed\n")
        result = self.mova("run", "s.mova", "--stations", "left,right")
        self.assertEnds(result, 2, "")
        self.assertIn('mova: s.mova:3:25: there is no variable "limit" here (station right)\n', result.err)

    def test_mistakes(self):
        self.stations(left=5, right=5)
        self.start_handsets(1)
        os.symlink(self.path("COM1"), self.path("COM8"))
        for options, said in ((("--stations", "left,rihgt"), 'there is no station "rihgt"; did you mean "right"?'),
                              (("--stations", "left,"), "a name is missing"), (("--stations", "x*"), "no station is called like x*"),
                              (("--stations", "left,left"), "left is named twice"), (("--ports", "0"), "numbered from 1"),
                              (("--ports", "1,8"), "COM1 and COM8 have the same port"),
                              (("--stations", "left", "--ports", "COM1"), "left and COM1 have the same port"),
                              (("--stations", "left", "--port", "7"), "neither --port nor --station goes with them")):
            result = self.mova("run", "s.mova", *options)
            self.assertEnds(result, 2, "")
            self.assertIn(said, result.err)

    def test_ctrl_c_ends_all_and_the_reports_are_written(self):
        self.start_handsets(2)
        self.write("long.mova", "at AT\nsleep 600000\nat AT\n")
        process = self.start("run", "long.mova", "--ports", "1,2", "--junit", "report.xml")
        self.assertIn("pass", process.stdout.readline())
        self.assertIn("pass", process.stdout.readline())
        process.send_signal(signal.SIGINT)
        result = self.finish(process)
        self.assertEnds(result, 5)
        whole = xml.etree.ElementTree.parse(self.path("report.xml")).getroot()
        self.assertEqual([(s.get("tests"), s.get("failures"), s.get("skipped")) for s in whole], [("3", "1", "1")] * 2)
        self.assertEqual([failure.get("message") for failure in whole.iter("failure")], ["interrupted"] * 2)

    def test_also_where_one_cannot_be_woken(self):
        self.start_handsets(1)
        self.start_handsets(1, "--fault", "silence", first=2)
        self.write("long.mova", "rf general 5 1\ntimeout 200000\nat AT\n")
        process = self.start("run", "long.mova", "--ports", "1,2", "--junit", "report.xml", "--json")
        wait_until(lambda: os.path.exists("/proc/%d/fd" % process.pid) and os.path.realpath(self.path("COM2")) in
                   [os.path.realpath("/proc/%d/fd/%s" % (process.pid, fd)) for fd in os.listdir("/proc/%d/fd" % process.pid)],
                   "the open port")
        process.send_signal(signal.SIGINT)
        result = self.finish(process)
        self.assertEnds(result, 5)
        hanging = result.json()["stations"][1]
        self.assertEqual([(s["text"], s["verdict"], s["problem"]) for s in hanging["steps"]],
                         [("rf general 5 1", "failed", "interrupted"), ("at AT", "not run", "")])
        self.assertEqual(xml.etree.ElementTree.parse(self.path("report.xml")).getroot().get("failures"),
                         str(sum(s["failed"] for s in result.json()["stations"])))

    def on_a_terminal(self, *arguments, rows=24):
        main_end, terminal = pty.openpty()
        os.set_inheritable(terminal, True)
        subprocess.run(["stty", "rows", str(rows), "cols", "60"], stdin=terminal, check=True)
        process = subprocess.Popen([MOVA, *arguments], stdin=subprocess.DEVNULL, stdout=terminal, stderr=terminal, cwd=self.folder,
                                   env=self.environment)
        os.close(terminal)
        shown = b""
        try:
            while chunk := os.read(main_end, 65536):
                shown += chunk
        except OSError:
            pass  # the other end is closed
        os.close(main_end)
        return process.wait(GENEROUS), shown.decode()

    def test_on_a_terminal_one_line_each_is_kept_up_to_date(self):
        self.start_handsets(2)
        self.stations(left=5, right=50)
        status, shown = self.on_a_terminal("--colour", "never", "run", "s.mova", "--stations", "left,right")
        self.assertEqual(status, 1)
        self.assertRegex(shown, r"\x1b\[2Kleft      2/2 steps +\d+\.\d s  pass\r\n\x1b\[2Kright     1/2 steps +\d+\.\d s  FAIL  s\.mova:1: line 3: \$\{rss\r\n")
        self.assertIn("\x1b[2A", shown)
        self.assertNotIn("pass    0", shown)  # no line for each step
        end = shown[shown.rindex("\x1b[J") + 3:]
        self.assertTrue(end.startswith("left   pass  2 steps: "), end)

    def test_no_more_lines_than_the_terminal_has(self):
        self.start_handsets(4)
        status, shown = self.on_a_terminal("run", "s.mova", "--ports", "1-4", "--set", "limit=5", rows=3)
        self.assertEqual(status, 0)
        self.assertIn("\x1b[2K... and 3 more\r\n", shown)
        self.assertNotIn("\x1b[3A", shown)


if __name__ == "__main__":
    main()
