' Reads E2P objects from a handset that makes noise before each answer: noise.vbs PORT ROUNDS. "ALL PASSED", exit code 0.
Option Explicit

Dim handset, code, text, rounds, i
rounds = CLng(WScript.Arguments(1))
Set handset = CreateObject("MovaCmdSvr.VeCmdManager")
handset.CommPortId = CLng(WScript.Arguments(0))
handset.AssignTimeoutConstant 1, 200000
handset.AssignTimeoutConstant 4, 200000
handset.InitCmdManager 0, code
If code <> 0 Then Fail "InitCmdManager"
For i = 1 To rounds
    text = ""
    code = handset.ReadE2PObject(&H1234, 2, text)
    If code <> 0 Or text <> "AABB" Then Fail "ReadE2PObject in round " & i & ", """ & text & """"
Next
handset.ClearQueue
handset.ResetCmdManager 0, code
WScript.Echo "ALL PASSED"
WScript.Quit 0

Sub Fail(what)
    WScript.Echo what & ": code &H" & Hex(code)
    WScript.Quit 1
End Sub
