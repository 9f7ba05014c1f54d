// A JScript client: it passes everything by value, and reads what entries return. Ends with "ALL PASSED" and exit code 0.
var port = Number(WScript.Arguments(0));
var checks = 0;
var failures = 0;
var handset = new ActiveXObject("MovaCmdSvr.VeCmdManager");

check("CommPortId", handset.CommPortId, 1);
check("GetCmpVersion", handset.GetCmpVersion(1), "<MovaCmdSvr Ver 1.8.6>");
check("IsCommDeviceOpen", handset.IsCommDeviceOpen(), 0);
check("SetCommSignal, closed", handset.SetCommSignal(1, 1), 0x4000);
handset.CommPortId = port;
check("CommPortId, set", handset.CommPortId, port);
check("VbInitCmdManager", handset.VbInitCmdManager(0), 0);
check("IsCommDeviceOpen, open", handset.IsCommDeviceOpen(), 1);
check("SendNormalAtCmd", handset.SendNormalAtCmd(0, "ATE0"), 0);
check("SendNormalAtCmd, empty", handset.SendNormalAtCmd(0, ""), 0x2007);
check("VbSetAtCmdProperty", handset.VbSetAtCmdProperty(105, 0), 0);
check("VbSetAtCmdProperty, unknown", handset.VbSetAtCmdProperty(50, 0), 0x3001);
check("VbSwitchOperateMode", handset.VbSwitchOperateMode(2, 0), 0);
check("VbSwitchOperateMode, requests wait for OK", handset.VbSwitchOperateMode(3, 0), 0);
check("VbRfVarReq", handset.VbRfVarReq(2, 7, "1,2,3,0A0B0C"), 0);
check("VbSwitchOperateMode, back", handset.VbSwitchOperateMode(0, 0), 0);

// Out-parameters are for others: a value in their place is accepted, its result dropped.
check("ReadE2PObject", handset.ReadE2PObject(0x1234, 2, ""), 0);
check("WriteE2PObject", handset.WriteE2PObject(0x1234, 2, "AABB"), 0);
check("ReadE2PObjectEx", handset.ReadE2PObjectEx(0x1234, 2, 0, 2, ""), 0);
check("WriteE2PObjectEx", handset.WriteE2PObjectEx(0x1234, 2, 0, 2, "CC"), 0);
check("SendE2PPasswd", handset.SendE2PPasswd(1, 1, "0102"), 0);
check("SendAuthReq", handset.SendAuthReq(1, 1, ""), 0);
check("SendAuthKey", handset.SendAuthKey(1, 1, "0102"), 0);
check("SendSerialNumber", handset.SendSerialNumber(1, 1, "0102"), 0);
check("SendHashReq", handset.SendHashReq(1, 1, ""), 0);
check("SendLockOtp", handset.SendLockOtp(1, 1, ""), 0);
check("WiFiAction", handset.WiFiAction(0x21, "AABB", null), 0);
check("HciAction", handset.HciAction(0, "0102", ""), 0);
check("HciAction, unknown", handset.HciAction(6, "", 0), 0x4305);
check("SpecificInfo", handset.SpecificInfo(2, 0, "", ""), 0);
check("SpecificInfo, unknown", handset.SpecificInfo(11, 0, "", ""), 0x4305);
check("GetNormalAtResult", handset.GetNormalAtResult(2, 0, ""), 0);
handset.FetchMovaCnfData(0, 0, 0, "");
handset.FetchQueuedCnfItem(0, 0, 0, "");
handset.FetchQueuedCnfTextItem(0, 0, 0, "");
handset.ClearQueue();
handset.SetAtCmdProperty(105, 0, 0);
handset.SwitchOperateMode(0, 0, 0);
handset.RfGeneralTestReq(5, 1, 0);
handset.RfChangeParamReq(1, 2, 3, 4, 0);
handset.RfStatisticsReq(1, 2, 3, 4, 0);
handset.RfTestCaseReq(1, 2, 0);
handset.RfChangeTableReq(1, 2, 3, 2, [1, 2], 0);
handset.RfOtherTestService(1, 2, 3, 2, "text", 0);
handset.SetGeneralParam(1, 2, 3, 4, 5, 6);
handset.AssignTimeoutConstant(5, 1500);
handset.SwitchCommFlowControlMode(8);
handset.Set_Log_File_Path("");
handset.ActivateMovaLogging("C:\\from-jscript.log", 0, 0);
check("ActivateMovaLoggingVb", handset.ActivateMovaLoggingVb("C:\\from-jscript.log", 0, 0), 0);
handset.BaudRate = 115200;
check("BaudRate", handset.BaudRate, 115200);
check("DetectCommSignal", typeof handset.DetectCommSignal(-1), "number");
check("SetDeviceHandle, open", handset.SetDeviceHandle(4), 0x4346);
check("GetDeviceHandle", handset.GetDeviceHandle() !== -1, true);
check("DirectQueryDataInQueue", typeof handset.DirectQueryDataInQueue(), "number");
check("DirectReadHexData", handset.DirectReadHexData("", 100, 0), 0);
check("DirectReadAsciiData", handset.DirectReadAsciiData([1, 2], 2, 0), 0);
check("DirectWriteHexData", handset.DirectWriteHexData("0D", 1, 0), 0);
check("DirectWriteByteData", handset.DirectWriteByteData(13, 1, 0), 0);
handset.DirectWriteAsciiData("text", 4, 0);
handset.RetriveComPortData(1, 0, "");
check("SetCommDeviceType", handset.SetCommDeviceType(0, 0, 0), 0);
handset.ResetCmdManager(0, 0);
check("IsCommDeviceOpen, closed", handset.IsCommDeviceOpen(), 0);
check("ProprietaryOpenComPort", handset.ProprietaryOpenComPort(0), 0);
handset.InitCmdManager(0, 0);
check("IsCommDeviceOpen, opened again", handset.IsCommDeviceOpen(), 1);

check("a missing argument", errorOf(function () { handset.SendNormalAtCmd(0); }), true);
check("too many arguments", errorOf(function () { handset.ClearQueue(1, 2, 3); }), true);
check("no such entry", errorOf(function () { handset.NoSuchEntry(); }), true);

check("ProprietaryCloseComPort", handset.ProprietaryCloseComPort(0), 0);
handset = null;

WScript.Echo(checks + " checks, " + failures + " failed");
if (failures === 0 && checks === 49) {
    WScript.Echo("ALL PASSED");
    WScript.Quit(0);
}
WScript.Quit(1);

function check(what, got, expected) {
    checks++;
    if (got === expected) return;
    failures++;
    WScript.Echo("FAILED " + what + ": " + got + ", expected " + expected);
}

function errorOf(action) {
    try {
        action();
    } catch (error) {
        return true;
    }
    return false;
}
