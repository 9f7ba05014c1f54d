"""mova on ports of other machines: Debian's ser2net in front of the simulated handset, and a server played here for what
a pseudo-terminal does not have."""
import os
import shutil
import socket
import subprocess
import sys

from bench import GENEROUS, MOVA, SOURCE, BenchTest, main, wait_until

sys.path.insert(0, os.path.join(SOURCE, "tests", "line", "remote"))
from rfc2217_server import NOTIFY_MODEMSTATE, SET_BAUDRATE, Server  # noqa: E402

SER2NET = shutil.which("ser2net") or "/usr/sbin/ser2net"  # the folder is not in every user's path

NOWHERE = "[no::where]:4001"  # that this is no machine's name is known without asking a name server


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


def answers(port):
    """Whether somebody listens; a server of one connection needs a moment to be free again."""
    try:
        socket.create_connection(("127.0.0.1", port)).close()
    except ConnectionRefusedError:
        return False
    return True


class Ser2netTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.port, self.plain, self.watch = free_port(), free_port(), free_port()
        self.remote = "127.0.0.1:%d" % self.port
        self.start_handset()
        configuration = self.write("ser2net.yaml", "%YAML 1.1\n---\n" + "".join(
            "connection: &%s\n  accepter: %s,127.0.0.1,%d\n  connector: serialdev,%s,9600n81,local\n" % (name, accepter, port, device)
            for name, accepter, port, device in (("handset", "telnet(rfc2217),tcp(nodelay)", self.port, self.link),
                                                 ("plain", "tcp", self.plain, self.link),
                                                 ("watch", "tcp", self.watch, "/nowhere"))))
        self.server = subprocess.Popen([SER2NET, "-n", "-d", "-c", configuration], stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
        self.addCleanup(self.end_server)
        wait_until(lambda: answers(self.watch), "ser2net")  # its last: the others listen by then

    def end_server(self):
        self.server.terminate()
        self.server.wait(GENEROUS)

    def far(self, *arguments, **options):
        return self.mova("--port", self.remote, *arguments, **options)

    def test_commands_of_every_kind(self):
        self.assertEnds(self.far("at", "AT+CSQ"), 0, "+CSQ: 21,99\nOK\n")
        self.assertEnds(self.far("rf", "general", "5", "0x0102"), 0, "05000201\n")
        self.assertEnds(self.far("e2p", "write", "0x1234", "2", "AABB"), 0, "2 bytes written and read back\n")
        self.assertEnds(self.far("e2p", "read", "0x1234", "2"), 0, "AABB\n")
        self.assertEnds(self.far("raw", "write", "--text", "AT\\r", "--read", "--bytes", "9", "--for", "60000", "--ascii"), 0,
                        "AT\\r\\r\\nOK\\r\\n\n")
        self.assertEnds(self.far("signals"), 0, "CTS off  DSR off  RING off  CARRIER off\n")
        self.assertIn("490154203237518", self.far("info").out)

    def test_a_dump_is_that_of_the_cable(self):
        here = ("e2p", "dump", "--objects", "0x1000-0x103F,0x1234")
        self.assertEnds(self.far(*here, "far.e2p"), 0)
        self.end_server()
        self.assertEnds(self.ask(*here, "near.e2p"), 0)
        far, near = ([line for line in self.read(name).splitlines() if not line.startswith("#")]
                     for name in ("far.e2p", "near.e2p"))
        self.assertGreater(len(far), 0)
        self.assertEqual(far, near)

    def test_a_number_stands_for_a_port_of_another_machine(self):
        os.symlink(self.remote, self.path("COM8"))
        self.assertEnds(self.mova("--port", "8", "at", "AT+CSQ"), 0, "+CSQ: 21,99\nOK\n")
        listed = [line.split() for line in self.mova("ports").lines]
        self.assertIn(["COM8", self.remote, "Remote", "Port", "(COM8)", "0", "byte", "by", "byte"], listed)

    def test_a_shell_keeps_the_connection(self):
        result = self.far("shell", given="at AT\nat AT+CSQ\nat AT\n")
        self.assertEnds(result, 0, "OK\n+CSQ: 21,99\nOK\nOK\n")

    def test_another_program_has_the_port(self):
        with socket.create_connection(("127.0.0.1", self.port)) as other:
            other.recv(1)
            result = self.far("at", "AT")
            self.assertEnds(result, 3, "")
            self.assertIn("mova: %s: the server ended the connection at once" % self.remote, result.err)
            self.assertIn("hint: another program may have the port", result.err)

    def test_the_device_over_there_is_unplugged(self):
        monitor = self.start("--port", self.remote, "monitor", "--seconds", "15", "--send", "AT", stdin=subprocess.DEVNULL)
        monitor.stdout.readline()  # the answer: a ser2net that still holds it when its device goes keeps the connection
        self.end_handset()
        result = self.finish(monitor)
        self.assertEqual(result.status, 6, result)
        self.assertIn("the port went down", result.err)

    def test_the_server_ends(self):
        monitor = self.start("--port", self.remote, "monitor", "--seconds", "4", "--send", "AT", stdin=subprocess.DEVNULL)
        wait_until(lambda: "<- AT" in self.read("handset.log"), "the first command")
        self.end_server()
        result = self.finish(monitor)
        self.assertEqual(result.status, 6, result)
        self.assertIn("the port went down", result.err)

    def test_a_server_that_does_not_speak_rfc_2217(self):
        result = self.mova("--port", "127.0.0.1:%d" % self.plain, "at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("the server does not speak RFC 2217, so the port cannot be set", result.err)
        self.assertIn("hint: of ser2net the accepter has to be telnet(rfc2217),tcp,PORT", result.err)


class PlayedServerTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.server = Server()
        self.addCleanup(self.server.close)
        self.remote = self.server.name

    def far(self, *arguments, **options):
        return self.mova("--port", self.remote, *arguments, **options)

    def test_the_baud_rate_travels(self):
        self.server.on_data = lambda server, data: server.send(b"\r\nOK\r\n" if b"\r" in data else b"")
        self.assertEnds(self.far("--baud", "57600", "at", "AT"), 0, "OK\n")
        self.assertIn("010000e100", self.server.asked)

    def test_lines_travel_both_ways(self):
        given = self.server.answer

        def with_lines(option):
            if option[1:] == b"\x05\x09":  # DTR is dropped; told before it is acknowledged, so in time for the next question
                self.server.command(NOTIFY_MODEMSTATE, b"\x90")
            given(option)
        self.server.answer = with_lines
        result = self.far("shell", given="signals dtr=off\nsignals\n")
        self.assertEqual(result.status, 0, result)
        self.assertEqual(result.lines[-1], "CTS on  DSR off  RING off  CARRIER on")
        self.assertIn("0509", self.server.asked)

    def test_a_connection_cut_in_an_exchange(self):
        self.server.on_data = lambda server, data: server.cut()
        result = self.far("rf", "general", "5", "0x0102")
        self.assertEqual(result.status, 6, result)
        self.assertRegex(result.err, "the port went down|writing to the port failed")  # the last bytes may still be to be written

    def test_a_rate_that_the_other_side_does_not_have(self):
        self.server.fixed = {SET_BAUDRATE}
        result = self.far("at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("0x4003 NotConfigured", result.err)

    def test_nobody_listens(self):
        name = "127.0.0.1:%d" % free_port()
        result = self.mova("--port", name, "at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("mova: %s: the machine is there, and nothing listens on this port" % name, result.err)

    def test_there_is_no_such_machine(self):
        result = self.mova("--port", NOWHERE, "at", "AT")
        self.assertEnds(result, 3, "")
        self.assertIn("mova: %s: there is no such machine" % NOWHERE, result.err)

    def test_as_json(self):
        result = self.mova("--json", "--port", NOWHERE, "at", "AT")
        self.assertEqual(result.json()["error"]["message"], "%s: there is no such machine" % NOWHERE)

    def test_without_a_network(self):
        in_none = ["unshare", "--net", "--map-root-user"]
        if subprocess.run([*in_none, "true"], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("this system gives no network namespaces")
        for name, why in (("nowhere.invalid:4001", ": its name cannot be looked up, as no name server answers"),
                          ("127.0.0.1:4001", " cannot be reached, as this machine is in no network")):
            result = subprocess.run([*in_none, MOVA, "--port", name, "at", "AT"], env=self.environment, cwd=self.folder,
                                    capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=GENEROUS)
            self.assertEqual((result.returncode, result.stdout), (3, ""), result.stderr)
            self.assertIn("mova: " + name + why, result.stderr)

    def test_without_the_module_the_package_is_named(self):
        alone = self.path("alone")
        os.mkdir(alone)
        shutil.copy(MOVA, alone)
        result = subprocess.run([os.path.join(alone, "mova"), "--port", self.remote, "at", "AT"], env=self.environment,
                                capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=GENEROUS)
        self.assertEqual((result.returncode, result.stdout), (3, ""), result.stderr)
        self.assertIn("what speaks RFC 2217 is not here", result.stderr)
        self.assertIn("hint: install the package libgensio4", result.stderr)

    def test_a_file_of_such_a_name_is_reached_by_its_path(self):
        self.start_handset()
        os.symlink(os.path.realpath(self.link), self.path("lab1:4001"))
        self.assertEnds(self.mova("--port", "./lab1:4001", "at", "AT"), 0, "OK\n")


if __name__ == "__main__":
    main()
