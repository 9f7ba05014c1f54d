"""Variables, includes, repeats, captures and time-outs of scripts."""
import os

from bench import BenchTest, main

PROFILE = """[answers]
"AT+RSSI" = "+RSSI: 17 dB"
"AT+ODD" = "a*b (c)"
"AT+DOLLAR" = "costs ${5}"
"""


class ScriptsTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.environment.update(XDG_CONFIG_HOME=self.folder)
        self.start_handset(self.write("profile.toml", PROFILE))

    def run_script(self, text, *options):
        self.write("s.mova", text)
        return self.ask("run", "s.mova", *options)

    def steps(self, text, *options):
        return self.run_script(text, "--json", *options).json()["steps"]

    def sent(self):
        return [line.split(" <- ")[1] for line in self.read("handset.log").splitlines() if " <- " in line]

    def assertRefused(self, text, said, *options):
        result = self.run_script(text, *options)
        self.assertEnds(result, 2, "")
        self.assertIn("mova: s.mova:" + said, result.err)
        self.assertEqual(self.sent(), [])


class VariablesTest(ScriptsTest):
    def test_a_value_stands_in_commands_and_expectations(self):
        steps = self.steps("let what = CSQ\nlet strong = +${what}: 21\nat AT+${what}\nexpect ${strong},*\necho ${what} is told\n")
        self.assertEqual([(step["text"], step["verdict"]) for step in steps],
                         [("at AT+CSQ", "passed"), ("CSQ is told", "passed")])

    def test_a_value_with_blanks_is_one_word(self):
        self.steps("let command = AT+CPBS=\"a  b\"\nat ${command}\nexpect-failure\n")
        self.assertEqual(self.sent(), ['AT+CPBS="a  b"'])

    def test_the_command_line_wins_over_the_station_and_that_over_the_script(self):
        os.mkdir(self.path("mova"))
        self.write("mova/stations.toml", "[left]\nport = 7\n[left.variables]\nb = 'station'\nc = 'station'\n")
        self.write("s.mova", "let a = script\nlet b = script\nlet c = script\necho ${a} ${b} ${c} ${station} ${port}\n")
        result = self.mova("--station", "left", "run", "s.mova", "--set", "c=x=y")
        self.assertEqual(result.lines[0], "script station x=y left 7")

    def test_dollars_that_name_nothing(self):
        steps = self.steps("echo $5 $name $${name} 5$\nat AT+DOLLAR\nexpect costs $${5}\nexpect-regex \\$\\{5\\}$\n")
        self.assertEqual([(step["text"], step["verdict"]) for step in steps],
                         [("$5 $name ${name} 5$", "passed"), ("at AT+DOLLAR", "passed")])

    def test_a_value_is_no_pattern(self):
        given = "let odd = a*b (c)\nlet wrong = a*c)\nat AT+ODD\n"
        self.assertEnds(self.run_script(given + "expect ${odd}\nexpect-regex ^${odd}$\nexpect-not ${wrong}\n"), 0)
        self.assertEnds(self.run_script(given + "expect ${wrong}\n"), 1)

    def test_mistakes(self):
        self.assertRefused("let limit = 1\nat AT+${limti}\n", '2:7: there is no variable "limti" here; did you mean "limit"?')
        self.assertRefused("at AT\nexpect  ${later}\nlet later = 1\n", '2:9: there is no variable "later" here')
        self.assertRefused("at AT${\n", '1:6: "${" begins the name of a variable')
        self.assertRefused("at AT\n  expect ${a b}\n", '2:10: "${" begins the name of a variable')
        self.assertRefused("let 1st = 1\n", '1:5: "1st" is no name for a variable')
        self.assertRefused("let port = 1\n", "1:5: ${port} is told by the run itself")
        self.assertRefused("let nothing\n", "1:1: let needs a name and a text")
        self.assertRefused("let n = 300\nrf general 5 1\nrf general ${n} 1\n", '3:1: rf general ${n} 1: ')
        self.assertRefused("let n = 1\nsleep ${n}x\n", "2:7: sleep needs a number of milliseconds")

    def test_mistakes_of_set(self):
        for option, said in (("limti=2", 'the script has no variable "limti"; did you mean "limit"?'), ("limit", "expected name=value"),
                             ("1=2", "expected name=value"), ("station=x", "${station} is told by the run itself")):
            result = self.run_script("let limit = 1\necho ${limit} ${station}\n", "--set", option)
            self.assertEnds(result, 2, "")
            self.assertIn("--set %s: %s" % (option, said), result.err)


class CapturesTest(ScriptsTest):
    def test_the_first_group_or_the_whole_match_is_captured(self):
        step, told = self.steps("at AT+RSSI\ncapture level RSSI: (\\d+)\ncapture unit [a-zA-Z]+$\necho ${level} in ${unit}\n")
        self.assertEqual(step["captured"], {"level": "17", "unit": "dB"})
        self.assertEqual(told["text"], "17 in dB")

    def test_each_comparison_holds_or_not(self):
        for holds, fails in (("${n} == 17.0", "${n} == 18"), ("${n} != 16", "${n} != 0x11"), ("${n} < 17.5", "${n} < 17"),
                             ("${n} <= 17", "${n} <= -17"), ("${n} > 9", "${n} > 17"), ("+17 >= ${n}", "9 >= ${n}"),
                             ("${n} like 1?", "${n} like 1??"), ("abc == abc", "abc == ABC"), ("'a b' != ab", '"a b" != "a b"')):
            self.assertEnds(self.run_script("at AT+RSSI\ncapture n \\d+\nexpect-value %s\n" % holds), 0)
            result = self.run_script("at AT+RSSI\ncapture n \\d+\nexpect-value %s\n" % fails)
            self.assertEnds(result, 1)
            self.assertIn("line 3: %s: " % fails, result.out)

    def test_what_is_no_number_is_not_less(self):
        result = self.run_script("at AT+RSSI\ncapture n dB\nexpect-value ${n} < 5\n")
        self.assertEnds(result, 1)
        self.assertIn('line 3: ${n} < 5: "dB" is no number', result.out)

    def test_nothing_to_capture(self):
        result = self.run_script("at AT\ncapture n \\d+\nat AT+${n}\n", "--keep-going")
        self.assertEnds(result, 1)
        self.assertIn("line 2: no line holds a match of \\d+", result.out)
        self.assertIn("${n} has no value: nothing was captured", result.out)
        self.assertEqual(self.sent(), ["AT"])

    def test_a_captured_value_is_judged_when_it_is_there(self):
        result = self.run_script("at AT+RSSI\ncapture n dB\nrf general 5 ${n}\n")
        self.assertEnds(result, 2)
        self.assertIn('"dB" is no number from 0 to 65535', result.out)

    def test_mistakes(self):
        self.assertRefused("capture n x\n", "1:1: a capture stands behind its command")
        self.assertRefused("at AT\ncapture n\n", "2:9: capture needs a regular expression")
        self.assertRefused("at AT\ncapture n (\n", '2:11: "(" is no regular expression')
        self.assertRefused("at AT\nexpect-value 1 = 1\n", '2:14: "=" does not compare')
        self.assertRefused("at AT\nexpect-value 1 < two\n", '2:14: "two" is no number')
        self.assertRefused("at AT\nexpect-value 1 <\n", "2:14: a comparison is two values")
        self.assertRefused("at AT\nexpect-vlaue 1 < 2\n", '2:1: "expect-vlaue" is no expectation; did you mean "expect-value"?')
        self.assertRefused("at AT\ncapture n x\nbogus ${n}\n", '3:1: there is no command "bogus"')


class IncludeTest(ScriptsTest):
    def test_its_steps_stand_in_the_place_of_the_line(self):
        os.mkdir(self.path("parts"))
        self.write("parts/common.mova", "let what = RSSI\ninclude more.mova\n")
        self.write("parts/more.mova", "# a comment\nat AT\n")
        result = self.run_script("include parts/common.mova\nat AT+${what}\n")
        self.assertEnds(result, 0)
        self.assertEqual([line.split(" s  ")[1] for line in result.lines[:2]], ["parts/more.mova:2: at AT", "s.mova:2: at AT+RSSI"])
        self.assertEqual([step["file"] for step in self.steps("include 'parts/more.mova'\nat AT\n")], ["parts/more.mova", "s.mova"])

    def test_a_mistake_is_told_with_its_own_file(self):
        self.write("common.mova", "at AT\n  bogus\n")
        result = self.run_script("include common.mova\n")
        self.assertEnds(result, 2, "")
        self.assertIn("mova: common.mova:2:3: bogus: ", result.err)

    def test_a_circle_is_found(self):
        self.assertRefused("at AT\ninclude s.mova\n", "2:9: s.mova includes itself")
        self.write("a.mova", "include b.mova\n")
        self.write("b.mova", "include ./s.mova\n")
        result = self.run_script("include a.mova\n")
        self.assertEnds(result, 2, "")
        self.assertIn("mova: b.mova:1:9: s.mova includes itself by a.mova by b.mova\n", result.err)

    def test_no_deeper_than_sixteen(self):
        for n in range(1, 17):
            self.write("%d.mova" % n, "include %d.mova\n" % (n + 1))
        self.write("17.mova", "at AT\n")
        self.write("s.mova", "include 3.mova\n")
        self.assertEnds(self.ask("run", "2.mova"), 0)
        result = self.ask("run", "1.mova")
        self.assertEnds(result, 2, "")
        self.assertIn("16.mova:1:9: more than 16 files include one another", result.err)

    def test_mistakes(self):
        self.assertRefused("include\n", "1:1: include needs one file")
        self.assertRefused("let n = 1\ninclude ${n}.mova\n", "2:9: include names its file outright")
        result = self.run_script("include none.mova\n")
        self.assertEnds(result, 7, "")
        self.assertIn("mova: s.mova:1:9: none.mova cannot be read", result.err)
        self.write("empty.mova", "at AT\n")
        self.assertRefused("include empty.mova\nexpect OK\n", "2:1: an expectation stands behind its command")


class RepeatTest(ScriptsTest):
    def test_so_many_rounds(self):
        steps = self.steps("let times = 2\nrepeat ${times}\n  repeat 3\n    rf general ${round} 1\n  end\n  echo ${round}\nend\n")
        self.assertEqual([(step["text"], step["round"]) for step in steps],
                         [("rf general 1 1", "1.1"), ("rf general 2 1", "1.2"), ("rf general 3 1", "1.3"), ("1", "1"),
                          ("rf general 1 1", "2.1"), ("rf general 2 1", "2.2"), ("rf general 3 1", "2.3"), ("2", "2")])

    def test_until_a_condition_holds(self):
        steps = self.steps("let n = 0\nrepeat 9 until ${n} >= 3\n  echo round ${round}\n  let n = ${round}\nend\n")
        self.assertEqual([(step["text"], step["verdict"]) for step in steps],
                         [("round 1", "passed"), ("round 2", "passed"), ("round 3", "passed"), ("repeat 9 until ${n} >= 3", "passed")])

    def test_a_condition_that_never_holds_is_a_failure(self):
        result = self.run_script("repeat 2 until ${n} == 18\n  at AT+RSSI\n  capture n \\d+\nend\nat AT\n")
        self.assertEnds(result, 1)
        self.assertIn("  s.mova:1: repeat 2 until ${n} == 18\n        not within 2 rounds: 17 is not == 18\n", result.out)
        self.assertIn("4 steps: 2 passed, 1 failed, 1 not run", result.lines[-1])

    def test_a_failure_ends_the_rounds(self):
        result = self.run_script("repeat 5\n  at AT\n  at AT+NOSUCH\n  at AT\nend\nat AT\n")
        self.assertEnds(result, 1)
        self.assertIn("4 steps: 1 passed, 1 failed, 2 not run", result.lines[-1])
        result = self.run_script("repeat 2\n  at AT+NOSUCH\nend\n", "--keep-going")
        self.assertIn("2 steps: 0 passed, 2 failed, 0 not run", result.lines[-1])

    def test_in_the_junit_report_each_round_has_its_case(self):
        self.run_script("repeat 2\n  at AT\nend\n", "--junit", "report.xml")
        for name in ("line 2: at AT (round 1)", "line 2: at AT (round 2)"):
            self.assertIn('name="%s"' % name, self.read("report.xml"))

    def test_mistakes(self):
        self.assertRefused("repeat 3\nat AT\n", "1:1: this repeat has no end")
        self.assertRefused("at AT\nend\n", "2:1: there is no repeat that ends here")
        self.assertRefused("repeat\nat AT\nend\n", "1:1: repeat needs a number of rounds")
        self.assertRefused("repeat 0\nat AT\nend\n", "1:8: repeat needs a number of rounds, from 1 to 10000")
        self.assertRefused("repeat 10001\nat AT\nend\n", "1:8: repeat needs a number of rounds, from 1 to 10000")
        self.assertRefused("repeat 2 times\nat AT\nend\n", "1:10: behind the number of rounds stands until")
        self.assertRefused("repeat 2 until\nat AT\nend\n", "1:10: until needs a condition")
        self.assertRefused("repeat 2 until ${n} == 1\nat AT\nend\n", '1:16: there is no variable "n" here')
        self.assertRefused("repeat 2\nend\n", "1:1: this repeat holds no step")
        self.assertRefused("repeat 2\nat AT\nend it\n", "3:5: end takes no text")
        self.assertRefused("repeat 2\nat AT\nend\necho ${round}\n", '4:6: there is no variable "round" here')
        self.assertRefused("at AT\nrepeat 2\nexpect OK\nend\n", "3:1: an expectation stands behind its command")


class TimesTest(ScriptsTest):
    def test_a_step_has_a_time_out_of_its_own(self):
        self.start_handset("--fault", "silence")
        steps = self.steps("at AT\ntimeout 100\nexpect-code NoAnswer\nat AT\nexpect-failure\n", "-t", "700")
        self.assertEqual([step["verdict"] for step in steps], ["passed", "passed"])
        self.assertLess(steps[0]["seconds"], steps[1]["seconds"])
        self.assertGreaterEqual(steps[1]["seconds"], 0.7)

    def test_of_the_request_protocol_too(self):
        self.start_handset("--fault", "silence")
        steps = self.steps("e2p read 1 1\ntimeout 1500\nexpect-failure\ne2p read 1 1\nexpect-failure\n", "-t", "100")
        self.assertGreaterEqual(steps[0]["seconds"], 1.5)
        self.assertLess(steps[1]["seconds"], steps[0]["seconds"])

    def test_a_step_that_takes_too_long(self):
        self.start_handset("--delay", "200")
        result = self.run_script("let most = 100\nat AT\nexpect-within ${most}\n")
        self.assertEnds(result, 1)
        self.assertRegex(result.out, r"line 3: it took \d+ ms, more than 100\n")
        self.assertEnds(self.run_script("at AT\nexpect-within 60000\n"), 0)

    def test_mistakes(self):
        self.assertRefused("timeout 5\n", "1:1: a timeout stands behind its command")
        self.assertRefused("at AT\ntimeout\n", "2:1: timeout needs a number of milliseconds")
        self.assertRefused("at AT\ntimeout 0\n", "2:9: timeout needs a number of milliseconds, from 1 to 200000")
        self.assertRefused("at AT\nexpect-within soon\n", "2:15: expect-within needs a number of milliseconds")


if __name__ == "__main__":
    main()
