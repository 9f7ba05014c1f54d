"""Scripts with expectations, and their reports."""
import xml.etree.ElementTree

from bench import BenchTest, main

GOOD = """# a station
echo Part one
at AT+CSQ
expect +CSQ: 21,*
expect-not *ERROR*
expect-regex ^\\+CSQ: \\d+,99$
e2p read 0x7777 1
expect-code E2pStatus3
expect-code 0x8202
sleep 10
at AT+NOSUCH
expect-failure
at 'AT+CGMI'
expect ACME
"""


class RunTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset()

    def run_script(self, text, *options):
        self.write("s.mova", text)
        return self.ask("run", "s.mova", *options)

    def verdicts(self, result):
        return [(line[2:6], line.split("s.mova:")[1]) for line in result.lines if " s.mova:" in line]

    def test_a_byte_order_mark_is_passed_over(self):
        script = "\ufeffat AT+CSQ\r\nexpect +CSQ: 21,*\r\n"
        result = self.run_script(script)
        self.assertEnds(result, 0)
        self.assertEqual(self.verdicts(result), [("pass", "1: at AT+CSQ")])
        self.assertEnds(self.ask("run", "-", given=script), 0)
        self.assertEnds(self.ask("shell", given="\ufeffat AT+CSQ\n"), 0, "+CSQ: 21,99\nOK\n")

    def test_an_expression_may_be_for_an_answer_of_any_length(self):
        self.start_handset(self.write("long.toml", '[answers]\n"AT+LONG" = "' + "A" * 30000 + '!"\n'))
        result = self.run_script("at AT+LONG\nexpect-regex ^(A|B)*!$\nat AT+LONG\nexpect-regex ^(A+)+$\n")
        self.assertEnds(result, 1)
        self.assertEqual(self.verdicts(result), [("pass", "1: at AT+LONG"), ("FAIL", "3: at AT+LONG")])
        self.assertIn("line 4: ^(A+)+$ takes too long for these lines", result.out)

    def test_a_script_passes(self):
        result = self.run_script(GOOD)
        self.assertEnds(result, 0)
        self.assertEqual(self.verdicts(result), [("pass", "3: at AT+CSQ"), ("pass", "7: e2p read 0x7777 1"), ("pass", "10: sleep 10"),
                                                 ("pass", "11: at AT+NOSUCH"), ("pass", "13: at 'AT+CGMI'")])
        self.assertEqual(result.lines[0], "Part one")
        self.assertIn("6 steps: 6 passed, 0 failed, 0 not run", result.lines[-1])
        self.assertEqual(result.err, "")

    def test_the_line_that_failed_is_told(self):
        result = self.run_script("at AT\nat AT+CSQ\nexpect OK\nexpect +CSQ: 9*\nat AT\n")
        self.assertEnds(result, 1)
        self.assertEqual(self.verdicts(result), [("pass", "1: at AT"), ("FAIL", "2: at AT+CSQ")])
        self.assertIn("        line 4: no line is like \"+CSQ: 9*\"\n        output: +CSQ: 21,99\n                OK\n", result.out)
        self.assertIn("3 steps: 1 passed, 1 failed, 1 not run", result.lines[-1])
        self.assertEqual(result.err, "mova: s.mova:2: line 4: no line is like \"+CSQ: 9*\"\n")

    def test_each_expectation_can_fail(self):
        for expectation, problem in (("expect-not OK", "a line is like \"OK\": OK"), ("expect-regex ^K", "no line holds a match of ^K"),
                                     ("expect-failure", "it did not fail"), ("expect-code NoAnswer", "it did not fail")):
            result = self.run_script("at AT\n" + expectation + "\n")
            self.assertEnds(result, 1)
            self.assertIn("line 2: " + problem, result.out)
        result = self.run_script("e2p read 0x7777 1\nexpect-code NoAnswer\n")
        self.assertEnds(result, 1)
        self.assertIn("it failed with 0x8202 E2pStatus3, not with NoAnswer", result.out)

    def test_an_unexpected_failure_keeps_its_exit_code(self):
        self.start_handset("--fault", "silence")
        self.write("s.mova", "at AT\n")
        result = self.mova("-p", "7", "-t", "200", "run", "s.mova")
        self.assertEnds(result, 4)
        self.assertIn("        it failed\n", result.out)
        self.assertEnds(self.mova("-p", "9", "run", "s.mova"), 3)

    def test_keep_going(self):
        result = self.run_script("at AT+NOSUCH\nat AT\n", "--keep-going")
        self.assertEnds(result, 1)
        self.assertEqual([v for v, _ in self.verdicts(result)], ["FAIL", "pass"])

    def test_mistakes_are_found_before_anything_runs(self):
        for text, said in (("at AT\nbogus 1\n", "s.mova:2:1: bogus 1: there is no command \"bogus\""), ("at AT\nat\n", "s.mova:2:1: at: "),
                           ("expect OK\n", "s.mova:1:1: an expectation stands behind its command"),
                           ("at AT\nexpect-code Nonsense\n", "s.mova:2:13: no code is called Nonsense"),
                           ("at AT\nexpect-regex [\n", "s.mova:2:14: \"[\" is no regular expression"),
                           ("at AT\nexpects OK\n", "s.mova:2:1: \"expects\" is no expectation"), ("sleep long\n", "s.mova:1:7: sleep needs"),
                           ("at 'AT\n", "s.mova:1:1: a quote is not closed"), ("# nothing\n", "s.mova holds no step")):
            result = self.run_script(text)
            self.assertEnds(result, 2, "")
            self.assertIn(said, result.err)
        self.assertNotIn(" <- ", self.read("handset.log"))
        self.assertEnds(self.ask("run", "none.mova"), 7, "")

    def test_check_only(self):
        self.assertEnds(self.run_script(GOOD, "--check"), 0, "6 steps, well formed\n")
        self.assertNotIn(" <- ", self.read("handset.log"))

    def test_as_json(self):
        result = self.run_script("at AT+CSQ\nexpect +CSQ: 9\nat AT\n", "--json")
        self.assertEnds(result, 1)
        answer = result.json()
        self.assertEqual((answer["command"], answer["passed"], answer["failed"], answer["notRun"]), ("run", 0, 1, 1))
        first = answer["steps"][0]
        self.assertEqual((first["line"], first["text"], first["verdict"], first["output"]), (1, "at AT+CSQ", "failed", ["+CSQ: 21,99", "OK"]))
        self.assertEqual(answer["steps"][1]["verdict"], "not run")

    def test_junit(self):
        result = self.run_script("at AT\nat AT+CSQ\nexpect <\"9\">\nat AT\n", "--junit", "report.xml")
        self.assertEnds(result, 1)
        suite = xml.etree.ElementTree.parse(self.path("report.xml")).getroot()
        self.assertEqual((suite.get("tests"), suite.get("failures"), suite.get("skipped")), ("3", "1", "1"))
        self.assertEqual([case.get("name") for case in suite], ["line 1: at AT", "line 2: at AT+CSQ", "line 4: at AT"])
        self.assertEqual(suite[1].find("failure").get("message"), "line 3: no line is like \"<\"9\">\"")
        self.assertEqual(suite[1].find("system-out").text, "+CSQ: 21,99\nOK\n")

    def test_from_the_standard_input(self):
        self.assertEnds(self.ask("run", "-", given="at AT\n"), 0)


if __name__ == "__main__":
    main()
