"""The simulated handset that is built in: no port, no cable and no second program."""
import json
import os
import re

from bench import BenchTest, main
from person import Terminal


class SimTest(BenchTest):
    def sim(self, *arguments, **options):
        return self.mova("--port", "sim", *arguments, **options)


class CommandsTest(SimTest):
    def test_at(self):
        self.assertEnds(self.sim("at", "AT+CSQ"), 0, "+CSQ: 21,99\nOK\n")
        result = self.sim("at", "AT+NOSUCH")
        self.assertEnds(result, 1, "ERROR\n")
        self.assertEqual(result.err, "mova: the handset refused AT+NOSUCH: ERROR\n")

    def test_info(self):
        result = self.sim("info")
        self.assertEnds(result, 0)
        self.assertIn("port                    sim", result.lines)
        self.assertIn("IMEI                    490154203237518", result.lines)
        self.assertIn("flash status            Status:0,Count:0", result.lines)

    def test_rf_hci_and_wifi(self):
        self.assertEnds(self.sim("rf", "general", "5", "0x102"), 0, "05000201\n")
        self.assertEnds(self.sim("hci", "0", "0102"), 0, "000102\n")
        self.assertEnds(self.sim("wifi", "0x21", "AA:BB"), 0, "AABB\n")

    def test_e2p_dump_change_and_restore_in_one_session(self):
        session = ("e2p dump store.e2p --objects 0x1234 --records 1-2\ne2p write 0x1234 2 A55A\n"
                   "e2p diff store.e2p\ne2p restore store.e2p\ne2p read 0x1234 2\n")
        result = self.sim("shell", given=session)
        self.assertEqual(result.lines, ["2 objects in store.e2p", "2 bytes written and read back",
                                        "object 0x1234 record 2", "  bytes 0-1: file FFFF, handset A55A",
                                        "1 object written and read back, 1 right already", "FFFF"],
                         result)

    def test_the_next_program_has_a_new_handset(self):
        self.assertEnds(self.sim("e2p", "write", "0x1234", "2", "A55A"), 0, "2 bytes written and read back\n")
        self.assertEnds(self.sim("e2p", "read", "0x1234", "2"), 0, "FFFF\n")

    def test_raw_bytes(self):
        self.assertEnds(self.sim("raw", "write", "41540D", "--read"), 0, "41540D0D0A4F4B0D0A\n")

    def test_signals_as_by_a_null_modem_cable(self):
        self.assertEnds(self.sim("signals"), 0, "CTS on  DSR on  RING off  CARRIER on\n")
        self.assertEnds(self.sim("signals", "rts=off"), 0, "CTS off  DSR on  RING off  CARRIER on\n")
        self.assertEnds(self.sim("signals", "dtr=off"), 0, "CTS on  DSR off  RING off  CARRIER off\n")

    def test_monitor(self):
        profile = self.write("busy.toml", "[line]\nunsolicited_ms = 20\n")
        result = self.mova("--port", "sim:" + profile, "monitor", "--count", "3")
        self.assertEnds(result, 0)
        self.assertEqual(len(result.lines), 3, result)

    def test_terminal(self):
        self.assertEnds(self.sim("terminal", "--quiet", "2000", given="AT+CSQ\r\n"), 0, "AT+CSQ\n+CSQ: 21,99\n\nOK\n")

    def test_shell_at_a_terminal(self):
        person = Terminal(self, "--port", "sim", "shell")
        person.prompt()
        person.type("at AT+CGMM\n")
        self.assertIn("AM-1", person.prompt())
        person.type("exit\n")
        self.assertEqual(person.wait(), 0)

    def test_script(self):
        script = self.write("s.mova", "at AT+CSQ\nexpect +CSQ: *\ne2p read 0x7777 1\nexpect-code E2pStatus3\n")
        result = self.sim("run", script)
        self.assertEnds(result, 0)
        self.assertRegex(result.lines[-1], r"^2 steps: 2 passed, 0 failed, 0 not run, \d+\.\d+ s$")

    def test_json(self):
        self.assertEqual(self.sim("--json", "e2p", "read", "0x1234", "2").json(),
                         {"command": "e2p read", "ok": True, "object": 4660, "record": 2, "offset": 0, "bytes": 2,
                          "data": "FFFF"})

    def test_trace(self):
        self.assertEnds(self.sim("--trace", "t.log", "rf", "general", "5", "1"), 0, "05000100\n")
        self.assertIn("Get Driver Name: Simulated Handset (sim)\t", self.read("t.log"))
        summary = self.mova("trace", "t.log")
        self.assertEnds(summary, 0)
        self.assertIn(", 1 exchange in ", summary.lines[0])


class NamesTest(SimTest):
    def test_a_fault(self):
        result = self.mova("--port", "sim:silence", "--timeout", "200", "at", "AT")
        self.assertEnds(result, 4, "")
        self.assertIn("mova: AT was not answered to its end\n  0x4004 NoAnswer", result.err)

    def test_a_fault_for_so_many_answers(self):
        result = self.mova("--port", "sim:wrong-checksum=1", "e2p", "read", "0x1234", "2")
        self.assertEnds(result, 0, "FFFF\n")
        self.assertEqual(result.err, "object 0x1234 record 2: the confirmation is damaged: its checksum is wrong; "
                                     "try 2 of 3\n")

    def test_a_line_that_goes_down_comes_back(self):
        result = self.mova("--port", "sim:hang-up=1", "shell", given="at AT\nat AT+CSQ\n")
        self.assertEnds(result, 0, "+CSQ: 21,99\nOK\n")
        self.assertIn("mova: AT was not answered to its end: the port went down\n", result.err)
        self.assertRegex(result.err, r"sim:hang-up=1 is gone; waiting for it\nsim:hang-up=1 is back after \d+\.\d s\n")

    def test_a_profile(self):
        self.write("my.toml", '[identity]\nmodel = "AM-9"\n')
        self.assertEnds(self.mova("--port", "sim:my.toml", "at", "AT+CGMM"), 0, "AM-9\nOK\n")

    def test_a_profile_can_keep_the_objects(self):
        self.write("kept.toml", '[e2p]\nfile = "kept.txt"\n')
        self.assertEnds(self.mova("--port", "sim:kept.toml", "e2p", "write", "0x1234", "2", "A55A"), 0)
        self.assertIn("4660 2 A55A\n", self.read("kept.txt"))
        self.assertEnds(self.mova("--port", "sim:kept.toml", "e2p", "read", "0x1234", "2"), 0, "A55A\n")

    def test_objects_that_cannot_be_kept(self):
        self.write("kept.toml", '[e2p]\nfile = "none/kept.txt"\n')
        result = self.mova("--port", "sim:kept.toml", "e2p", "write", "0x1234", "2", "A55A")
        self.assertEnds(result, 7)
        self.assertIn("mova: the simulated handset's objects could not be written to none/kept.txt\n", result.err)

    def test_mistakes(self):
        self.write("bad.toml", "[line]\necho = 1\n")
        for name, told in [("silense", 'mova: "silense" is no fault of a simulated handset, and no profile of this name '
                                       "is there\n  hint: the faults are silence, wrong-checksum, "),
                           ("silence=0", "mova: silence=0: the count must be a number above 0\n"),
                           ("bad.toml", "mova: bad.toml:2:8: expected true or false\n")]:
            with self.subTest(name):
                result = self.mova("--port", "sim:" + name, "at", "AT")
                self.assertEnds(result, 2, "")
                self.assertTrue(result.err.startswith(told), result)

    def test_a_machine_that_is_called_sim_is_no_simulated_handset(self):
        result = self.mova("--port", "sim:1", "at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("mova: sim:1", result.err)

    def test_the_environment_and_the_stations_name_it(self):
        self.environment.update(MOVA_PORT="sim", XDG_CONFIG_HOME=self.folder)
        self.assertEnds(self.mova("at", "AT"), 0, "OK\n")
        os.mkdir(self.path("mova"))
        self.write("mova/stations.toml", '[desk]\nport = "sim:silence=1"\n[other]\nport = "sim"\n')
        self.assertEnds(self.mova("--station", "desk", "--timeout", "200", "at", "AT"), 4, "")
        result = self.mova("run", self.write("s.mova", "at AT\nexpect OK\n"), "--stations", "*", "--timeout", "200")
        self.assertEnds(result, 4)
        self.assertEqual([line.split()[:2] for line in result.lines if re.match(r"(desk|other) .* steps?: ", line)],
                         [["desk", "FAIL"], ["other", "pass"]])

    def test_it_is_listed_nowhere_and_named_where_no_port_is(self):
        self.environment["MOVA_SYSROOT"] = self.folder
        result = self.mova("ports")
        self.assertEnds(result, 0, "no ports\n")
        self.assertIn("--port sim is a simulated handset\n", result.err)
        unnamed = self.mova("at", "AT")
        self.assertEnds(unnamed, 2, "")
        self.assertIn("mova: no port is named and none is there\n", unnamed.err)
        self.assertIn("--port sim is a simulated handset\n", unnamed.err)


class SideBySideTest(SimTest):
    def test_each_is_a_handset_of_its_own(self):
        script = self.write("s.mova", "e2p read 0x1234 2\nexpect FFFF\ne2p write 0x1234 2 ${mine}\nsleep 300\n"
                                      "e2p read 0x1234 2\nexpect ${mine}\n")
        os.mkdir(self.path("mova"))
        self.write("mova/stations.toml", '[a]\nport = "sim"\nvariables = { mine = "AAAA" }\n'
                                         '[b]\nport = "sim"\nvariables = { mine = "BBBB" }\n')
        self.environment["XDG_CONFIG_HOME"] = self.folder
        result = self.mova("run", script, "--stations", "a,b", "--json")
        self.assertEnds(result, 0)
        self.assertTrue(json.loads(result.lines[-1])["ok"])

    def test_ports_of_the_same_name_are_told_apart(self):
        script = self.write("s.mova", "at AT\nexpect OK\n")
        result = self.mova("run", script, "--ports", "sim,sim,sim", "--trace", "t.log")
        self.assertEnds(result, 0)
        self.assertEqual(sorted(line.split()[0] for line in result.lines if " steps: " in line or " step: " in line),
                         ["sim", "sim.2", "sim.3"])
        self.assertEqual(sorted(name for name in os.listdir(self.folder) if name.startswith("t.")),
                         ["t.sim.2.log", "t.sim.3.log", "t.sim.log"])

    def test_two_do_not_keep_their_objects_in_one_file(self):
        self.write("kept.toml", '[e2p]\nfile = "kept.txt"\n')
        script = self.write("s.mova", "at AT\n")
        result = self.mova("run", script, "--ports", "sim:kept.toml,sim:%s" % self.path("kept.toml"))
        self.assertEnds(result, 2, "")
        self.assertIn(" have the same port: ", result.err)


main()
