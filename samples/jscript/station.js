// A first station in JScript: open, AT commands, a request, a confirmation as an event, an error, close.
//
//   cscript //nologo station.js [port number]
//
// JScript has no out-parameters: it uses the entries that return their outcome, and events for what the handset says.
var port = WScript.Arguments.length > 0 ? Number(WScript.Arguments(0)) : 1;
var failures = 0;
var confirmations = [];

// The host calls handset_<event> on its own; hosts without events go on without them.
function handset_OnCpGetMovaCnf(type, length, text) {
    if (text !== "") confirmations.push(text);
}
var handset, hasEvents;
try {
    handset = WScript.CreateObject("MovaCmdSvr.VeCmdManager", "handset_");
    hasEvents = true;
} catch (error) {
    handset = new ActiveXObject("MovaCmdSvr.VeCmdManager");
    hasEvents = false;
}

handset.CommPortId = port;
handset.BaudRate = 115200;
step("open the port", handset.VbInitCmdManager(0), 0);
step("an AT command is sent", handset.SendNormalAtCmd(0, "AT+CSQ"), 0);
step("echo off, answered", handset.VbSetAtCmdProperty(101, 0), 0);
step("an empty command is refused", handset.SendNormalAtCmd(0, ""), 0x2007);
step("E2P object written", handset.WriteE2PObject(0x1234, 2, "AA0B"), 0);
step("no such object", handset.ReadE2PObject(0x7777, 1, ""), 0x8202);
step("WiFi action", handset.WiFiAction(0x21, "AABB", ""), 0);

step("confirmations as events from now on", handset.VbSwitchOperateMode(1, 0), 0);
step("RF test", handset.VbRfVarReq(9, 5, "258"), 0);
if (hasEvents) {
    for (var waited = 0; waited < 2000 && confirmations.length === 0; waited += 20) WScript.Sleep(20);
    step("its confirmation", confirmations.length > 0 ? confirmations[0] : "none", "05000201");
} else {
    WScript.Echo("  ----  this host has no events");
}
step("back to the synchronous mode", handset.VbSwitchOperateMode(0, 0), 0);
step("close the port", handset.ProprietaryCloseComPort(0), 0);

WScript.Echo(failures === 0 ? "VERDICT: PASS" : "VERDICT: FAIL");
WScript.Quit(failures === 0 ? 0 : 1);

function step(what, got, expected) {
    if (got !== expected) failures++;
    WScript.Echo((got === expected ? "  pass  " : "  FAIL  ") + what + ": " + (typeof got === "number" ? "0x" + got.toString(16) : got));
}
