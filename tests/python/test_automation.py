"""The automation object in Python: the same names, arguments and results as on Windows."""
import gc
import inspect
import os
import re
import subprocess
import sys
import weakref

import pytest
from conftest import BUILD, SOURCE, wait_until

import mova
from mova import pythoncom, win32com
from mova.automation import VT_ARRAY, VT_UI1, VT_UI2, VARIANT, VeCmdManager


def entries():
    """Of the interface's description: name, parameters in their order, each with its direction."""
    with open(os.path.join(SOURCE, "src", "component", "automation", "MovaCmdSvr.idl")) as file:
        interface = file.read().split("interface IVeCmdManager : IDispatch")[1].split("dispinterface")[0]
    for kind, name, parameters in re.findall(r"\[((?:prop(?:get|put), )?)id\(\d+\).*?\]\s*HRESULT (\w+)\((.*?)\);", interface,
                                             re.DOTALL):
        yield kind, name, re.findall(r"\[([^\]]*)\] [^,\]]*?(\w*)\s*(?:,|$)", " ".join(parameters.split()))


METHODS = [(name, parameters) for kind, name, parameters in entries() if not kind]


def test_the_interface_was_read():
    assert len(METHODS) == 55
    assert dict(METHODS)["GetNormalAtResult"] == [("in", "lOption"), ("out", "plDataLength"), ("out", "pbstrAtData"),
                                                 ("out, retval", "plErrorCode")]


@pytest.mark.parametrize("name, parameters", METHODS, ids=[name for name, _ in METHODS])
def test_a_method_has_the_arguments_of_the_interface_and_a_docstring(name, parameters):
    method = getattr(VeCmdManager, name)
    wanted = [parameter for direction, parameter in parameters if "retval" not in direction]
    signature = list(inspect.signature(method).parameters.values())[1:]
    assert [each.name for each in signature] == wanted
    outs = {parameter for direction, parameter in parameters if direction == "out"}
    assert outs <= {each.name for each in signature if each.default is not inspect.Parameter.empty}
    assert inspect.getdoc(method)


def test_there_is_no_method_beside_the_interface():
    own = {"Release", "Advise", "Unadvise"}
    public = {name for name, _ in inspect.getmembers(VeCmdManager, inspect.isfunction) if not name.startswith("_")}
    assert public - own == {name for name, _ in METHODS}


@pytest.fixture
def handset(plain):
    handset = win32com.client.Dispatch("MovaCmdSvr.VeCmdManager")
    handset.CommPortId = 7
    for timeout in (3, 4):
        handset.AssignTimeoutConstant(timeout, 200000)
    assert handset.InitCmdManager(0) == 0
    assert handset.VbSetAtCmdProperty(101, 0) == 0  # no echo
    assert handset.SwitchOperateMode(3, 0) == 0
    yield handset
    handset.Release()


# What COM clients get: the return value first, then the out-values, in the order of the interface.
RESULTS = [
    ("SetGeneralParam", (1, 2, 3, 4, 5, 6), None),
    ("RfGeneralTestReq", (5, 1), 0),
    ("RfChangeParamReq", (1, 2, 3, 4), 0),
    ("RfChangeTableReq", (1, 2, 3, 2, b"ab"), 0),
    ("RfChangeTableReq", (1, 2, 3, 2, [1, 2]), 12289),  # a list goes as an array of variants
    ("RfChangeTableReq", (1, 2, 3, 2, VARIANT(VT_ARRAY | VT_UI1, [1, 2])), 0),
    ("RfChangeTableReq", (1, 2, 3, 2, VARIANT(VT_ARRAY | VT_UI2, [1, 65535])), 0),
    ("RfTestCaseReq", (1, 2), 0),
    ("RfStatisticsReq", (1, 2, 3, 4), 0),
    ("RfOtherTestService", (1, 2, 3, 2, "text"), 12289),
    ("SetAtCmdProperty", (50, 0), 12289),
    ("FetchQueuedCnfItem", (), (0, 0, 0, "")),
    ("FetchMovaCnfData", (), (0, 0, 0, "")),
    ("SwitchOperateMode", (3, 0), 0),
    ("WriteE2PObject", (0x1234, 2, "aa0b"), (0, "AA0B")),
    ("ReadE2PObject", (0x1234, 2), (0, "AA0B")),
    ("ReadE2PObject", (0x7777, 1, "kept"), (0x8202, "kept")),
    ("ReadE2PObject", (0x7777, 1), (0x8202, "")),
    ("WriteE2PObject", (0x7777, 1, "aa"), (0x8202, "aa")),
    ("RetriveComPortData", (3, 0), (0, "NULL")),
    ("RetriveComPortData", (1, 0, "kept"), (0, "kept")),
    ("SendNormalAtCmd", (0, ""), 8199),
    ("GetNormalAtResult", (0,), (0, 0, "")),
    ("DetectCommSignal", (4,), 0),
    ("VbSetAtCmdProperty", (50, 0), 12289),
    ("VbSwitchOperateMode", (3, 0), 0),
    ("SendE2PPasswd", (1, 1, "0102"), (0, "0102")),
    ("SendAuthReq", (1, 1), (0, "0123456789ABCDEF")),
    ("SendAuthKey", (1, 1, "0304"), (0, "0304")),
    ("SendSerialNumber", (1, 1, "0506"), (0, "0506")),
    ("GetCmpVersion", (3,), "<MovaCmdSvr Ver 1.8.6>"),
    ("AssignTimeoutConstant", (5, 1500), None),
    ("ReadE2PObjectEx", (0x1234, 2, 2, 9), (0, 2, "0B")),
    ("WriteE2PObjectEx", (0x1234, 2, 2, 9, "0b"), (0, 2, "0b")),
    ("ReadE2PObjectEx", (0x7777, 1, 2, 9), (0x8202, 9, "")),
    ("FetchQueuedCnfTextItem", (), (0, 0, 0, "")),
    ("ClearQueue", (), 0),
    ("DirectWriteHexData", ("0A0D", 1), (0, 1)),
    ("DirectReadHexData", ("kept", 0), (0, "kept", 0)),
    ("DirectQueryDataInQueue", (), 0),
    ("SwitchCommFlowControlMode", (8,), None),
    ("VbRfVarReq", (3, 7, "1"), 0),
    ("SpecificInfo", (2, 0, ""), (0, "490154203237518")),
    ("SpecificInfo", (99, 0, ""), (0x4305, "")),
    ("HciAction", (0, "0102"), (0, "000102")),
    ("DirectWriteAsciiData", (b"\n\n", 2), (0, 2)),
    ("DirectWriteAsciiData", ("text", 2), (0, 0)),
    ("DirectReadAsciiData", (b"kept", 0), (0, b"kept", 0)),
    ("SendHashReq", (1, 1), (0, "5A" * 20)),
    ("SendLockOtp", (1, 1), (0, "")),
    ("WiFiAction", (0x21, "AABB"), (0, "AABB")),
    ("IsCommDeviceOpen", (), 1),
    ("SetDeviceHandle", (4,), 17222),
    ("Set_Log_File_Path", ("",), None),
    ("DirectWriteByteData", (b"\n", 1), (0, 1)),
    ("DirectWriteByteData", (10, 1), (0, 1)),
    ("SetCommDeviceType", (0, 0, 0), 0),
]


def test_results_come_as_com_clients_get_them(handset):
    for name, arguments, expected in RESULTS:
        handset.ClearQueue()
        assert (name, getattr(handset, name)(*arguments)) == (name, expected)


def test_every_method_was_tried():
    elsewhere = {"InitCmdManager", "VbInitCmdManager", "ResetCmdManager", "ProprietaryOpenComPort", "GetDeviceHandle",
                 "ProprietaryCloseComPort", "ActivateMovaLogging", "ActivateMovaLoggingVb", "SetCommSignal"}
    assert {name for name, _ in METHODS} == {name for name, _, _ in RESULTS} | elsewhere


def test_opening_closing_and_properties(handset, tmp_path):
    assert handset.BaudRate == 115200
    handset.BaudRate = 9600
    assert handset.BaudRate == 9600
    handset.BaudRate = 115200
    assert handset.GetDeviceHandle() > 2
    assert handset.SetCommSignal(1, 1) == 0x4344  # a pseudo-terminal has no lines
    trace = str(tmp_path / "trace.log")
    assert handset.ActivateMovaLogging(trace, 0, 1) == 0
    assert handset.ActivateMovaLoggingVb(trace, 0, 0) == 0
    assert os.path.exists(trace)
    assert handset.ResetCmdManager(0) == 0
    assert handset.GetDeviceHandle() == -1
    assert handset.ProprietaryOpenComPort(0) == 0
    assert handset.ProprietaryCloseComPort(0) == 0
    assert handset.VbInitCmdManager(-1) == 0
    handset.CommPortId = 8
    assert handset.CommPortId == 7  # open
    assert handset.ResetCmdManager(0) == 0
    handset.CommPortId = 8
    assert handset.VbInitCmdManager(0) == 0x4000
    assert handset.SetCommDeviceType(1, 0, 0) == 0
    assert handset.GetDeviceHandle() == 0


def test_a_confirmation_comes_packed_and_as_text(handset):
    handset.RfGeneralTestReq(5, 0x4241)
    remained, length, error, text = handset.FetchQueuedCnfItem()
    assert (length, error, len(text)) == (4, 0, 5)
    assert text.encode("utf-16-le", "surrogatepass")[:length] == b"\x05\x00\x41\x42"
    handset.RfGeneralTestReq(5, 0xD800)  # half a surrogate pair is a character of its own
    assert handset.FetchMovaCnfData()[3].encode("utf-16-le", "surrogatepass")[:4] == b"\x05\x00\x00\xd8"
    handset.RfGeneralTestReq(5, 0x0102)
    assert handset.FetchQueuedCnfTextItem()[1:] == (8, 0, "05000201")


def test_arguments_by_name_and_out_arguments_in_their_places(handset):
    assert handset.ReadE2PObject(ObjectID=0x1234, Record=2) == (0, "FFFF")
    assert handset.SendNormalAtCmd(lOption=0, bstrAtString="AT") == 0
    wait_until(lambda: handset.DirectQueryDataInQueue() == 6)
    assert handset.DirectReadHexData(lDataToRead=2) == (0, "0D0A", 2)
    assert handset.DirectReadAsciiData(bytes(6), 100, pythoncom.Missing) == (0, b"OK\r\n\0\0", 4)
    assert handset.GetNormalAtResult(2, 0, "") == (0, 0, "")


def test_numbers_that_no_parameter_holds_are_refused(handset):
    for call in (lambda: handset.RfGeneralTestReq(256, 0), lambda: handset.RfGeneralTestReq(0, 65536),
                 lambda: handset.ReadE2PObject(1 << 32, 0), lambda: setattr(handset, "BaudRate", -(1 << 31) - 1)):
        with pytest.raises(OverflowError):
            call()
    with pytest.raises((TypeError, ValueError)):
        handset.ReadE2PObject("object", 0)
    assert handset.VbSetAtCmdProperty(-1, -1) == 12289  # by its bits
    assert handset.ReadE2PObject(0x1234, 2) == (0, "FFFF")


def test_a_text_keeps_its_bytes_and_loses_what_is_none(handset):
    assert handset.SpecificInfo(4, 1, "\xe9\u20ac")[0] == 0  # "é" is a byte, the euro sign becomes "?"
    assert handset.ReadE2PObjectEx(36895, 1, 976, 6)[2] == "02E93F"


class Recorder:
    def __init__(self):
        self.heard = []

    def OnOnCpGetMovaCnf(self, lType, lParam, bstrDataBuffer):
        self.heard.append((lType, lParam, bstrDataBuffer))


def test_events_reach_the_class_that_listens(plain):
    handset = win32com.client.DispatchWithEvents("MovaCmdSvr.VeCmdManager", Recorder)
    second = win32com.client.WithEvents(handset, Recorder)
    handset.heard, handset.CommPortId = [], 7
    assert handset.InitCmdManager(0) == 0
    handset.SwitchOperateMode(1, 0)
    handset.RfGeneralTestReq(5, 0x0102)
    told = (1, 8, "05000201")
    wait_until(lambda: pythoncom.PumpWaitingMessages() == 0 and told in handset.heard and told in second.heard, "the event")
    second.close()
    count = len(second.heard)
    handset.RfGeneralTestReq(5, 0x0304)
    wait_until(lambda: (1, 8, "05000403") in handset.heard, "the next event")
    assert len(second.heard) == count
    handset.Release()


def test_an_object_goes_when_nobody_holds_it(plain):
    handset = win32com.client.DispatchWithEvents("MovaCmdSvr.VeCmdManager", Recorder)
    handset.CommPortId = 7
    assert handset.InitCmdManager(0) == 0
    handset.SwitchOperateMode(1, 0)
    gone = weakref.ref(handset)
    del handset
    gc.collect()
    assert gone() is None
    other = mova.VeCmdManager(plain.link)  # the port is free, and this is it by its path
    assert other.InitCmdManager(0) == 0
    other.Release()


def test_other_classes_are_not_there():
    with pytest.raises(ValueError, match="no class Other.Class"):
        win32com.client.Dispatch("Other.Class")
    for make in (win32com.client.gencache.EnsureDispatch, win32com.client.dynamic.Dispatch, win32com.client.DispatchEx):
        assert make("MovaCmdSvr.VeCmdManager.1").IsCommDeviceOpen() == 0


def test_the_sample_for_windows_runs_here(plain):
    environment = {**os.environ, "PYTHONPATH": os.path.join(BUILD, "python")}
    sample = os.path.join(SOURCE, "samples", "python", "station.py")
    done = subprocess.run([sys.executable, sample, "7"], capture_output=True, text=True, env=environment, timeout=180)
    assert done.stdout.splitlines()[-1] == "VERDICT: PASS", done
    assert (done.returncode, done.stdout.count("pass"), done.stderr) == (0, 7, "")
