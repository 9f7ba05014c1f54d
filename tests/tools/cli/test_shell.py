"""The session, from a pipe and on a terminal, with completion and history; colours and the progress bar on a terminal."""
import os

from bench import BenchTest, main
from person import Terminal


class PipedShellTest(BenchTest):
    def test_one_port_for_all_commands(self):
        self.start_handset()
        trace = self.path("trace")
        result = self.ask("--trace", trace, "shell", given="at AT+CSQ\n# a comment\n\ne2p read 0x1234 2\nat AT\nexit\nat ATI\n")
        self.assertEnds(result, 0, "+CSQ: 21,99\nOK\nFFFF\nOK\n")
        self.assertEqual(self.read("trace").count("Close Com Port Success"), 1)

    def test_an_error_does_not_end_it(self):
        self.start_handset()
        result = self.ask("shell", given="bogus\nat 'AT\nat AT\n")
        self.assertEnds(result, 0, "OK\n")
        self.assertIn("there is no command \"bogus\"", result.err)
        self.assertIn("a quote is not closed", result.err)

    def test_the_last_command_decides(self):
        self.start_handset()
        self.assertEnds(self.ask("shell", given="at AT\nat AT+NOSUCH\n"), 1, "OK\nERROR\n")

    def test_json_for_each_command(self):
        self.start_handset()
        result = self.ask("--json", "shell", given="e2p read 0x1234 2\nsignals\n")
        self.assertEqual([line.split(",")[0] for line in result.lines],
                         ['{"command":"e2p read"', '{"command":"signals"', '{"command":"shell"'])

    def test_no_session_within_it(self):
        result = self.ask("shell", given="shell\n")
        self.assertEnds(result, 2, "")


class TerminalShellTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset()
        self.environment["MOVA_HISTORY"] = self.path("history/lines")

    def test_commands_completion_and_history(self):
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("sig\t")
        terminal.until("nals ")  # completed
        terminal.type("\n")
        terminal.until("CTS off  DSR off  RING off  CARRIER off\r\n")
        terminal.prompt()
        terminal.type("e2p d\t\t")
        self.assertRegex(terminal.until("dump"), "diff")  # both are offered
        terminal.until("e2p d")
        terminal.type("u\t0 --obj\t")
        terminal.until("ects ")  # completed
        terminal.type("\x15at AT+CSQ\n")  # Ctrl-U gives the line up
        terminal.until("\\+CSQ: 21,99\r\n")
        terminal.prompt()
        terminal.type("\x1b[A")  # up
        terminal.until("at AT\\+CSQ")
        terminal.type("\n")
        terminal.until("\\+CSQ: 21,99\r\n")
        terminal.prompt()
        terminal.type("\x04")
        self.assertEqual(terminal.wait(), 0)
        self.assertIn("signals", self.read("history/lines"))
        again = Terminal(self, "--port", "7", "shell")
        again.prompt()
        again.type("\x1b[A\n")
        again.until("\\+CSQ: 21,99\r\n")
        again.prompt()
        again.type("exit\n")
        self.assertEqual(again.wait(), 0)

    def test_secrets_are_kept_nowhere(self):
        os.mkdir(self.path("history"))
        self.write("history/lines", "_HiStOrY_V2_\nat\\040ATI\ne2p\\040password\\0401\\0402\\040C0DE01\nsignals\n")
        os.chmod(self.path("history/lines"), 0o644)
        terminal = Terminal(self, "--port", "7", "shell")
        for line in ("e2p password 0x1234 2 C0DE02", "e2p auth-key 0x1234 2 C0DE03", "e2p  'auth-key' 0x1234 2 C0DE04",
                     "e2p password 0x1234 2 'C0DE05", "e2p read 0x1234 2"):
            terminal.prompt()
            terminal.type(line + "\n")
        terminal.until("\\nFFFF")
        terminal.prompt()
        terminal.type("\x1b[A\x1b[A\n")  # twice up: what was kept before
        terminal.until("CTS")
        terminal.prompt()
        terminal.type("exit\n")
        self.assertEqual(terminal.wait(), 0)
        kept = self.read("history/lines")
        self.assertNotIn("C0DE", kept)
        for line in ("at\\040ATI", "signals", "e2p\\040read\\0400x1234\\0402"):
            self.assertIn(line, kept)
        self.assertEqual(os.stat(self.path("history/lines")).st_mode & 0o777, 0o600)

    def test_the_historys_folder_is_its_users_alone(self):
        os.umask(0o022)
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("exit\n")
        self.assertEqual(terminal.wait(), 0)
        self.assertEqual(os.stat(self.path("history")).st_mode & 0o777, 0o700)

    def test_ctrl_c_ends_a_command_and_not_the_session(self):
        terminal = Terminal(self, "--port", "7", "shell")
        terminal.prompt()
        terminal.type("monitor\n")
        terminal.until("Ctrl-C ends")
        terminal.type("\x03")
        terminal.prompt()
        terminal.type("at AT+NO\x03")
        terminal.prompt()
        terminal.type("at AT\n")
        terminal.until("OK")
        terminal.prompt()
        terminal.type("exit\n")
        self.assertEqual(terminal.wait(), 0)
        self.assertNotIn("AT+NO", self.read("handset.log"))

    def test_colours_on_a_terminal(self):
        terminal = Terminal(self, "--port", "7", "at", "AT")
        terminal.until("\x1b\\[32mOK\x1b\\[0m")
        self.assertEqual(terminal.wait(), 0)
        self.environment["NO_COLOR"] = "1"
        terminal = Terminal(self, "--port", "7", "at", "AT")
        self.assertNotIn("\x1b", terminal.until("OK\r\n"))

    def test_a_progress_bar_on_a_terminal(self):
        terminal = Terminal(self, "--port", "7", "e2p", "dump", "out.e2p", "--objects", "4090-4110")
        terminal.until("dump \\[[#.]{24}\\] +\\d+%")
        terminal.until("objects in out.e2p")
        self.assertEqual(terminal.wait(), 0)


if __name__ == "__main__":
    main()
