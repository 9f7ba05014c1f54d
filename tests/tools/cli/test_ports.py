"""Ports on USB as a made-up sysfs tells them: what is listed, the udev rule, and the choice where none is named."""
import os

from bench import BenchTest, main

ADAPTER = "devices/pci0000:00/0000:00:14.0/usb1/1-1/%s"


class UsbTest(BenchTest):
    """The folder root/ is the system's, with its sys and dev; the links COMn are in dev."""

    def setUp(self):
        super().setUp()
        self.environment.update(MOVA_SYSROOT=self.path("root"), MOVA_DEVICE_DIR=self.path("root/dev"))
        for folder in ("root/sys/class/tty", "root/dev/serial/by-id"):
            os.makedirs(self.path(folder))

    def attribute(self, path, text):
        os.makedirs(os.path.dirname(self.path("root/sys/" + path)), exist_ok=True)
        self.write("root/sys/" + path, text + "\n")

    def terminal(self, name, folder, driver):
        """A device of the kernel's, on the folder of /sys."""
        self.attribute(folder + "/" + name + "/uevent", "")
        os.makedirs(self.path("root/sys/bus/any/drivers/" + driver), exist_ok=True)
        os.symlink(self.path("root/sys/bus/any/drivers/" + driver), self.path("root/sys/%s/%s/driver" % (folder, name)))
        os.mkdir(self.path("root/sys/class/tty/" + name))
        os.symlink(self.path("root/sys/%s/%s" % (folder, name)), self.path("root/sys/class/tty/%s/device" % name))
        self.write("root/dev/" + name, "")

    def adapter(self, socket, vendor, product, serial=None, name="FT232R USB UART"):
        folder = ADAPTER % socket
        self.attribute(folder + "/idVendor", vendor)
        self.attribute(folder + "/idProduct", product)
        self.attribute(folder + "/product", name)
        if serial is not None:
            self.attribute(folder + "/serial", serial)

    def port_of(self, socket, name, interface="00", driver="ftdi_sio", index=None):
        folder = (ADAPTER + "/%s:1.%d") % (socket, socket, int(interface, 16))
        self.attribute(folder + "/bInterfaceNumber", interface)
        self.terminal(name, folder, driver)
        if index is not None:
            self.attribute("%s/%s/port_number" % (folder, name), index)

    def plain_adapter(self):
        self.adapter("1-1.2", "0403", "6001", "A50285BI")
        self.port_of("1-1.2", "ttyUSB0")
        os.symlink("../../ttyUSB0", self.path("root/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0"))

    def on_board(self):
        self.terminal("ttyS0", "devices/pnp0/00:01", "serial")

    def number(self, number, name):
        os.symlink(name, self.path("root/dev/COM%d" % number))

    def rule(self, *arguments):
        result = self.mova("ports", "--udev", *arguments)
        self.assertEnds(result, 0)
        remark, rule = result.lines
        self.assertTrue(remark.startswith("# "), result)
        return rule

    def device(self, name):
        return os.path.realpath(self.path("root/dev/" + name))


class ListTest(UsbTest):
    def test_an_adapter_is_listed_with_its_ids_serial_number_and_link(self):
        self.plain_adapter()
        self.number(3, "ttyUSB0")
        self.on_board()
        result = self.mova("ports")
        self.assertEnds(result, 0)
        self.assertEqual([" ".join(line.split()) for line in result.lines],
                         ["PORT DEVICE DRIVER CARD REQUESTS VID:PID SERIAL NUMBER",
                          "COM3 %s USB Serial Port (COM3) 6 whole 0403:6001 A50285BI" % self.device("ttyUSB0"),
                          self.path("root/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0"),
                          "- %s Communications Port 1 byte by byte" % self.path("root/dev/ttyS0")])

    def test_as_json(self):
        self.plain_adapter()
        port, = self.mova("ports", "--json").json()["ports"]
        self.assertEqual(port, {"number": None, "device": self.path("root/dev/ttyUSB0"), "driver": "USB Serial Port", "cardType": 6,
                                "usb": True, "usbId": "0403:6001", "serialNumber": "A50285BI", "socket": "1-1.2",
                                "byId": self.path("root/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0")})


class RuleTest(UsbTest):
    def test_goes_by_vendor_product_and_serial_number(self):
        self.plain_adapter()
        self.assertEqual(self.rule("3"), 'SUBSYSTEM=="tty", ATTRS{idVendor}=="0403", ATTRS{idProduct}=="6001", '
                                         'ATTRS{serial}=="A50285BI", SYMLINK+="COM3"')

    def test_says_whose_it_is_and_where_it_belongs(self):
        self.plain_adapter()
        result = self.mova("ports", "--udev", "3")
        self.assertEqual(result.lines[0], "# COM3: 0403:6001 FT232R USB UART, serial number A50285BI")
        self.assertIn("/etc/udev/rules.d/70-handset.rules", result.err)
        self.assertEqual(self.mova("--json", "ports", "--udev", "3").json(),
                         {"command": "ports", "ok": True, "number": 3, "device": self.path("root/dev/ttyUSB0"),
                          "rule": result.lines[1]})

    def test_without_a_serial_number_goes_by_the_socket(self):
        self.adapter("1-1.4", "1a86", "7523", name="USB Serial")
        self.port_of("1-1.4", "ttyUSB0", driver="ch341-uart")
        self.assertEqual(self.rule("12"), 'SUBSYSTEM=="tty", KERNELS=="1-1.4", ATTRS{idVendor}=="1a86", '
                                          'ATTRS{idProduct}=="7523", SYMLINK+="COM12"')

    def test_two_adapters_with_one_serial_number_go_by_the_socket(self):
        for socket, name in (("1-1.1", "ttyUSB0"), ("1-1.2", "ttyUSB1")):
            self.adapter(socket, "10c4", "ea60", "0001")
            self.port_of(socket, name, driver="cp210x")
        self.number(5, "ttyUSB1")
        self.assertEqual(self.rule("5"), 'SUBSYSTEM=="tty", KERNELS=="1-1.2", ATTRS{idVendor}=="10c4", '
                                         'ATTRS{idProduct}=="ea60", SYMLINK+="COM5"')

    def test_ports_of_one_adapter_are_told_by_their_interface(self):
        self.adapter("1-1.2", "0403", "6011", "FT4")
        self.port_of("1-1.2", "ttyUSB0", "00", index="0")
        self.port_of("1-1.2", "ttyUSB1", "0a", index="0")
        self.number(8, "ttyUSB1")
        self.assertEqual(self.rule("8"), 'SUBSYSTEM=="tty", ATTRS{idVendor}=="0403", ATTRS{idProduct}=="6011", '
                                         'ATTRS{serial}=="FT4", ENV{ID_USB_INTERFACE_NUM}=="0a", SYMLINK+="COM8"')

    def test_ports_of_one_interface_are_told_by_their_index(self):
        self.adapter("1-1.2", "9710", "7840", "M4")
        self.port_of("1-1.2", "ttyUSB0", index="0")
        folder = (ADAPTER + "/1-1.2:1.0") % "1-1.2"
        self.terminal("ttyUSB1", folder, "mos7840")
        self.attribute(folder + "/ttyUSB1/port_number", "1")
        self.number(8, "ttyUSB1")
        self.assertIn('ENV{ID_USB_INTERFACE_NUM}=="00", ENV{.ID_PORT}=="1", SYMLINK+="COM8"', self.rule("8"))

    def test_what_stands_for_something_else_in_a_rule_stands_for_any_character(self):
        self.adapter("1-1.2", "0403", "6001", 'A"*\\[1')
        self.port_of("1-1.2", "ttyUSB0")
        self.assertIn('ATTRS{serial}=="A????1"', self.rule("3"))

    def test_one_of_several_is_named_by_port(self):
        self.plain_adapter()
        self.adapter("1-1.3", "0403", "6001", "B")
        self.port_of("1-1.3", "ttyUSB1")
        result = self.mova("ports", "--udev", "3")
        self.assertEnds(result, 2, "")
        self.assertIn("several USB adapters: which is to be COM3?", result.err)
        for name, serial in (("ttyUSB0", "A50285BI"), ("ttyUSB1", "B")):
            self.assertIn('ATTRS{serial}=="%s", SYMLINK+="COM3"' % serial, self.rule("3", "--port", self.path("root/dev/" + name)))
        self.assertEnds(self.mova("--port", "/dev/null", "ports", "--udev", "3"), 2, "")

    def test_none_for_what_is_not_on_usb(self):
        self.on_board()
        self.assertIn("there is no USB adapter", self.mova("ports", "--udev", "3").err)
        self.number(3, "ttyS0")
        result = self.mova("ports", "--udev", "3")
        self.assertEnds(result, 2, "")
        self.assertIn("ttyS0 is not on USB", result.err)
        self.assertEnds(self.mova("ports", "--udev", "0"), 2, "")
        self.assertEnds(self.mova("ports", "--udev", "65536"), 2, "")


class ChoiceTest(UsbTest):
    """Without --port. The handset's pseudo-terminal is made to look like an adapter's."""

    def handset_on_usb(self):
        self.link = self.path("handset")
        self.start_handset()
        device = os.path.realpath(self.link)
        self.adapter("1-1.2", "0403", "6001", "A50285BI")
        self.port_of("1-1.2", os.path.basename(device))
        os.remove(self.path("root/dev/" + os.path.basename(device)))  # it is in the system's own
        return device

    def test_the_only_port_is_taken_and_named(self):
        device = self.handset_on_usb()
        self.number(3, device)
        result = self.mova("at", "AT")
        self.assertEnds(result, 0, "OK\n")
        self.assertEqual(result.err, "mova: using COM3 (%s): no port is named, and it is the only one\n" % device)

    def test_it_is_named_also_where_the_result_is_json(self):
        self.number(3, self.handset_on_usb())
        result = self.mova("--json", "at", "AT")
        self.assertTrue(result.json()["ok"])  # the standard output holds nothing else
        self.assertIn("mova: using COM3 (", result.err)

    def test_it_is_not_taken_for_a_line_of_a_scripts_step(self):
        self.number(3, self.handset_on_usb())
        result = self.mova("run", self.write("s.mova", "at AT\nexpect-not *using*\n"))
        self.assertEnds(result, 0)
        self.assertIn("mova: using COM3 (", result.err)

    def test_the_boards_own_port_does_not_count_beside_another(self):
        device = self.handset_on_usb()
        self.number(3, device)
        self.on_board()
        result = self.mova("at", "AT")
        self.assertEnds(result, 0, "OK\n")
        self.assertIn("the only one beside the board's own %s\n" % self.path("root/dev/ttyS0"), result.err)

    def test_the_boards_own_port_alone_is_not_taken(self):
        self.on_board()
        result = self.mova("at", "AT")
        self.assertEnds(result, 2, "")
        self.assertIn("only the board's own is there: %s\n" % self.path("root/dev/ttyS0"), result.err)
        self.assertIn("--port " + self.path("root/dev/ttyS0"), result.err)

    def test_with_a_number_it_counts(self):
        self.on_board()
        self.number(1, "ttyS0")
        result = self.mova("at", "AT")
        self.assertEnds(result, 3, "")  # it is only a file
        self.assertIn("using COM1 (", result.err)

    def test_several_are_not_guessed_among(self):
        self.plain_adapter()
        self.adapter("1-1.3", "0403", "6001", "B")
        self.port_of("1-1.3", "ttyUSB1")
        result = self.mova("at", "AT")
        self.assertEnds(result, 2, "")
        self.assertIn("there are several ports and none is named", result.err)

    def test_none_is_there(self):
        result = self.mova("at", "AT")
        self.assertEnds(result, 2, "")
        self.assertIn("no port is named and none is there", result.err)

    def test_a_port_that_is_named_is_not_told(self):
        self.handset_on_usb()
        self.assertEqual(self.mova("--port", self.link, "at", "AT").err, "")


if __name__ == "__main__":
    main()
