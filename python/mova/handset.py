"""A handset as Python likes it: bytes and exceptions, a context manager, iterators."""
from __future__ import annotations

import contextlib
import os
import time
import weakref
from typing import Callable, Iterator, List, Optional, Tuple, Union

from . import _native
from .numbers import Code, Info, Mode

Path = Union[str, "os.PathLike[str]"]

_READ = _native.numbers["Access"]["Read"]
_WRITE = _native.numbers["Access"]["Write"]
_WHOLE_RECORD = _native.numbers["Collect"]["WholeRecord"]
_PENDING_TOO = _native.numbers["Collect"]["TextAndPending"]
_PAUSE = 0.005  # seconds between two looks at what has come
_CONFIRMED = 1.0  # seconds after which an acknowledged request has no confirmation

_ENDS_WELL = ("OK", "CONNECT")
_ENDS_BADLY = ("ERROR", "NO CARRIER", "BUSY", "NO ANSWER", "NO DIALTONE")
_ENDS_WITH_DETAILS = ("+CME ERROR:", "+CMS ERROR:", "CONNECT ")


class HandsetError(Exception):
    """What went wrong: code is its number, name what it is called ("NoAnswer"), text what it means."""

    def __init__(self, code: int, doing: str) -> None:
        self.code = int(code)
        self.name = _native.code_name(self.code)
        self.text = _native.code_text(self.code)
        super().__init__(f"{doing}: {self.text} ({self.name}, 0x{self.code:04X})")


class AtError(Exception):
    """The handset answered an AT command with something else than OK: result is its final line, lines what came before."""

    def __init__(self, command: str, lines: List[str], result: str) -> None:
        self.command, self.lines, self.result = command, lines, result
        super().__init__(f"{command}: {result}")


def _check(code: int, doing: str) -> None:
    if code != 0:
        raise HandsetError(code, doing)


def _hex(data: bytes) -> bytes:
    return bytes(data).hex().upper().encode()


def _unhex(text: Optional[bytes]) -> bytes:
    digits = (text or b"").decode("ascii")
    return bytes.fromhex(digits[:len(digits) // 2 * 2])


def _ends(line: str) -> bool:
    return line in _ENDS_WELL or line in _ENDS_BADLY or line.startswith(_ENDS_WITH_DETAILS)


class Handset:
    """One handset on a serial port.

        with Handset("/dev/ttyUSB0") as handset:
            print(handset.at("AT+CSQ"))

    port: the path of a device, or the number n of a link /dev/COMn. The port is open from "with", or open(), to its end.
    trace, log: files that are appended to. on_confirmation: called with the bytes of each confirmation while the mode is
    Mode.Events, on the library's own thread; what it raises goes to sys.unraisablehook.

    A call lets other threads of Python run while it waits. Calls from several threads run one after another. Ctrl-C ends the
    wait of the main thread: KeyboardInterrupt, and the port is closed. Failures are HandsetError.
    """

    def __init__(self, port: Union[int, Path], *, baud_rate: int = 115200, trace: Optional[Path] = None,
                 log: Optional[Path] = None, on_confirmation: Optional[Callable[[bytes], None]] = None) -> None:
        itself = weakref.ref(self)

        def told(kind: int, length: int, text: bytes) -> None:
            handset = itself()
            if handset is not None:
                handset._told(text)

        self.on_confirmation = on_confirmation
        self._mode = int(Mode.SynchronousOk)
        self._port = port
        numbered = isinstance(port, int)
        self._manager = _native.CommandManager(b"" if numbered else os.fsencode(port) or b".", told)
        if numbered:
            self._manager.put_CommPortId(port)
        self._manager.put_BaudRate(baud_rate)
        if trace is not None:
            _check(self._manager.ActivateMovaLogging(os.fsencode(trace), 0, _native.START_TRACE), f"trace {trace}")
        if log is not None:
            self._manager.Set_Log_File_Path(os.fsencode(log))

    def _told(self, text: bytes) -> None:
        listener = self.on_confirmation
        if listener is None or not text:
            return  # a look at the port that found nothing whole
        try:
            data = bytes.fromhex(text.decode("ascii"))
        except ValueError:
            return  # the lines of an AT answer, which at() waits for
        listener(data)

    # --- the port

    def open(self) -> "Handset":
        """Opens the port; a port that is open stays so."""
        if not self.is_open:
            _check(self._manager.InitCmdManager(0), f"port {self._port}")
            self.mode = self._mode
        return self

    def close(self) -> None:
        """Closes the port for good. Every later call raises ValueError."""
        self._manager.close()

    def __enter__(self) -> "Handset":
        return self.open()

    def __exit__(self, *_: object) -> None:
        self.close()

    @property
    def is_open(self) -> bool:
        return bool(self._manager.IsCommDeviceOpen())

    def fileno(self) -> int:
        """The port's file descriptor."""
        handle = self._manager.GetDeviceHandle()
        _check(0 if handle is not None and handle >= 0 else Code.NotOpen, f"port {self._port}")
        return handle

    @property
    def version(self) -> str:
        return self._manager.GetCmpVersion(1).decode("latin-1")

    @property
    def mode(self) -> int:
        """Who takes in the handset's answers: Mode.SynchronousOk at first. To change it to a synchronous one empties the
        queue of confirmations."""
        return self._mode

    @mode.setter
    def mode(self, mode: int) -> None:
        _check(self._manager.SwitchOperateMode(int(mode), 0), "the operating mode")
        self._mode = int(mode)

    @contextlib.contextmanager
    def in_mode(self, mode: int) -> Iterator["Handset"]:
        """Another mode for the time of a "with", and the one before afterwards."""
        before = self._mode
        self.mode = mode
        try:
            yield self
        finally:
            self.mode = before

    def set_timeout(self, which: int, seconds: float) -> None:
        """which: of Timeout."""
        self._manager.AssignTimeoutConstant(int(which), round(seconds * 1000))

    # --- AT commands

    def at(self, command: str, timeout: float = 5.0) -> List[str]:
        """The information lines of the answer. AtError: the final result is not OK. NoAnswer: none came within the time."""
        lines: List[str] = []
        with self.in_mode(Mode.Synchronous):
            _check(self._manager.SendNormalAtCmd(0, command.encode("latin-1")), command)
            limit = time.monotonic() + timeout
            while True:
                late = time.monotonic() >= limit
                code, _, text = self._manager.GetNormalAtResult(_PENDING_TOO if late else _WHOLE_RECORD)
                _check(code, command)
                for line in text.decode("latin-1").replace("\r", "~").split("~"):
                    line = line.strip()
                    if line and (lines or line != command.strip()):
                        lines.append(line)
                    if _ends(line):
                        if lines.pop() not in _ENDS_WELL and not line.startswith("CONNECT "):
                            raise AtError(command, lines, line)
                        return lines
                if late:
                    raise HandsetError(Code.NoAnswer, command)
                if not text:
                    time.sleep(_PAUSE)

    def set_property(self, which: int, parameter: int = 0) -> None:
        """Sends one of the fixed AT commands (Property) and waits for its answer."""
        _check(self._manager.SetAtCmdProperty(int(which) + _native.PROPERTY_WAITS, parameter), f"property {which}")

    def info(self, which: int) -> str:
        """What the handset says of itself; which: of Info. Several lines are separated by "\\n"; an echo is left out."""
        parameter = b"0" if which == Info.FlashStatus else b""
        code, text = self._manager.SpecificInfo(int(which), _READ, parameter)
        _check(code, f"information {which}")
        told = (text or b"").decode("latin-1")
        if which not in (Info.Version, Info.Imei, Info.OtpStatus):
            return told
        lines = (line.strip() for line in told.replace("~", "\n").splitlines())
        return "\n".join(line for line in lines if line and not line.startswith("AT"))

    def set_info(self, which: int, parameter: str) -> str:
        """Writes an identity field; the value as it was written."""
        code, text = self._manager.SpecificInfo(int(which), _WRITE, parameter.encode("latin-1"))
        _check(code, f"information {which}")
        return (text or b"").decode("latin-1")

    # --- RF tests and confirmations: in a synchronous mode each request gives the handset's confirmation, or b"" when none came
    # within a second. In the background modes it gives None, and the confirmation comes by confirmations() or as an event.

    def rf_general(self, service: int, index: int) -> Optional[bytes]:
        """Starts an RF test service."""
        return self._confirmation(self._manager.RfGeneralTestReq(service, index), "RF test")

    def rf_change_parameter(self, request: int, access: int, index: int, parameter: int) -> Optional[bytes]:
        """Changes an RF parameter."""
        return self._confirmation(self._manager.RfChangeParamReq(request, access, index, parameter), "RF parameter")

    def rf_change_table(self, request: int, access: int, index: int, table: bytes) -> Optional[bytes]:
        """Changes an RF table of at most 1024 bytes."""
        if len(table) > 1024:
            raise ValueError(f"a table has at most 1024 bytes, these are {len(table)}")
        return self._confirmation(self._manager.RfChangeTableReq(request, access, index, len(table), bytes(table)),
                                  "RF table")

    def rf_test_case(self, request: int, access: int) -> Optional[bytes]:
        """Runs an RF test case."""
        return self._confirmation(self._manager.RfTestCaseReq(request, access), "RF test case")

    def _confirmation(self, code: int, doing: str) -> Optional[bytes]:
        _check(code, doing)
        if self._mode in (Mode.Events, Mode.Background, Mode.BackgroundOk):
            return None
        limit = time.monotonic() + _CONFIRMED
        while True:
            for data in self.confirmations():
                return data
            if time.monotonic() >= limit:
                return b""
            time.sleep(_PAUSE)
            self._manager.GetNormalAtResult(_WHOLE_RECORD)  # takes in what has come meanwhile

    def confirmations(self, wait: float = 0.0) -> Iterator[bytes]:
        """The confirmations in the queue, oldest first, each taken from it. Ends when none has come for so many seconds.
        They come into the queue in the background modes: Mode.BackgroundOk for the answers to requests, Mode.Background for
        what the handset sends of itself."""
        limit = time.monotonic() + wait
        while True:
            _, length, _, data = self._manager.FetchQueuedCnfItem()
            if length > 0:
                yield data[:length]
                limit = time.monotonic() + wait
            elif time.monotonic() >= limit:
                return
            else:
                time.sleep(_PAUSE)

    def clear(self) -> None:
        """Takes in what waits, then empties port and queue."""
        self._manager.ClearQueue()

    # --- E2P objects, Bluetooth controller and WiFi

    def _reply(self, result: Tuple[int, Optional[bytes]], doing: str) -> bytes:
        code, text = result
        _check(code, doing)
        return _unhex(text)

    def e2p_read(self, object_id: int, record: int) -> bytes:
        """The whole object: a reply that was cut short or damaged on the line is WrongDataLength."""
        return self._reply(self._manager.ReadWholeE2PObject(object_id, record), f"E2P object {object_id:#06x}")

    def e2p_write(self, object_id: int, record: int, data: bytes) -> None:
        """Writes the object; what the handset echoes is compared with it."""
        self._reply(self._manager.WriteE2PObject(object_id, record, _hex(data)), f"E2P object {object_id:#06x}")

    def e2p_read_range(self, object_id: int, record: int, start: int, length: int) -> bytes:
        """A part of the object, in bytes; beyond its end there is what is left."""
        code, _, text = self._manager.ReadE2PObjectEx(object_id, record, 2 * start, 2 * length)
        _check(code, f"E2P object {object_id:#06x}")
        return _unhex(text)

    def e2p_write_range(self, object_id: int, record: int, start: int, data: bytes) -> int:
        """Lays data over a part of the object, which never becomes longer: how many bytes were written."""
        code, written, _ = self._manager.WriteE2PObjectEx(object_id, record, 2 * start, 2 * len(data), _hex(data))
        _check(code, f"E2P object {object_id:#06x}")
        return (written or 0) // 2

    def hci(self, option: int, command: bytes = b"") -> bytes:
        """Passes a Bluetooth controller command and gives the reply."""
        return self._reply(self._manager.HciAction(option, _hex(command)), f"HCI option {option}")

    def wifi(self, command: int, parameter: bytes = b"") -> bytes:
        """Passes a WiFi command and gives the reply."""
        return self._reply(self._manager.WiFiAction(command, _hex(parameter)), f"WiFi command {command:#04x}")

    # --- raw bytes, modem lines

    def raw_write(self, data: bytes) -> int:
        """Writes bytes as they are: how many were written."""
        code, written = self._manager.DirectWriteByteData(bytes(data), len(data))
        _check(code, "write")
        return written

    def raw_read(self, count: int = 4096) -> bytes:
        """What waits in the port, at most so many bytes; does not wait."""
        code, _, text = self._manager.DirectReadHexData(count)
        _check(code, "read")
        return _unhex(text)

    def set_signal(self, which: int, raised: bool) -> None:
        """Raises or lowers DTR or RTS (OutputSignal)."""
        _check(self._manager.SetCommSignal(int(which), int(raised)), "modem line")

    def signal(self, which: int) -> bool:
        """Whether a line (InputSignal) is raised."""
        return bool(self._manager.DetectCommSignal(int(which)))

    def set_flow_control(self, mode: int) -> None:
        """mode: of FlowControl."""
        self._manager.SwitchCommFlowControlMode(int(mode))
