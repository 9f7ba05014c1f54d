"""The automation object VeCmdManager as Python's COM clients see it: the same names, arguments and results.

A method takes the arguments of the automation interface in their order, under their names. What it gives comes as COM
clients get it: the return value first and the out-values behind it, in a tuple when there are several, alone when there is
one. An out-argument may be left out, or anything may be passed in its place. An out-text that the call does not write is what
was passed for it, or "".
"""
from __future__ import annotations

import os
import threading
import weakref
from typing import Any, Callable, Optional, Tuple, Union

from . import _native

#: The bytes of texts as characters: as many characters as bytes, and no byte is lost.
ENCODING = "latin-1"

VT_UI1, VT_UI2, VT_VARIANT, VT_ARRAY, VT_BYREF = 17, 18, 12, 0x2000, 0x4000

_WRONG_ARRAY_TYPE = _native.numbers["Code"]["WrongArrayType"]


class VARIANT:
    """A value with the type that it is to have: VARIANT(VT_ARRAY | VT_UI1, [1, 2, 3])."""

    def __init__(self, vt: int, value: Any) -> None:
        self.varianttype = vt
        self.value = value


def _to_bytes(text: Optional[str]) -> bytes:
    return (text or "").encode(ENCODING, "replace")


def _to_text(data: Optional[bytes], passed: Any = None) -> str:
    if data is None:
        return passed if isinstance(passed, str) else ""
    return data.decode(ENCODING)


def _file_name(name: Optional[str]) -> bytes:
    return os.fsencode(name or "")


def _whole(value: Any, bits: int, signed: bool) -> int:
    """A number as a parameter of so many bits takes it: negative ones by their bits."""
    number = int(value)
    if not -(1 << (bits - 1)) <= number < (1 << bits):
        raise OverflowError(f"{number} does not fit into {bits} bits")
    number &= (1 << bits) - 1
    return number - (1 << bits) if signed and number >> (bits - 1) else number


def _long(value: Any) -> int:
    return _whole(value, 32, True)


def _ulong(value: Any) -> int:
    return _whole(value, 32, False)


def _short(value: Any) -> int:
    return _whole(value, 16, True)


def _ushort(value: Any) -> int:
    return _whole(value, 16, False)


def _byte(value: Any) -> int:
    return _whole(value, 8, False)


def _array(value: Any, *types: int) -> Optional[bytes]:
    """The bytes of an array of one of the types, as a VARIANT would hold it; None for everything else."""
    kind = VT_ARRAY | VT_UI1
    if isinstance(value, VARIANT):
        kind, value = value.varianttype, value.value
    elif not isinstance(value, (bytes, bytearray, memoryview)):
        return None
    if kind not in [VT_ARRAY | each for each in types]:
        return None
    if kind == VT_ARRAY | VT_UI2:
        return b"".join(_ushort(item).to_bytes(2, "little") for item in value)
    return bytes(value)


def _packed(data: bytes) -> str:
    """Bytes in a text of half as many characters, as confirmations come: n bytes in n + 1 characters, zeros behind."""
    if not data:
        return ""
    return data.ljust(2 * (len(data) + 1), b"\0").decode("utf-16-le", "surrogatepass")


class VeCmdManager:
    """One object drives one handset on a serial port.

    device: the path of a serial device, which is then port 1 and no other ("/dev/ttyUSB0"). Without it port n is the link
    /dev/COMn, and CommPortId chooses.
    """

    def __init__(self, device: Union[str, "os.PathLike[str]", None] = None) -> None:
        self_reference = weakref.ref(self)

        def told(kind: int, length: int, data: bytes) -> None:
            manager = self_reference()
            if manager is not None:
                manager._told(kind, length, data)

        self._listeners: Tuple[Callable[[int, int, str], None], ...] = ()
        self._lock = threading.Lock()
        self._native = _native.CommandManager(b"" if device is None else os.fsencode(device) or b".", told)

    # --- beside the automation interface

    def Release(self) -> None:
        """Closes the port and ends the background thread; every call after it raises ValueError. So does the object's end."""
        self._native.close()

    def Advise(self, listener: Callable[[int, int, str], None]) -> None:
        """listener(lType, lParam, bstrDataBuffer) is called for each event OnCpGetMovaCnf, on the background thread."""
        with self._lock:
            self._listeners += (listener,)

    def Unadvise(self, listener: Callable[[int, int, str], None]) -> None:
        with self._lock:
            self._listeners = tuple(known for known in self._listeners if known != listener)

    def _told(self, kind: int, length: int, data: bytes) -> None:
        for listener in self._listeners:
            listener(kind, length, _to_text(data))

    # --- port and lifecycle

    @property
    def BaudRate(self) -> int:
        """Baud rate, used at the next open."""
        return self._native.get_BaudRate()

    @BaudRate.setter
    def BaudRate(self, value: int) -> None:
        self._native.put_BaudRate(_long(value))

    @property
    def CommPortId(self) -> int:
        """Number of the COM port; it can be changed only while the port is closed."""
        return self._native.get_CommPortId()

    @CommPortId.setter
    def CommPortId(self, value: int) -> None:
        self._native.put_CommPortId(_long(value))

    def InitCmdManager(self, ulParam: int, pulErrorCode: Any = None) -> int:
        """Empties the queue and opens the port: the code. ulParam is ignored."""
        return self._native.InitCmdManager(_ulong(ulParam))

    def VbInitCmdManager(self, lParam: int) -> int:
        """InitCmdManager with the code as return value."""
        return self._native.InitCmdManager(_ulong(lParam))

    def ResetCmdManager(self, ulParam: int, pulErrorCode: Any = None) -> int:
        """Empties the queue, ends the background reading, closes the port: the code. ulParam is ignored."""
        return self._native.ResetCmdManager(_ulong(ulParam))

    def ProprietaryOpenComPort(self, lOption: int) -> int:
        """Opens the port without emptying the queue: the code. lOption is ignored."""
        return self._native.ProprietaryOpenComPort(_long(lOption))

    def ProprietaryCloseComPort(self, lOption: int) -> int:
        """The same as ResetCmdManager: the code."""
        return self._native.ProprietaryCloseComPort(_long(lOption))

    def IsCommDeviceOpen(self) -> int:
        """1 while the port is open, else 0."""
        return self._native.IsCommDeviceOpen()

    def GetDeviceHandle(self) -> int:
        """The open port's file descriptor, -1 while it is closed; 0 for a device type other than 0."""
        handle = self._native.GetDeviceHandle()
        return 0 if handle is None else handle

    def SetDeviceHandle(self, lHandle: int) -> int:
        """Lends the object a port that is open already: the code."""
        return self._native.SetDeviceHandle(_long(lHandle))

    def SetCommDeviceType(self, sDeviceType: int, lDevicePara1: int, lDevicePara2: int) -> int:
        """Type 0 is the serial port; a positive lDevicePara1 is its number, a positive lDevicePara2 its baud rate."""
        return self._native.SetCommDeviceType(_short(sDeviceType), _long(lDevicePara1), _long(lDevicePara2))

    def AssignTimeoutConstant(self, lOption: int, lMiliSecTimeout: int) -> None:
        """Sets one of the six time-outs, in milliseconds."""
        self._native.AssignTimeoutConstant(_long(lOption), _long(lMiliSecTimeout))

    def SetGeneralParam(self, ulParam1: int, ulParam2: int, ulParam3: int, iParam4: int, iParam5: int,
                        iParam6: int) -> None:
        """Accepts its arguments and does nothing."""
        self._native.SetGeneralParam(_ulong(ulParam1), _ulong(ulParam2), _ulong(ulParam3), _long(iParam4),
                                     _long(iParam5), _long(iParam6))

    def GetCmpVersion(self, lOption: int) -> str:
        """The version (1) or the date of the library's file (2)."""
        return _to_text(self._native.GetCmpVersion(_long(lOption)))

    # --- AT commands

    def SendNormalAtCmd(self, lOption: int, bstrAtString: str) -> int:
        """Sends an AT command and a carriage return, and does not wait for the answer: the code."""
        return self._native.SendNormalAtCmd(_long(lOption), _to_bytes(bstrAtString))

    def GetNormalAtResult(self, lOption: int, plDataLength: Any = None, pbstrAtData: Any = None) -> Tuple[int, int, str]:
        """What has arrived so far: code, length, text on one line with "~" for each line end."""
        code, length, text = self._native.GetNormalAtResult(_long(lOption))
        return code, length, _to_text(text)

    def SetAtCmdProperty(self, ulPropertyId: int, ulParam: int, pulErrorCode: Any = None) -> int:
        """Sends one of the fixed AT commands by number: the code."""
        return self._native.SetAtCmdProperty(_ulong(ulPropertyId), _ulong(ulParam))

    def VbSetAtCmdProperty(self, lPropertyId: int, lParam: int) -> int:
        """SetAtCmdProperty with the code as return value."""
        return self._native.SetAtCmdProperty(_ulong(lPropertyId), _ulong(lParam))

    def SwitchOperateMode(self, ulOption: int, ulParam: int, pulErrorCode: Any = None) -> int:
        """Switches between the synchronous and the background modes: the code. ulParam is ignored."""
        return self._native.SwitchOperateMode(_ulong(ulOption), _ulong(ulParam))

    def VbSwitchOperateMode(self, lOption: int, lParam: int) -> int:
        """SwitchOperateMode with the code as return value."""
        return self._native.SwitchOperateMode(_ulong(lOption), _ulong(lParam))

    def SpecificInfo(self, lOption: int, iAccess: int, bstrParam: str, pbstrResult: Any = None) -> Tuple[int, str]:
        """Identity and status of the handset: code, text."""
        code, text = self._native.SpecificInfo(_long(lOption), _long(iAccess), _to_bytes(bstrParam))
        return code, _to_text(text)

    # --- confirmations

    def FetchQueuedCnfItem(self, pulRemainedSig: Any = None, pulLength: Any = None, pulError: Any = None,
                           pbstrData: Any = None) -> Tuple[int, int, int, str]:
        """Takes the first confirmation: records left, bytes, 0, the bytes packed in a text.

        text.encode("utf-16-le", "surrogatepass")[:length] gives the bytes.
        """
        remained, length, error, data = self._native.FetchQueuedCnfItem()
        return remained, length, error, _packed(data)

    def FetchMovaCnfData(self, pulRemainedSig: Any = None, pulLength: Any = None, pulError: Any = None,
                         pbstrData: Any = None) -> Tuple[int, int, int, str]:
        """The same as FetchQueuedCnfItem."""
        return self.FetchQueuedCnfItem()

    def FetchQueuedCnfTextItem(self, plRemainedSig: Any = None, plLength: Any = None, plError: Any = None,
                               pbstrData: Any = None) -> Tuple[int, int, int, str]:
        """Takes the first confirmation: records left, characters, 0, hexadecimal text."""
        remained, length, error, data = self._native.FetchQueuedCnfTextItem()
        return remained, length, error, _to_text(data)

    def ClearQueue(self) -> int:
        """Takes in what waits, empties port and queue. What it returns is 0, whatever happened."""
        self._native.ClearQueue()
        return 0

    # --- RF tests

    def RfGeneralTestReq(self, bytServiceType: int, ushIndex: int, pulResult: Any = None) -> int:
        """Starts an RF test service: the code."""
        return self._native.RfGeneralTestReq(_byte(bytServiceType), _ushort(ushIndex))

    def RfChangeParamReq(self, bytReq: int, bytAccess: int, ushIndex: int, ushParam: int, pulResult: Any = None) -> int:
        """Changes an RF parameter: the code."""
        return self._native.RfChangeParamReq(_byte(bytReq), _byte(bytAccess), _ushort(ushIndex), _ushort(ushParam))

    def RfStatisticsReq(self, bytReq: int, bytAccess: int, ushIndex: int, ushParam: int, pulResult: Any = None) -> int:
        """Asks for RF statistics: the code."""
        return self.RfChangeParamReq(bytReq, bytAccess, ushIndex, ushParam)

    def RfChangeTableReq(self, bytReq: int, bytAccess: int, ushIndex: int, ushLength: int, varArray: Any,
                         pulResult: Any = None) -> int:
        """Changes an RF table: the code. varArray: bytes, or a VARIANT with an array of 8- or 16-bit unsigned values."""
        return self._native.RfChangeTableReq(_byte(bytReq), _byte(bytAccess), _ushort(ushIndex), _ushort(ushLength),
                                             _array(varArray, VT_UI1, VT_UI2))

    def RfOtherTestService(self, bytReq: int, bytAccess: int, ushIndex: int, ushLength: int, varArray: Any,
                           pulResult: Any = None) -> int:
        """Starts another RF service with a table: the code."""
        return self.RfChangeTableReq(bytReq, bytAccess, ushIndex, ushLength, varArray)

    def RfTestCaseReq(self, bytReq: int, bytAccess: int, pulResult: Any = None) -> int:
        """Runs an RF test case: the code."""
        return self._native.RfTestCaseReq(_byte(bytReq), _byte(bytAccess))

    def VbRfVarReq(self, lReqType: int, bytReq: int, bstrParameter: str) -> int:
        """The RF requests with their arguments as text: the code."""
        return self._native.VbRfVarReq(_long(lReqType), _byte(bytReq), _to_bytes(bstrParameter))

    # --- E2P objects

    def ReadE2PObject(self, ObjectID: int, Record: int, bstrBuffer: Any = None) -> Tuple[int, str]:
        """Reads an E2P object: code, hexadecimal text."""
        code, text = self._native.ReadE2PObject(_long(ObjectID), _long(Record))
        return code, _to_text(text, bstrBuffer)

    def WriteE2PObject(self, ObjectID: int, Record: int, bstrBuffer: str) -> Tuple[int, str]:
        """Writes an E2P object: code, the text that the handset echoed."""
        code, text = self._native.WriteE2PObject(_long(ObjectID), _long(Record), _to_bytes(bstrBuffer))
        return code, _to_text(text, bstrBuffer)

    def SendE2PPasswd(self, ObjectID: int, Record: int, bstrBuffer: str) -> Tuple[int, str]:
        """Sends an E2P password: code, the text that the handset echoed."""
        code, text = self._native.SendE2PPasswd(_long(ObjectID), _long(Record), _to_bytes(bstrBuffer))
        return code, _to_text(text, bstrBuffer)

    def SendAuthReq(self, ObjectID: int, Record: int, bstrBuffer: Any = None) -> Tuple[int, str]:
        """Asks for an authentication challenge: code, hexadecimal text."""
        code, text = self._native.SendAuthReq(_long(ObjectID), _long(Record))
        return code, _to_text(text, bstrBuffer)

    def SendAuthKey(self, ObjectID: int, Record: int, bstrBuffer: str) -> Tuple[int, str]:
        """Sends an authentication key: code, the text that the handset echoed."""
        code, text = self._native.SendAuthKey(_long(ObjectID), _long(Record), _to_bytes(bstrBuffer))
        return code, _to_text(text, bstrBuffer)

    def SendSerialNumber(self, ObjectID: int, Record: int, bstrBuffer: str) -> Tuple[int, str]:
        """Sends a serial number: code, the text that the handset echoed."""
        code, text = self._native.SendSerialNumber(_long(ObjectID), _long(Record), _to_bytes(bstrBuffer))
        return code, _to_text(text, bstrBuffer)

    def SendHashReq(self, ObjectID: int, Record: int, bstrBuffer: Any = None) -> Tuple[int, str]:
        """Asks for a hash: code, hexadecimal text."""
        code, text = self._native.SendHashReq(_long(ObjectID), _long(Record))
        return code, _to_text(text, bstrBuffer)

    def SendLockOtp(self, lOption: int, lRecord: int, pbstrBuffer: Any = None) -> Tuple[int, str]:
        """Locks the one-time-programmable area: code, hexadecimal text."""
        code, text = self._native.SendLockOtp(_long(lOption), _long(lRecord))
        return code, _to_text(text, pbstrBuffer)

    def ReadE2PObjectEx(self, ObjectID: int, Record: int, StartPos: int, length: int,
                        bstrBuffer: Any = None) -> Tuple[int, int, str]:
        """Reads a range of an E2P object, in characters: code, the length that there is, hexadecimal text."""
        wanted = _long(length)
        code, found, text = self._native.ReadE2PObjectEx(_long(ObjectID), _long(Record), _long(StartPos), wanted)
        return code, wanted if found is None else found, _to_text(text, bstrBuffer)

    def WriteE2PObjectEx(self, ObjectID: int, Record: int, StartPos: int, length: int,
                         bstrBuffer: str) -> Tuple[int, int, str]:
        """Writes a range of an E2P object, in characters: code, the length that was written, the text as it was."""
        wanted = _long(length)
        code, written, text = self._native.WriteE2PObjectEx(_long(ObjectID), _long(Record), _long(StartPos), wanted,
                                                            _to_bytes(bstrBuffer))
        return code, wanted if written is None else written, _to_text(text, bstrBuffer)

    # --- Bluetooth controller and WiFi

    def HciAction(self, lOption: int, bstrCmd: str, pbstrReturn: Any = None) -> Tuple[int, str]:
        """Passes a Bluetooth controller command: code, hexadecimal text."""
        code, text = self._native.HciAction(_long(lOption), _to_bytes(bstrCmd))
        return code, _to_text(text, pbstrReturn)

    def WiFiAction(self, bytCmd: int, bstrParam: str, pbstrReturn: Any = None) -> Tuple[int, str]:
        """Passes a WiFi command: code, hexadecimal text."""
        code, text = self._native.WiFiAction(_byte(bytCmd), _to_bytes(bstrParam))
        return code, _to_text(text, pbstrReturn)

    # --- raw port access

    def DirectWriteHexData(self, bstrBuffer: str, lDataToWrite: int, plDataWrite: Any = None) -> Tuple[int, int]:
        """Writes at most lDataToWrite bytes of a hexadecimal text: code, bytes written."""
        return self._native.DirectWriteHexData(_to_bytes(bstrBuffer), _long(lDataToWrite))

    def DirectReadHexData(self, pbstrBuffer: Any = None, lDataToRead: int = 0,
                          plDataRead: Any = None) -> Tuple[int, str, int]:
        """Reads what waits, at most lDataToRead bytes: code, hexadecimal text, bytes. The out-text is the first argument."""
        code, count, text = self._native.DirectReadHexData(_long(lDataToRead))
        return code, _to_text(text, pbstrBuffer), count

    def DirectQueryDataInQueue(self) -> int:
        """Bytes that wait in the port's input queue."""
        return self._native.DirectQueryDataInQueue()

    def DirectWriteAsciiData(self, varArray: Any, lDataToWrite: int, plDataWrite: Any = None) -> Tuple[int, int]:
        """Writes the bytes of an array: 0, whatever happened, and the bytes written."""
        array, count = _array(varArray, VT_UI1), _long(lDataToWrite)
        if array is None or count < 1:
            return 0, 0
        _, written = self._native.DirectWriteAsciiData(array, count)
        return 0, written

    def DirectReadAsciiData(self, pvarArray: Any = None, lDataToRead: int = 0,
                            plDataRead: Any = None) -> Tuple[int, Any, int]:
        """Reads into an array of the caller's size: code, the array as bytes, bytes read."""
        array = bytearray(_array(pvarArray, VT_UI1) or b"")
        code, count = self._native.DirectReadAsciiData(array, _long(lDataToRead))
        if pvarArray is None:
            return code, None, count
        return code, bytes(array), count

    def DirectWriteByteData(self, pbytBuf: Any, lDataToWrite: int, plDataWrite: Any = None) -> Tuple[int, int]:
        """Writes bytes, or one byte given as a number: code, bytes written."""
        data = bytes([_byte(pbytBuf)]) if isinstance(pbytBuf, int) else bytes(pbytBuf or b"")
        return self._native.DirectWriteByteData(data, _long(lDataToWrite))

    def RetriveComPortData(self, lOption: int, lPollingDuration: int, pbstrData: Any = None) -> Tuple[int, str]:
        """Collects incoming bytes for a limited time: 0, whatever happened, and hexadecimal text."""
        return 0, _to_text(self._native.RetriveComPortData(_long(lOption), _long(lPollingDuration)), pbstrData)

    # --- modem lines and flow control

    def SetCommSignal(self, iIndex: int, bValue: int) -> int:
        """Raises or drops DTR (1) or RTS: the code."""
        return self._native.SetCommSignal(_long(iIndex), _long(bValue))

    def DetectCommSignal(self, iIndex: int) -> int:
        """Reads CTS (0), DSR (1), RING (2), carrier (3) or all (-1)."""
        return self._native.DetectCommSignal(_long(iIndex))

    def SwitchCommFlowControlMode(self, lFlowControlMode: int) -> None:
        """Selects the flow control mode (1 to 8)."""
        self._native.SwitchCommFlowControlMode(_long(lFlowControlMode))

    # --- logging

    def ActivateMovaLogging(self, bstrFileName: str, ulStartTick: int, pulParamError: int) -> int:
        """Starts (1) or stops the trace file: the code."""
        return self._native.ActivateMovaLogging(_file_name(bstrFileName), _ulong(ulStartTick), _ulong(pulParamError))

    def ActivateMovaLoggingVb(self, bstrFileName: str, lStartTick: int, lParam: int) -> int:
        """ActivateMovaLogging with the code as return value."""
        return self._native.ActivateMovaLogging(_file_name(bstrFileName), _ulong(lStartTick), _ulong(lParam))

    def Set_Log_File_Path(self, bstrPath: str) -> None:
        """Names the log file; empty: none."""
        self._native.Set_Log_File_Path(_file_name(bstrPath))
