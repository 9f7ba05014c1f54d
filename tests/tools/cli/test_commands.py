"""Every command against the simulated handset, and what is said when something is wrong."""
import fcntl
import os
import pty
import signal
import struct
import termios
import time
import tty

from bench import BUILD, BenchTest, main, wait_until


class PortsTest(BenchTest):
    def test_a_port_has_number_device_driver_and_card_type(self):
        self.start_handset()
        device = os.path.realpath(self.link)
        result = self.mova("ports")
        self.assertEnds(result, 0)
        row = [line for line in result.lines if line.startswith("COM7")]
        self.assertEqual([" ".join(line.split()) for line in row],
                         ["COM7 %s Pseudo-terminal (COM7) 0 byte by byte" % device], result)

    def test_as_json(self):
        self.start_handset()
        port = self.mova("ports", "--json").json()["ports"][0]
        self.assertEqual(port, {"number": 7, "device": os.path.realpath(self.link), "driver": "Pseudo-terminal (COM7)",
                                "cardType": 0, "usb": False})

    def test_an_unplugged_link_is_not_listed(self):
        os.symlink("/dev/pts/none", self.link)
        self.assertNotIn("COM7", self.mova("ports").out)


    def test_a_number_that_no_port_has_is_not_listed_as_another(self):
        self.start_handset()
        for number in (65535, 65543, 655377):
            os.symlink(os.path.realpath(self.link), self.path("COM%d" % number))
        numbers = [port["number"] for port in self.mova("ports", "--json").json()["ports"]]
        self.assertEqual([number for number in numbers if number is not None], [7, 65535])
        for number in ("65543", "COM70000"):
            self.assertEnds(self.mova("--port", number, "at", "AT"), 3, "")


class AtTest(BenchTest):
    def test_an_answer_without_the_echo(self):
        self.start_handset()
        self.assertEnds(self.ask("at", "AT+CSQ"), 0, "+CSQ: 21,99\nOK\n")

    def test_several_commands(self):
        self.start_handset()
        self.assertEnds(self.ask("at", "AT+CGMI", "AT+CGMM"), 0, "> AT+CGMI\nACME\nOK\n> AT+CGMM\nAM-1\nOK\n")

    def test_a_refusal_ends_it(self):
        self.start_handset()
        result = self.ask("at", "AT+NOSUCH", "AT")
        self.assertEnds(result, 1, "> AT+NOSUCH\nERROR\n")
        self.assertEqual(result.err, "mova: the handset refused AT+NOSUCH: ERROR\n")

    def test_keep_going(self):
        self.start_handset()
        self.assertEnds(self.ask("at", "-k", "AT+NOSUCH", "AT"), 1, "> AT+NOSUCH\nERROR\n> AT\nOK\n")

    def test_as_json(self):
        self.start_handset("--echo", "off")
        answer = self.ask("at", "AT+CSQ", "--json").json()
        took = answer["answers"][0].pop("milliseconds")
        self.assertGreaterEqual(took, 0)
        self.assertEqual(answer, {"command": "at", "ok": True,
                                  "answers": [{"sent": "AT+CSQ", "lines": ["+CSQ: 21,99"], "result": "OK"}]})

    def test_a_silent_handset(self):
        self.start_handset("--fault", "silence")
        result = self.ask("--timeout", "200", "at", "AT")
        self.assertEnds(result, 4, "")
        self.assertIn("mova: AT was not answered to its end\n  0x4004 NoAnswer: no (accepted) answer within the time\n"
                      "  hint: is the handset switched on", result.err)

    def test_the_hint_of_a_silent_handset_is_not_what_was_just_tried(self):
        self.start_handset("--fault", "silence")
        result = self.ask("--timeout", "200", "at", "AT")
        self.assertIn("baud rate (--baud)? --timeout waits longer\n", result.err)
        self.assertNotIn("mova at AT", result.err)

    def test_a_long_command_is_quoted_by_its_beginning(self):
        self.start_handset()
        self.assertEqual(self.ask("at", "AT+" + "X" * 997).err,
                         "mova: the handset refused AT+%s... (1000 characters): ERROR\n" % ("X" * 57))
        self.assertEqual(self.ask("at", "AT+" + "X" * 57).err, "mova: the handset refused AT+%s: ERROR\n" % ("X" * 57))

    def test_a_device_path_needs_no_number(self):
        self.start_handset()
        self.environment.pop("MOVA_DEVICE_DIR")
        self.assertEnds(self.mova("--port", os.path.realpath(self.link), "at", "AT"), 0, "OK\n")

    def test_the_port_of_the_environment(self):
        self.start_handset()
        self.environment["MOVA_PORT"] = "COM7"
        self.assertEnds(self.mova("at", "AT"), 0, "OK\n")


class InfoTest(BenchTest):
    def test_who_the_handset_is(self):
        self.start_handset()
        self.ask("e2p", "write", "4099", "1", "--offset", "20", "06" + "534E30303031".ljust(38, "0"))
        result = self.ask("info")
        self.assertEnds(result, 0)
        table = {line[:24].strip(): line[24:].strip() for line in result.lines}
        self.assertEqual(table["port"], "COM7")
        self.assertEqual(table["software version"], "ACME AM-1 / SW 4.2.0 2026-03-01")
        self.assertEqual(table["IMEI"], "490154203237518")
        self.assertEqual(table["one-time programmable"], "UNLOCKED")
        self.assertEqual(table["identity field 3"], "SN0001")
        self.assertEqual(table["identity field 6"], "")
        self.assertEqual(table["flash status"], "Status:0,Count:0")
        self.assertEqual(table["flash failures"], "FCount:0")

    def test_a_question_that_is_refused(self):
        self.start_handset("--otp", "")
        result = self.ask("info", "--json")
        self.assertEnds(result, 1)
        answer = result.json()
        self.assertEqual((answer["imei"], answer["otp"]), ("490154203237518", None))
        self.assertEqual(answer["error"]["code"], 0x6300)
        self.assertEqual((answer["error"]["hex"], answer["error"]["name"], answer["error"]["status"]), ("0x6300", "OtpError", 1))

    def test_a_silent_handset_is_asked_once(self):
        self.start_handset("--fault", "silence")
        self.assertEnds(self.ask("info"), 4)
        received = [line for line in self.read("handset.log").splitlines() if " <- " in line]
        self.assertEqual(len(received), 1, received)


class RfTest(BenchTest):
    def test_each_request_and_its_confirmation(self):
        self.start_handset()
        cases = [(("general", "5", "0x102"), "05000201"),
                 (("param", "6", "1", "2", "0x3456"), "060002005634"),
                 (("table", "7", "1", "3", "0A", "0B0C"), "070003000A0B0C"),
                 (("testcase", "8", "1"), "08000000"),
                 (("var", "2", "9", "1,2,4,0A0B0C0D"), "090002000A0B0C0D")]
        script = "".join("rf %s\nexpect %s\n" % (" ".join(arguments), expected) for arguments, expected in cases)
        self.assertEnds(self.ask("run", self.write("rf.mova", script)), 0)
        self.assertEnds(self.ask("rf", "general", "5", "0x102"), 0, "05000201\n")

    def test_as_json(self):
        self.start_handset()
        self.assertEqual(self.ask("--json", "rf", "general", "5", "1").json(),
                         {"command": "rf general", "ok": True, "confirmations": ["05000100"]})

    def test_numbers_have_limits(self):
        result = self.ask("rf", "general", "256", "1")
        self.assertEnds(result, 2, "")
        self.assertIn("\"256\" is no number from 0 to 255 (0xFF)", result.err)
        self.assertIn("\"mova rf general --help\" tells more", result.err)

    def test_no_confirmation(self):
        self.start_handset("--fault", "silence")
        result = self.ask("-t", "200", "rf", "general", "5", "1")
        self.assertEnds(result, 4, "")
        self.assertIn("0x4004 NoAnswer", result.err)


class ActionsTest(BenchTest):
    def test_hci_and_wifi(self):
        self.start_handset()
        self.assertEnds(self.ask("hci", "0", "0102"), 0, "000102\n")
        self.assertEnds(self.ask("wifi", "0x21", "AA:BB"), 0, "AABB\n")

    def test_an_unknown_option_is_not_sent(self):
        self.start_handset()
        result = self.ask("hci", "9")
        self.assertEnds(result, 2, "")
        self.assertIn("0x4305 UnknownOption", result.err)
        self.assertNotIn(" <- ", self.read("handset.log"))

    def test_a_silent_handset_is_not_waited_for_longer(self):
        self.start_handset("--fault", "silence")
        result = self.ask("hci", "0", "0102")
        self.assertEnds(result, 4, "")
        self.assertIn("hint: is the handset switched on, plugged in and at this baud rate? \"mova at AT\" tries it\n", result.err)

    def test_data_that_is_not_hexadecimal(self):
        result = self.ask("wifi", "1", "XY")
        self.assertEnds(result, 2, "")
        self.assertIn("\"XY\" is no hexadecimal data", result.err)


class MonitorTest(BenchTest):
    def test_confirmations_as_they_come(self):
        self.start_handset("--echo", "off")
        result = self.ask("monitor", "--send", "AT%CNF=2,500", "--count", "3", "--seconds", "30")
        self.assertEnds(result, 0)
        self.assertEqual([line.split("  ")[1] for line in result.lines], ["OK~", "7E000000", "7E000100"], result)

    def test_too_few_in_time(self):
        self.start_handset()
        result = self.ask("monitor", "--count", "1", "--seconds", "0.2")
        self.assertEnds(result, 4, "")
        self.assertIn("0 of 1 confirmation came in time", result.err)

    def test_ctrl_c_ends_it(self):
        self.start_handset("--unsolicited", "50")
        process = self.start("--port", "7", "monitor", "--json")
        first = process.stdout.readline()
        self.assertIn("7E00", first)
        process.send_signal(signal.SIGINT)
        result = self.finish(process)
        self.assertEnds(result, 0)
        self.assertIn('"command":"monitor","ok":true,"count":', result.lines[-1])

    def test_what_ends_a_line_of_more_than_a_megabyte_is_no_confirmation(self):
        master, slave = pty.openpty()
        tty.setraw(slave)
        os.symlink(os.ttyname(slave), self.link)
        process = self.start("--port", "7", "monitor")
        self.assertIn("watching", process.stderr.readline())
        noise = b"x" * (2**20 + 1)
        while noise:
            noise = noise[os.write(master, noise[:4000]):]
        wait_until(lambda: struct.unpack("i", fcntl.ioctl(slave, termios.FIONREAD, bytes(4)))[0] == 0, "the line to be read")
        time.sleep(0.3)  # what has come is looked at before the rest comes
        os.write(master, b"*MOVA=05000500020199\r\n")
        os.write(master, b"*MOVA=05000500020103\r\n")
        while "05000201" not in process.stdout.readline():
            self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertEnds(self.finish(process), 0)
        os.close(master)
        os.close(slave)


class RawTest(BenchTest):
    def test_bytes_out_and_in(self):
        self.start_handset()
        self.assertEnds(self.ask("raw", "write", "41 54 0D", "--read", "--for", "20000"), 0, "41540D0D0A4F4B0D0A\n")
        self.assertEnds(self.ask("raw", "write", "--text", "AT\\r", "--read", "--for", "20000", "--ascii"), 0, "AT\\r\\r\\nOK\\r\\n\n")

    def test_so_many_bytes(self):
        self.start_handset()
        self.assertEnds(self.ask("raw", "write", "41540D", "--read", "--for", "20000", "--bytes", "3"), 0, "41540D\n")

    def test_reading_what_comes_by_itself(self):
        self.start_handset("--unsolicited", "100")
        result = self.ask("raw", "read", "--bytes", "20", "--for", "20000", "--ascii")
        self.assertEnds(result, 0)
        self.assertIn("*MOVA=", result.out)

    def test_nothing_arrives(self):
        self.start_handset()
        result = self.ask("raw", "read", "--for", "100", "--json")
        self.assertEnds(result, 4)
        self.assertEqual((result.json()["bytes"], result.json()["error"]["message"]), (0, "nothing arrived"))

    def test_a_port_that_takes_nothing(self):
        master, slave = pty.openpty()  # nobody reads the far end
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        tty.setraw(slave)
        result = self.mova("--port", os.ttyname(slave), "-t", "700", "--json", "raw", "write", "--text", "x" * 100_000)
        self.assertEnds(result, 6)
        answer = result.json()
        self.assertEqual(answer["error"]["name"], "ShortWrite")
        self.assertEqual(answer["error"]["message"],
                         "%d of 100000 bytes written, and the port took no more for 700 ms" % answer["written"])
        self.assertLess(answer["written"], 100_000)

    def test_what_is_written_is_whole(self):
        self.start_handset()
        sent = "AT+" + "".join("%d " % i for i in range(300))  # more than goes out at once
        self.assertEnds(self.ask("raw", "write", "--text", sent + "\\r"), 0, "%d bytes written\n" % (len(sent) + 1))
        wait_until(lambda: "<- " in self.read("handset.log"), "the text")
        self.assertIn("<- %s\n" % sent, self.read("handset.log"))

    def test_neither_data_nor_text(self):
        self.assertEnds(self.ask("raw", "write"), 2, "")
        result = self.ask("raw", "write", "--text", "\\q")
        self.assertEnds(result, 2, "")
        self.assertIn("escape", result.err)


class SignalsTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset()
        self.terminal = os.path.basename(os.path.realpath(self.link))

    def with_modem_lines(self):
        if not os.path.exists(os.path.join(BUILD, "libmodem-lines.so")):
            self.skipTest("sanitizers do not like to be preloaded")
        self.environment.update(LD_PRELOAD=os.path.join(BUILD, "libmodem-lines.so"), MODEM_LINES=self.folder)

    def test_lines_in(self):
        self.with_modem_lines()
        self.write(self.terminal + ".in", "CTS CARRIER")
        self.assertEnds(self.ask("signals"), 0, "CTS on  DSR off  RING off  CARRIER on\n")
        self.assertEqual(self.ask("--json", "signals").json(),
                         {"command": "signals", "ok": True, "cts": True, "dsr": False, "ring": False, "carrier": True})

    def test_lines_out(self):
        self.with_modem_lines()
        process = self.start("--port", "7", "shell", stdin=-1)
        process.stdin.write("signals dtr=off rts=on\n")
        process.stdin.flush()
        self.assertIn("CTS off", process.stdout.readline())
        self.assertEqual(self.read(self.terminal + ".out").split(), ["RTS"])
        process.stdin.write("signals dtr=on rts=off\n")
        process.stdin.flush()
        self.assertIn("CTS off", process.stdout.readline())
        self.assertEqual(self.read(self.terminal + ".out").split(), ["DTR"])
        self.assertEnds(self.finish(process), 0)

    def test_a_port_without_lines(self):
        result = self.ask("signals", "dtr=on")
        self.assertEnds(result, 6, "")
        self.assertIn("0x4344 SignalNotSet", result.err)

    def test_another_word(self):
        self.assertEnds(self.ask("signals", "cts=on"), 2, "")


class ErrorsTest(BenchTest):
    def test_no_such_port(self):
        result = self.mova("--port", "9", "at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("mova: there is no port COM9: %s/COM9 is missing or leads nowhere\n  0x4000 NotOpen:" % self.folder, result.err)
        self.assertIn("  hint: \"mova ports\" lists what is there", result.err)

    def test_no_such_device(self):
        result = self.mova("--port", "/dev/none", "at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("mova: there is no device /dev/none\n", result.err)

    def test_a_file_is_no_device(self):
        result = self.mova("--port", self.write("file", ""), "at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("is not a serial device", result.err)

    def test_usage(self):
        for arguments, said in (((), None), (("bogus",), "there is no command \"bogus\""), (("e2p", "bogus"), "there is no command \"bogus\""),
                                (("at",), "command is required"), (("--colour", "pink", "ports"), "pink"),
                                (("-t", "0", "ports"), "0 not in range"), (("ports", "--nonsense"), "--nonsense")):
            result = self.mova(*arguments)
            if said is None:
                self.assertEnds(result, 0)
                self.assertIn("Usage: mova", result.out)
            else:
                self.assertEnds(result, 2, "")
                self.assertIn(said, result.err)
                self.assertIn("--help\" tells more", result.err)

    def test_trace_and_log(self):
        self.start_handset()
        result = self.ask("--trace", self.path("no/trace"), "at", "AT")
        self.assertEnds(result, 7, "")
        self.assertIn("--trace", result.err)
        self.assertEnds(self.ask("--trace", self.path("trace"), "--log", self.path("log"), "at", "AT"), 0, "OK\n")
        self.assertIn("AT-S AT\t\t\t\t[T:", self.read("trace"))
        self.assertIn("[AT] Send: AT", self.read("log"))

    def test_a_json_error_is_whole(self):
        answer = self.mova("--port", "9", "--json", "at", "AT").json()
        self.assertEqual((answer["command"], answer["ok"]), ("at", False))
        self.assertEqual(sorted(answer["error"]), ["code", "hex", "hint", "meaning", "message", "name", "status"])
        self.assertEqual((answer["error"]["code"], answer["error"]["hex"], answer["error"]["name"], answer["error"]["status"]),
                         (0x4000, "0x4000", "NotOpen", 3))


class EndTest(BenchTest):
    REST = 0.5  # seconds that a closed port is given before it may be opened again

    def seconds(self, *arguments):
        begin = time.monotonic()
        self.assertEnds(self.ask(*arguments), 0)
        return time.monotonic() - begin

    def test_a_command_ends_without_the_rest_of_a_closed_port(self):
        self.start_handset()
        # The rest is a sleep: on a busy machine too, some run is shorter than it if there is none.
        wait_until(lambda: self.seconds("at", "AT") < self.REST, "an end without the rest")

    def test_the_port_is_closed_in_order_and_can_be_opened_at_once(self):
        self.start_handset()
        for _ in range(5):
            self.assertEnds(self.mova("--port", os.path.realpath(self.link), "at", "AT"), 0, "OK\n")
        self.environment["TMPDIR"] = os.path.join(self.folder, "tmp")
        os.mkdir(self.environment["TMPDIR"])
        self.assertEnds(self.mova("--port", os.path.realpath(self.link), "at", "AT"), 0, "OK\n")
        self.assertEqual(os.listdir(self.environment["TMPDIR"]), [])  # the link to the device is gone

    def test_the_rest_is_kept_where_the_port_was_kept(self):
        self.start_handset()
        script = self.write("s.mova", "at AT\n")
        for arguments in (("--trace", self.path("trace"), "at", "AT"), ("run", script), ("monitor", "--count", "1", "--send", "AT")):
            self.assertGreaterEqual(self.seconds(*arguments), self.REST, arguments)


class ColoursTest(BenchTest):
    def test_none_in_a_pipe(self):
        self.start_handset()
        result = self.ask("at", "AT", "AT+NOSUCH")
        self.assertNotIn("\x1b", result.out + result.err)

    def test_always(self):
        self.start_handset()
        result = self.ask("--colour", "always", "at", "AT+NOSUCH")
        self.assertIn("\x1b[1;31mERROR\x1b[0m", result.out)
        self.assertIn("\x1b[1;31mmova: \x1b[0m", result.err)


if __name__ == "__main__":
    main()
