"""A server of RFC 2217 with a port that is played here. Written from the document, with its numbers as they stand there,
to judge a client by the bytes that it sends."""
import queue
import socket
import threading

IAC, DONT, DO, WONT, WILL, SB, SE = 255, 254, 253, 252, 251, 250, 240
BINARY, SUPPRESS_GO_AHEAD, COM_PORT = 0, 3, 44
SET_BAUDRATE, SET_DATASIZE, SET_PARITY, SET_STOPSIZE, SET_CONTROL = 1, 2, 3, 4, 5
NOTIFY_LINESTATE, NOTIFY_MODEMSTATE = 106, 107
SET_LINESTATE_MASK, SET_MODEMSTATE_MASK, PURGE_DATA = 10, 11, 12
OF_SERVER = 100


class Server:
    """Serves one connection after another until it is closed. `asked` has each command of the client as hexadecimal text
    from its number on, `data` what came for the serial port."""

    def __init__(self, family=socket.AF_INET, host="127.0.0.1"):
        self.listener = socket.create_server((host, 0), family=family)
        self.port = self.listener.getsockname()[1]
        self.name = ("[%s]:%d" if family == socket.AF_INET6 else "%s:%d") % (host, self.port)
        self.settings = {SET_BAUDRATE: bytes.fromhex("00002580"), SET_DATASIZE: b"\x07", SET_PARITY: b"\x03",
                         SET_STOPSIZE: b"\x02"}
        self.fixed = set()     # settings that stay as they are
        self.silent = set()    # commands that are not answered, as hexadecimal text or by their number
        self.before_purged = b""    # is sent just before the answer to a purge
        self.before_settings = b""  # and to anything else
        self.agrees = True     # to RFC 2217
        self.asked, self.data = [], queue.Queue()
        self.connection = None
        self.ready = threading.Event()   # a client is connected, and has told its masks
        self.gone = threading.Event()    # a client has left
        self.on_data = lambda server, data: None
        threading.Thread(target=self.run, daemon=True).start()

    def close(self):
        try:
            self.listener.shutdown(socket.SHUT_RDWR)  # wakes the thread that accepts
        except OSError:
            pass
        self.listener.close()
        self.cut()

    def cut(self):
        connection = self.connection
        if connection is not None:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def raw(self, data):
        self.connection.sendall(data)

    def send(self, data):
        """Data of the serial port."""
        self.raw(data.replace(b"\xff", b"\xff\xff"))

    def command(self, number, value, data=b""):
        """Behind the data, in one packet."""
        self.raw(data.replace(b"\xff", b"\xff\xff") + bytes((IAC, SB, COM_PORT, number)) +
                 value.replace(b"\xff", b"\xff\xff") + bytes((IAC, SE)))

    def received(self, count):
        data = b""
        while len(data) < count:
            data += bytes((self.data.get(timeout=120),))
        return data

    def run(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.gone.clear()
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            self.connection = connection
            try:
                self.serve(connection)
            except OSError:
                pass
            self.connection = None
            connection.close()
            self.gone.set()

    def serve(self, connection):
        if self.agrees:
            self.raw(bytes((IAC, DO, COM_PORT)))
        self.raw(bytes((IAC, WILL, BINARY, IAC, DO, BINARY, IAC, WILL, SUPPRESS_GO_AHEAD)))
        rest = b""
        while True:
            received = connection.recv(4096)
            if not received:
                return
            rest = self.take(rest + received)

    def take(self, text):
        """What is not whole yet is left."""
        data = bytearray()
        while text:
            if text[0] != IAC:
                data.append(text[0])
                text = text[1:]
            elif len(text) < 2:
                break
            elif text[1] == IAC:
                data.append(IAC)
                text = text[2:]
            elif text[1] == SB:
                end = 2
                while end + 1 < len(text) and not (text[end] == IAC and text[end + 1] == SE):
                    end += 2 if text[end] == IAC else 1
                if end + 1 >= len(text):
                    break
                self.pass_on(data)
                data = bytearray()
                self.answer(text[2:end].replace(b"\xff\xff", b"\xff"))
                text = text[end + 2:]
            elif text[1] in (DO, DONT, WILL, WONT):
                if len(text) < 3:
                    break
                if text[2] == COM_PORT and text[1] == WILL and not self.agrees:
                    self.raw(bytes((IAC, DONT, COM_PORT)))
                text = text[3:]
            else:
                text = text[2:]
        self.pass_on(data)
        return text

    def pass_on(self, data):
        if data:
            for byte in data:
                self.data.put(byte)
            self.on_data(self, bytes(data))

    def answer(self, option):
        if option[0] != COM_PORT:
            return
        number, value = option[1], option[2:]
        self.asked.append(option[1:].hex())
        if number in (SET_LINESTATE_MASK, SET_MODEMSTATE_MASK):
            self.command(number + OF_SERVER, value)
            if number == SET_MODEMSTATE_MASK:
                self.ready.set()
            return
        if number in self.silent or option[1:].hex() in self.silent:
            return
        if number in self.settings:
            if any(value) and number not in self.fixed:  # 0 only asks
                self.settings[number] = value
            value = self.settings[number]
        self.command(number + OF_SERVER, value, self.before_purged if number == PURGE_DATA else self.before_settings)
