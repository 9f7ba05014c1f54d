' Every entry as a VBScript client calls it, on a port with a simulated handset. Ends with "ALL PASSED" and exit code 0.
Option Explicit

Dim handset, port, failures, checks
Dim code, length, text, count, remained, errorCode, value, bytes, i
port = CLng(WScript.Arguments(0))
failures = 0
checks = 0
Set handset = CreateObject("MovaCmdSvr.VeCmdManager")

' --- before the port is open
Check "CommPortId", handset.CommPortId, 1
Check "BaudRate", handset.BaudRate, 115200
Check "GetCmpVersion", handset.GetCmpVersion(1), "<MovaCmdSvr Ver 1.8.6>"
Check "IsCommDeviceOpen", handset.IsCommDeviceOpen, 0
Check "GetDeviceHandle", handset.GetDeviceHandle, -1
Check "DetectCommSignal, closed", handset.DetectCommSignal(0), 0
Check "SetCommSignal, closed", handset.SetCommSignal(1, 1), &H4000
handset.SetGeneralParam 1, 2, 3, 4, 5, 6
handset.AssignTimeoutConstant 5, 1500
handset.SwitchCommFlowControlMode 8
Check "RfGeneralTestReq, not initialised", Rf(5, 1), &H4317

' --- open
handset.CommPortId = port
handset.BaudRate = 115200
Check "CommPortId, set", handset.CommPortId, port
handset.InitCmdManager 0, code
Check "InitCmdManager", code, 0
Check "its type", TypeName(code), "Long"
Check "IsCommDeviceOpen, open", handset.IsCommDeviceOpen, 1
Check "SetDeviceHandle, open", handset.SetDeviceHandle(4), &H4346

' --- AT commands
Check "SendNormalAtCmd", handset.SendNormalAtCmd(0, "ATE0"), 0
Wait 100
Check "GetNormalAtResult", handset.GetNormalAtResult(2, length, text), 0
Check "its text", Right(text, 3), "OK~"
Check "its length", length, Len(text)
Check "VbSetAtCmdProperty", handset.VbSetAtCmdProperty(105, 0), 0
handset.SetAtCmdProperty 50, 0, code
Check "SetAtCmdProperty, unknown", code, &H3001
handset.SetAtCmdProperty &HFFFFFFFF, 0, code
Check "SetAtCmdProperty, all bits", code, &H3001
Check "SpecificInfo", handset.SpecificInfo(2, 0, "", text), 0
Check "the IMEI", text, "490154203237518"

' --- RF tests, in a background mode
Check "VbSwitchOperateMode", handset.VbSwitchOperateMode(5, 0), 0
Check "RfGeneralTestReq", Rf(5, &H102), 0
Check "its confirmation", Fetched, "05000201"
handset.RfChangeParamReq 1, 2, 3, 513, code
Check "RfChangeParamReq", code, 0
Check "its confirmation", Fetched, "010003000102"
handset.RfStatisticsReq 1, 2, 3, 513, code
Check "RfStatisticsReq", code, 0
Check "its confirmation", Fetched, "010003000102"
handset.RfTestCaseReq 7, 1, code
Check "RfTestCaseReq", code, 0
Check "its confirmation", Fetched, "07000000"
handset.RfChangeTableReq 1, 2, 3, 2, Array(1, 2), code
Check "RfChangeTableReq, no byte array", code, &H3001
handset.RfOtherTestService 1, 2, 3, 2, "text", code
Check "RfOtherTestService, no byte array", code, &H3001
Check "VbRfVarReq", handset.VbRfVarReq(2, 7, "1,2,3,0A0B0C"), 0
Check "its confirmation", Fetched, "070002000A0B0C"
handset.FetchQueuedCnfItem remained, length, errorCode, text
Check "FetchQueuedCnfItem, empty", remained & " " & length & " " & errorCode & " " & text, "0 0 0 "
handset.FetchMovaCnfData remained, length, errorCode, text
Check "FetchMovaCnfData, empty", remained & " " & length & " " & errorCode & " " & text, "0 0 0 "
handset.SwitchOperateMode 0, 0, code
Check "SwitchOperateMode", code, 0

' --- E2P objects, HCI and WiFi
text = "AA0B"
Check "WriteE2PObject", handset.WriteE2PObject(&H1234, 2, text), 0
text = ""
Check "ReadE2PObject", handset.ReadE2PObject(&H1234, 2, text), 0
Check "its text", text, "AA0B"
length = 2
text = "CC"
Check "WriteE2PObjectEx", handset.WriteE2PObjectEx(&H1234, 2, 2, length, text), 0
length = 4
Check "ReadE2PObjectEx", handset.ReadE2PObjectEx(&H1234, 2, 0, length, text), 0
Check "its text", text, "AACC"
text = "kept"
Check "ReadE2PObject, none", handset.ReadE2PObject(&H7777, 1, text), &H8202&
Check "its text", text, "kept"
text = "0102"
Check "SendE2PPasswd", handset.SendE2PPasswd(1, 1, text), 0
Check "SendAuthKey", handset.SendAuthKey(1, 1, text), 0
Check "SendSerialNumber", handset.SendSerialNumber(1, 1, text), 0
Check "SendAuthReq", handset.SendAuthReq(1, 1, text), 0
Check "its text", text, "0123456789ABCDEF"
Check "SendHashReq", handset.SendHashReq(1, 1, text), 0
Check "its length", Len(text), 40
Check "SendLockOtp", handset.SendLockOtp(1, 1, text), 0
Check "HciAction", handset.HciAction(0, "0102", text), 0
Check "its text", text, "000102"
Check "HciAction, unknown", handset.HciAction(6, "", text), &H4305
Check "WiFiAction", handset.WiFiAction(&H21, "AABB", text), 0
Check "its text", text, "AABB"

' --- raw port access
Check "DirectWriteHexData", handset.DirectWriteHexData("41540D", 3, count), 0
Check "its count", count, 3
Wait 100
Check "DirectQueryDataInQueue", handset.DirectQueryDataInQueue, 6
Check "DirectReadHexData", handset.DirectReadHexData(text, 100, count), 0
Check "its text", text, "0D0A4F4B0D0A"
Check "its count", count, 6
bytes = Array(65, 84, 13)
Check "DirectWriteByteData", handset.DirectWriteByteData(bytes, 3, count), 0
Check "its count", count, 3
Wait 100
Dim taken(5)
Check "DirectReadAsciiData", handset.DirectReadAsciiData(taken, 6, count), 0
Check "its count", count, 6
text = ""
For i = 0 To 5
    text = text & Right("0" & Hex(taken(i)), 2)
Next
Check "its bytes", text, "0D0A4F4B0D0A"
handset.DirectWriteAsciiData "text", 4, count
Check "DirectWriteByteData, one byte", handset.DirectWriteByteData(13, 1, count), 0
handset.RetriveComPortData 3, 50, text
Check "RetriveComPortData", text, "NULL"

' --- logging
Check "ActivateMovaLoggingVb", handset.ActivateMovaLoggingVb("C:\from-script.log", 0, 1), 0
value = 0
handset.ActivateMovaLogging "C:\from-script.log", 0, value
Check "ActivateMovaLogging", value, 0
handset.Set_Log_File_Path ""

' --- settings, and the end
Check "SetCommDeviceType", handset.SetCommDeviceType(0, 0, 0), 0
handset.ClearQueue
Check "ProprietaryCloseComPort", handset.ProprietaryCloseComPort(0), 0
Check "ProprietaryOpenComPort", handset.ProprietaryOpenComPort(0), 0
handset.ResetCmdManager 0, code
Check "ResetCmdManager", code, 0
Check "VbInitCmdManager", handset.VbInitCmdManager(0), 0
handset.ResetCmdManager 0, code
Set handset = Nothing

WScript.Echo checks & " checks, " & failures & " failed"
If failures = 0 And checks = 79 Then
    WScript.Echo "ALL PASSED"
    WScript.Quit 0
End If
WScript.Quit 1

Sub Check(what, got, expected)
    checks = checks + 1
    If got = expected Then Exit Sub
    failures = failures + 1
    WScript.Echo "FAILED " & what & ": " & got & ", expected " & expected
End Sub

Function Rf(service, index)
    Dim result
    handset.RfGeneralTestReq service, index, result
    Rf = result
End Function

' The next confirmation as text, which may still be on its way.
Function Fetched()
    Dim left, characters, wrong, hexText, started
    started = Timer
    Do
        handset.FetchQueuedCnfTextItem left, characters, wrong, hexText
        Fetched = hexText
    Loop While characters = 0 And Timer - started < 5 And Timer >= started
End Function

Sub Wait(milliseconds)
    Dim started
    started = Timer
    Do While (Timer - started) * 1000 < milliseconds And Timer >= started
    Loop
End Sub
