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
check("VbRfVarReq", handset.VbRfVarReq(2, 7, "1,2,3,0A0B0C"), 0);
check("VbSwitchOperateMode, back", handset.VbSwitchOperateMode(0, 0), 0);

// Out-parameters are for others: a value in their place is accepted, its result dropped.
check("ReadE2PObject", handset.ReadE2PObject(0x1234, 2, ""), 0);
check("WriteE2PObject", handset.WriteE2PObject(0x1234, 2, "AABB"), 0);
check("WiFiAction", handset.WiFiAction(0x21, "AABB", null), 0);
check("HciAction, unknown", handset.HciAction(6, "", 0), 0x4305);
check("DirectReadAsciiData", handset.DirectReadAsciiData([1, 2], 2, 0), 0);
check("DirectWriteHexData", handset.DirectWriteHexData("0D", 1, 0), 0);
handset.RfGeneralTestReq(5, 1, 0);
handset.InitCmdManager(0);
check("IsCommDeviceOpen, opened again", handset.IsCommDeviceOpen(), 1);

check("a missing argument", errorOf(function () { handset.SendNormalAtCmd(0); }), true);
check("too many arguments", errorOf(function () { handset.ClearQueue(1, 2, 3); }), true);
check("no such entry", errorOf(function () { handset.NoSuchEntry(); }), true);

check("ProprietaryCloseComPort", handset.ProprietaryCloseComPort(0), 0);
handset = null;

WScript.Echo(checks + " checks, " + failures + " failed");
if (failures === 0 && checks === 25) {
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
