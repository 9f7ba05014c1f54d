#!/usr/bin/env python3
"""test_remote_line.py PROBE: the driver on a port of another machine, judged by the bytes that it sends."""
import socket
import subprocess
import sys
import time
import unittest

from rfc2217_server import NOTIFY_LINESTATE, NOTIFY_MODEMSTATE, PURGE_DATA, SET_BAUDRATE, SET_CONTROL, SET_PARITY, Server

PROBE = sys.argv.pop(1)
GENEROUS = 180  # seconds; machines are busy

# Flags of the line settings: what the lines do when nothing else is said, and the four kinds of flow control.
PLAIN = "1011"
RTS_HANDSHAKE, CTS_OUT, XON_OUT, XON_IN, XON_BOTH, DSR_OUT = "2011", "1015", "1111", "1211", "1311", "1019"

OPENING = ["0100000000", "0200", "0300", "0400", "0a1e", "0bff"]  # asks for all settings, then tells the masks
RAISED = ["0508", "050b"]  # DTR, RTS


class Probe:
    def __init__(self, test, name):
        self.process = subprocess.Popen([PROBE, name], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        test.addCleanup(self.end)

    def end(self):
        self.process.stdin.close()
        self.process.wait(GENEROUS)
        self.process.stdout.close()

    def __call__(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        return self.process.stdout.readline().rstrip("\n")


class RemoteLine(unittest.TestCase):
    def setUp(self):
        self.server = Server()
        self.addCleanup(self.server.close)

    def start(self, name=None):
        return Probe(self, name or self.server.name)

    def open(self):
        probe = self.start()
        self.assertEqual(probe("open"), "ok")
        self.assertTrue(self.server.ready.wait(GENEROUS))
        return probe

    def until(self, condition):
        deadline = time.monotonic() + GENEROUS
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.005)

    def asked_by(self, probe, line, count):
        """What the server is asked when the probe does this."""
        del self.server.asked[:]
        self.assertEqual(probe(line), "ok")
        self.until(lambda: len(self.server.asked) >= count)
        return self.server.asked

    def test_opening_asks_for_the_settings(self):
        probe = self.open()
        self.assertEqual(self.server.asked, OPENING)
        self.assertEqual(probe("settings"), "ok 9600 7 2 2")

    def test_a_host_by_an_address_with_colons(self):
        try:
            server = Server(socket.AF_INET6, "::1")
        except OSError:
            self.skipTest("this machine has no IPv6")
        self.addCleanup(server.close)
        self.assertEqual(self.start(server.name)("open"), "ok")

    def test_settings_are_those_of_the_document(self):
        probe = self.open()
        self.assertEqual(self.asked_by(probe, "set 57600 8 0 0 " + PLAIN, 7),
                         ["010000e100", "0208", "0301", "0401", "0501"] + RAISED)
        self.assertEqual(self.asked_by(probe, "set 1000000 7 1 2 1", 7),
                         ["01000f4240", "0207", "0302", "0402", "0501", "0509", "050c"])  # both lines dropped
        self.assertEqual(self.asked_by(probe, "set 300 5 4 1 " + PLAIN, 7)[:5],
                         ["010000012c", "0205", "0305", "0403", "0501"])  # space, one and a half
        self.assertEqual(probe("settings"), "ok 300 5 4 1")

    def test_flow_control(self):
        probe = self.open()
        for flags, expected in ((RTS_HANDSHAKE, ["0503", "0508"]), (CTS_OUT, ["0503"] + RAISED),
                                (XON_BOTH, ["0502"] + RAISED), (XON_OUT, ["0502", "050e"] + RAISED),
                                (XON_IN, ["0501", "050f"] + RAISED), (DSR_OUT, ["0501"] + RAISED)):
            asked = self.asked_by(probe, "set 9600 8 0 0 " + flags, 4 + len(expected))
            self.assertEqual(asked[4:], expected, flags)

    def test_what_the_server_does_not_come_up_with_is_refused(self):
        probe = self.open()
        for fixed in (SET_BAUDRATE, SET_PARITY):
            self.server.fixed = {fixed}
            self.assertEqual(probe("set 115200 8 0 0 " + PLAIN), "error 22")
            self.assertEqual(probe("settings"), "ok 9600 7 2 2")

    def test_lines_are_driven(self):
        probe = self.open()
        for function, expected in ((3, "050b"), (4, "050c"), (5, "0508"), (6, "0509")):
            self.assertEqual(self.asked_by(probe, "control %d" % function, 1), [expected])

    def test_a_line_that_the_port_does_not_have(self):
        probe = self.open()
        self.server.silent = {"0508", "050b"}
        # Not waited for in the settings, and no obstacle to what follows.
        self.assertEqual(probe("set 9600 8 0 0 " + PLAIN), "ok")
        self.assertEqual(probe("set 9600 8 0 0 " + CTS_OUT), "ok")
        self.assertEqual(probe("control 5"), "error 110")

    def test_lines_of_the_other_side(self):
        probe = self.open()
        self.assertEqual(probe("status"), "ok 0")
        self.server.command(NOTIFY_MODEMSTATE, b"\xb1")  # carrier, DSR, CTS; CTS has changed
        self.until(lambda: probe("status") == "ok 176")
        self.server.command(NOTIFY_MODEMSTATE, b"\x44")
        self.until(lambda: probe("status") == "ok 64")

    def test_line_errors(self):
        probe = self.open()
        self.server.command(NOTIFY_LINESTATE, b"\x0c")  # framing, parity
        self.server.send(b"?")
        self.assertEqual(probe("await"), "ok")
        self.assertEqual(probe("errors"), "ok 12 1")
        self.assertEqual(probe("errors"), "ok 0 1")

    def test_all_bytes_both_ways(self):
        probe = self.open()
        every = bytes(range(256)) + b"\xff\xff\xfe\xff\r\x00\r\n"
        self.assertEqual(probe("write " + every.hex()), "ok %d" % len(every))
        self.assertEqual(self.server.received(len(every)), every)
        self.server.send(every)
        self.assertEqual(probe("read %d" % len(every)), "ok " + every.hex())

    def test_much_both_ways(self):
        probe = self.open()
        much = bytes(i * i % 251 for i in range(300000))
        self.assertEqual(probe("write " + much.hex()), "ok 300000")
        self.assertEqual(self.server.received(len(much)), much)
        self.server.send(much)
        self.assertEqual(probe("read 300000"), "ok " + much.hex())

    def test_a_purge_leaves_nothing_of_before(self):
        probe = self.open()
        self.server.before_purged = b"under way"
        self.server.send(b"old")
        self.assertEqual(probe("await"), "ok")
        self.assertEqual(self.asked_by(probe, "purge 12", 1), ["0c03"])
        self.assertEqual(probe("errors"), "ok 0 0")
        self.assertEqual(self.asked_by(probe, "purge 8", 1), ["0c01"])
        self.assertEqual(self.asked_by(probe, "purge 4", 1), ["0c02"])
        self.assertEqual(probe("errors"), "ok 0 9")  # of the output alone: the input stays
        self.server.send(b"new")
        self.assertEqual(probe("read 12"), "ok " + b"under waynew".hex())

    def test_a_server_that_purges_and_says_nothing(self):
        probe = self.open()
        self.server.silent = {PURGE_DATA}
        self.server.before_settings = b"under way"
        self.assertEqual(self.asked_by(probe, "purge 12", 2), ["0c03", "0200"])
        self.assertEqual(self.asked_by(probe, "purge 12", 2), ["0c03", "0200"])
        self.assertEqual(probe("errors"), "ok 0 0")

    def test_a_lost_connection_is_a_hang_up(self):
        probe = self.open()
        self.server.cut()
        self.assertEqual(probe("await"), "ok")
        for line in ("errors", "write 41", "read 1", "status", "control 5", "purge 12", "settings", "set 9600 8 0 0 " + PLAIN):
            self.assertEqual(probe(line), "error 5", line)
        self.assertEqual(probe("close"), "ok")
        self.assertEqual(probe("open"), "ok")
        self.server.send(b"again")
        self.assertEqual(probe("read 5"), "ok " + b"again".hex())

    def test_a_connection_lost_in_a_call(self):
        probe = self.open()
        self.server.answer = lambda option: self.server.cut()
        self.assertEqual(probe("set 9600 8 0 0 " + PLAIN), "error 5")
        self.assertEqual(probe("purge 12"), "error 5")

    def test_what_was_written_goes_out_before_the_close(self):
        probe = self.open()
        self.assertEqual(probe("write " + "61" * 20000), "ok 20000")
        self.assertEqual(probe("close"), "ok")
        self.assertEqual(self.server.received(20000), b"a" * 20000)
        self.assertTrue(self.server.gone.wait(GENEROUS))

    def test_nothing_stays_open_behind_a_close(self):
        probe = self.start()
        counts = []
        for _ in range(4):
            self.assertEqual((probe("open"), probe("write 61"), probe("close")), ("ok", "ok 1", "ok"))
            time.sleep(0.5)  # a connection's thread, which the close has waited for, ends
            counts.append(probe("descriptors"))
        self.assertEqual(counts[1:], counts[:1] * 3)

    def test_a_close_ends_the_wait_of_another_thread(self):
        probe = self.open()
        self.assertEqual(probe("await-close"), "ok ok")
        self.assertEqual(probe("errors"), "error 9")
        self.assertTrue(self.server.gone.wait(GENEROUS))

    def test_a_server_without_serial_ports_is_refused(self):
        self.server.agrees = False
        self.assertEqual(self.start()("open"), "error 93")

    def test_a_server_that_says_nothing_is_refused(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            self.assertEqual(self.start("127.0.0.1:%d" % silent.getsockname()[1])("open"), "error 93")

    def test_a_server_that_ends_the_connection(self):
        self.server.serve = lambda connection: None
        self.assertEqual(self.start()("open"), "error 104")

    def test_a_server_that_does_not_tell_its_settings(self):
        self.server.silent = {SET_BAUDRATE}
        self.assertEqual(self.start()("open"), "error 110")

    def test_nobody_listens(self):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            name = "127.0.0.1:%d" % listener.getsockname()[1]
        self.assertEqual(self.start(name)("open"), "error 111")

    def test_there_is_no_such_host(self):
        self.assertEqual(self.start("nowhere.invalid:4001")("open"), "error 64")

    def test_a_host_that_does_not_answer_is_given_up(self):
        # A listener whose queue is full leaves those who knock without an answer, as a host that is switched off.
        with socket.create_server(("127.0.0.1", 0), backlog=0) as full:
            waiting = []
            for _ in range(3):
                knock = socket.socket()
                knock.setblocking(False)
                knock.connect_ex(full.getsockname())
                waiting.append(knock)
            time.sleep(0.2)
            self.assertEqual(self.start("127.0.0.1:%d" % full.getsockname()[1])("open"), "error 110")
            for knock in waiting:
                knock.close()


if __name__ == "__main__":
    unittest.main()
