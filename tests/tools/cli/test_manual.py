"""What the help, the manual page and the tables say agrees with each other and with the program."""
import os
import re

from bench import SOURCE, BenchTest, main


def options_in(text):
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*[a-z]", text))


def plain(manual):
    return manual.replace("\\-", "-").replace("\\e", "\\").replace("\\&", "")


class ManualTest(BenchTest):
    def setUp(self):
        super().setUp()
        with open(os.path.join(SOURCE, "docs", "mova.1")) as file:
            self.manual = file.read()
        self.help = self.mova("--help-all").out

    def test_every_option_of_the_help_is_in_the_manual_and_back(self):
        listed = set()
        for line in self.help.splitlines():
            if re.match(r"\s+-", line):
                listed |= options_in(re.split(r"\s{2,}", line.strip())[0])
        tags = set()
        for line in plain(self.manual).splitlines():
            if line.startswith(".B -"):
                tags |= options_in(line)
        self.assertGreater(len(listed), 25)
        self.assertEqual(listed, tags)

    def test_every_command_of_the_help_is_in_the_manual_and_back(self):
        sections = set(re.findall(r"^\.SS mova ([a-z][a-z0-9-]*)", plain(self.manual), re.M))
        top = self.mova("--help").out.split("Commands:\n")[1].split("\n\n")[0]
        self.assertEqual(sections, set(re.findall(r"^  ([a-z][a-z0-9-]*)", top, re.M)))
        for group in ("rf", "e2p", "raw"):
            below = self.mova(group, "--help").out.split("Commands:\n")[1].split("\n\n")[0]
            names = set(re.findall(r"^  ([a-z][a-z0-9-]*)", below, re.M))
            self.assertEqual(names, set(re.findall(r"^\.SS mova %s ([a-z][a-z0-9-]*)" % group, plain(self.manual), re.M)))

    def test_exit_codes_in_the_help_and_the_manual(self):
        for code, meaning in ((0, "done"), (2, "the command line or the script is wrong"), (3, "the port could not be opened"),
                              (4, "the handset did not answer in time"), (5, "interrupted (Ctrl-C)")):
            self.assertIn("  %d  %s" % (code, meaning), self.help)
            self.assertIn(".B %d\n%s" % (code, meaning), plain(self.manual))

    def test_help_fits_a_terminal(self):
        self.assertEqual([line for line in self.help.splitlines() if len(line) > 80], [])

    def test_every_code_of_the_component_has_a_name_and_a_meaning(self):
        with open(os.path.join(SOURCE, "include", "mova", "Codes.h")) as file:
            codes = re.findall(r"^ +(\w+) = (MOVA_\w+)", file.read(), re.M)
        with open(os.path.join(SOURCE, "src", "base", "CodeTexts.cpp")) as file:
            named = set(re.findall(r"Code::(\w+),\s*\"(\w+)\"", file.read()))
        second_names = {"MalformedConfirmation", "WrongArrayType"}  # of 0x3001
        inside = {"LogPathEmpty", "Success"}  # no method reports the first, and the second needs no meaning
        self.assertGreater(len(codes), 30)
        for name, number in codes:
            if name not in second_names | inside and not re.fullmatch(r"E2pStatus\d+", name):
                self.assertIn((name, name), named, number)

    def test_json_fields_are_documented(self):
        self.start_handset()
        fields = plain(self.manual).split('.SH "JSON OUTPUT"')[1].split(".SH")[0]
        for arguments in (("ports",), ("at", "AT"), ("info",), ("rf", "general", "5", "1"), ("e2p", "read", "4099", "1"),
                          ("e2p", "dump", "x.e2p", "--objects", "4099"), ("e2p", "diff", "x.e2p"), ("hci", "0"), ("wifi", "1"),
                          ("raw", "write", "0D", "--read"), ("signals",)):
            answer = self.ask("--json", *arguments).json()
            for name in answer:
                self.assertRegex(fields, r"\b%s\b" % name, arguments)


if __name__ == "__main__":
    main()
