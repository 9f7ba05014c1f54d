' The host simply ends while the object is alive and its reader thread runs.
Option Explicit
Dim handset, code
Set handset = CreateObject("MovaCmdSvr.VeCmdManager")
handset.CommPortId = CLng(WScript.Arguments(0))
handset.InitCmdManager 0, code
If code <> 0 Then WScript.Quit 1
If handset.VbSwitchOperateMode(2, 0) <> 0 Then WScript.Quit 2
If handset.SendNormalAtCmd(0, "AT%CNF=200,1") <> 0 Then WScript.Quit 3
WScript.Echo "ALL PASSED"
