' A small test station: opens the handset's port, identifies the handset, sends commands, shows each step with its
' outcome and time, and ends with a verdict.
'
'   cscript //nologo station.vbs [port number] [baud rate]
Option Explicit

Dim handset, port, baudRate, steps, failures, beginning
port = 1
baudRate = 115200
If WScript.Arguments.Count > 0 Then port = CLng(WScript.Arguments(0))
If WScript.Arguments.Count > 1 Then baudRate = CLng(WScript.Arguments(1))
steps = 0
failures = 0
beginning = Timer

Set handset = CreateObject("MovaCmdSvr.VeCmdManager")
WScript.Echo "Station on COM" & port & " at " & baudRate & " baud, component " & handset.GetCmpVersion(1)

handset.CommPortId = port
handset.BaudRate = baudRate
Dim code
handset.InitCmdManager 0, code
Report "open the port", code = 0, Describe(code)

If code = 0 Then
    Expect "the handset answers", "AT", "OK"
    Expect "echo off", "ATE0", "OK"
    Ask "manufacturer", "AT+CGMI"
    Ask "model", "AT+CGMM"
    Ask "software version", "AT%V"
    Ask "IMEI", "ATD*#06#"
    Ask "signal", "AT+CSQ"
    Ask "registration", "AT+CREG?"
    Expect "an unknown command is refused", "AT+NOSUCHTHING", "ERROR"

    code = handset.SendNormalAtCmd(0, "")
    Report "an empty command is not sent", code = 8199, Describe(code)

    handset.ResetCmdManager 0, code
    Report "close the port", code = 0, Describe(code)
End If

WScript.Echo steps & " steps, " & failures & " failed, " & Seconds(beginning) & " s"
If failures = 0 And steps > 1 Then
    WScript.Echo "VERDICT: PASS"
    WScript.Quit 0
Else
    WScript.Echo "VERDICT: FAIL"
    WScript.Quit 1
End If

' Sends a command and waits at most three seconds for its final result. The answer comes on one line, its line ends as "~".
Function Exchange(command)
    Dim sent, part, length, answer, started
    Exchange = ""
    sent = handset.SendNormalAtCmd(0, command)
    If sent <> 0 Then
        Exchange = "not sent: " & Describe(sent)
        Exit Function
    End If
    answer = ""
    started = Timer
    Do While Elapsed(started) < 3 And Not IsFinal(answer)
        Pause 20
        length = 0
        part = ""
        If handset.GetNormalAtResult(2, length, part) = 0 And length > 0 Then answer = answer & part
    Loop
    Exchange = answer
End Function

Function IsFinal(answer)
    IsFinal = InStr(answer & "~", "OK~") > 0 Or InStr(answer, "ERROR") > 0
End Function

Sub Expect(what, command, result)
    Dim started, answer
    started = Timer
    answer = Exchange(command)
    Show what, InStr(answer, result) > 0, command & " -> " & answer, started
End Sub

Sub Ask(what, command)
    Dim started, answer
    started = Timer
    answer = Exchange(command)
    Show what, InStr(answer, "OK") > 0, Information(answer), started
End Sub

' The answer's lines without its final result.
Function Information(answer)
    Dim line, text
    text = ""
    For Each line In Split(answer, "~")
        If line <> "" And line <> "OK" Then
            If text <> "" Then text = text & " / "
            text = text & line
        End If
    Next
    If text = "" Then text = "(" & answer & ")"
    Information = text
End Function

Sub Report(what, good, detail)
    Show what, good, detail, Timer
End Sub

Sub Show(what, good, detail, started)
    Dim mark
    steps = steps + 1
    mark = "pass"
    If Not good Then
        mark = "FAIL"
        failures = failures + 1
    End If
    WScript.Echo "  " & mark & "  " & Left(what & Space(32), 32) & Right(Space(6) & Seconds(started), 6) & " s  " & detail
End Sub

Function Describe(code)
    Select Case code
        Case 0 Describe = "0"
        Case &H4000 Describe = "0x4000: the port is not there or could not be opened"
        Case &H4003 Describe = "0x4003: the port could not be configured"
        Case &H2007 Describe = "0x2007: the command is empty or too long"
        Case &H4317 Describe = "0x4317: InitCmdManager has not been called"
        Case Else Describe = "0x" & Hex(code)
    End Select
End Function

Function Elapsed(started)
    Elapsed = Timer - started
    If Elapsed < 0 Then Elapsed = Elapsed + 86400
End Function

Function Seconds(started)
    Seconds = FormatNumber(Elapsed(started), 2)
End Function

' Some script hosts have no Sleep.
Sub Pause(milliseconds)
    Dim started
    started = Timer
    On Error Resume Next
    WScript.Sleep milliseconds
    If Err.Number = 0 Then Exit Sub
    On Error GoTo 0
    Do While Elapsed(started) * 1000 < milliseconds
    Loop
End Sub
