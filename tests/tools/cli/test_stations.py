"""The file of stations: who wins, and what is said of its mistakes."""
import fcntl
import os
import struct
import subprocess

from bench import BenchTest, main

TCGETS2 = 0x802C542A  # with rates of any number, the last two of its 44 bytes

TWO = """[right]
port = 9
[left]
port = 7
baud = 57600
timeout = 3000
[left.variables]
operator = "ACME"
limit = 10
"""


class StationsTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.environment.update(XDG_CONFIG_HOME=self.folder)
        os.mkdir(self.path("mova"))

    def stations(self, text):
        return self.write("mova/stations.toml", text)

    def test_they_are_listed_in_the_files_order(self):
        self.stations(TWO)
        result = self.mova("stations")
        self.assertEnds(result, 0)
        self.assertEqual([" ".join(line.split()) for line in result.lines],
                         ["STATION PORT BAUD TIMEOUT VARIABLES", "right 9 - -", "left 7 57600 3000 limit = 10, operator = ACME"])

    def test_as_json(self):
        path = self.stations(TWO)
        self.assertEqual(self.mova("--json", "stations").json(),
                         {"command": "stations", "ok": True, "file": path,
                          "stations": [{"name": "right", "port": "9", "baud": None, "timeout": None, "variables": {}},
                                       {"name": "left", "port": "7", "baud": 57600, "timeout": 3000,
                                        "variables": {"limit": "10", "operator": "ACME"}}]})

    def test_without_the_file_there_are_none(self):
        result = self.mova("stations")
        self.assertEnds(result, 0, "no stations\n")
        self.assertIn(self.path("mova/stations.toml"), result.err)

    def test_the_home_has_the_file_where_no_other_folder_is_told(self):
        os.makedirs(self.path("home/.config/mova"))
        self.write("home/.config/mova/stations.toml", TWO)
        for elsewhere in ("", "relative"):
            self.environment.update(HOME=self.path("home"), XDG_CONFIG_HOME=elsewhere)
            self.assertIn("left", self.mova("stations").out)
        del self.environment["HOME"]
        self.assertEnds(self.mova("stations"), 2, "")

    def test_a_station_names_the_port(self):
        self.start_handset()
        self.stations(TWO)
        self.assertEnds(self.mova("--station", "left", "at", "AT"), 0, "OK\n")
        self.environment["MOVA_PORT"] = "9"
        self.assertEnds(self.mova("at", "AT", "--station", "left"), 0, "OK\n")

    def test_the_command_line_wins_over_the_station(self):
        self.start_handset()
        self.stations(TWO)
        self.assertEnds(self.mova("--station", "right", "--port", "7", "at", "AT"), 0, "OK\n")
        self.assertEqual(self.rate_with("--station", "left"), 57600)
        self.assertEqual(self.rate_with("--station", "left", "--baud", "9600"), 9600)

    def rate_with(self, *options):
        """What the line is set to while the port is open."""
        session = self.start(*options, "--timeout", "60000", "shell", stdin=subprocess.PIPE)
        session.stdin.write("at AT\n")
        session.stdin.flush()
        self.assertEqual(session.stdout.readline(), "OK\n")
        line = os.open(self.link, os.O_RDWR | os.O_NOCTTY)
        settings = fcntl.ioctl(line, TCGETS2, bytes(44))
        os.close(line)
        self.assertEnds(self.finish(session), 0)
        return struct.unpack("=I", settings[-4:])[0]

    def test_the_stations_time_out_holds(self):
        self.start_handset("--fault", "silence")
        self.stations(TWO)
        milliseconds = self.mova("--station", "left", "--json", "at", "AT").json()["answers"][0]["milliseconds"]
        self.assertGreaterEqual(milliseconds, 3000)
        milliseconds = self.mova("--station", "left", "-t", "900", "--json", "at", "AT").json()["answers"][0]["milliseconds"]
        self.assertGreaterEqual(milliseconds, 900)

    def test_a_name_that_is_not_there(self):
        self.stations(TWO)
        result = self.mova("--station", "lfet", "at", "AT")
        self.assertEnds(result, 2, "")
        self.assertIn('there is no station "lfet"; did you mean "left"?\n  hint: "mova stations" lists them', result.err)
        result = self.mova("--station", "elsewhere", "at", "AT")
        self.assertIn('there is no station "elsewhere"\n', result.err)

    def test_each_mistake_is_told_with_its_place(self):
        for text, said in (
                ("[left]\nprot = 7\n", '2:1: a station has no key "prot"; did you mean "port"?'),
                ("[left]\nport = 7\nbaudrate = 7\n", '3:1: a station has no key "baudrate"'),
                ("port = 7\n", "1:1: only stations stand here"),
                ("[left]\nport = 0\n", "2:8: expected a number from 1 to 65535"),
                ("[left]\nport = 7.5\n", "2:8: expected a port"),
                ("[left]\nport = ''\n", "2:8: expected a port"),
                ("[left]\nport = 7\nbaud = '9600'\n", "3:8: expected a number from 1 to 12000000"),
                ("[left]\nport = 7\ntimeout = 200001\n", "3:11: expected a number from 1 to 200000"),
                ("[left]\nbaud = 9600\n", "1:2: station left has no port"),
                ("['left, right']\nport = 7\n", "1:2: a station's name has letters"),
                ("[left]\nport = 7\nvariables = 1\n", "3:13: variables are a table"),
                ("[left]\nport = 7\n[left.variables]\n1st = 1\n", '4:1: "1st" is no name for a variable'),
                ("[left]\nport = 7\n[left.variables]\nlist = [1]\n", "4:8: expected a text, a number, true or false"),
                ("[left]\nport = 7\n[left]\nport = 8\n", "3:1: "),
                ("[left\n", "1:6: ")):
            path = self.stations(text)
            result = self.mova("--station", "left", "at", "AT")
            self.assertEnds(result, 2, "")
            self.assertIn("mova: %s:%s" % (path, said), result.err)


if __name__ == "__main__":
    main()
