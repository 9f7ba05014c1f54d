' A small test station: opens the handset's port, identifies the handset, runs AT commands, RF tests, E2P objects, HCI and
' WiFi actions and a background phase, shows each step with its outcome and time, the trace at the end, and a verdict.
' It writes to E2P object &H1234, records 1 and 2.
'
'   cscript //nologo station.vbs [port number] [baud rate]
Option Explicit

Dim handset, port, baudRate, steps, failures, beginning, stepBefore
port = 1
baudRate = 115200
If WScript.Arguments.Count > 0 Then port = CLng(WScript.Arguments(0))
If WScript.Arguments.Count > 1 Then baudRate = CLng(WScript.Arguments(1))
steps = 0
failures = 0
beginning = Timer
stepBefore = beginning

Set handset = CreateObject("MovaCmdSvr.VeCmdManager")
WScript.Echo "Station on COM" & port & " at " & baudRate & " baud, component " & handset.GetCmpVersion(1)

handset.CommPortId = port
handset.BaudRate = baudRate
Dim code, tracePath
tracePath = TemporaryPath("station-trace.log")
handset.ActivateMovaLogging tracePath, 0, 1
handset.InitCmdManager 0, code
Report "open the port", code = 0, Describe(code)

If code = 0 Then
    WScript.Echo "AT commands"
    Expect "the handset answers", "AT", "OK"
    Expect "echo off", "ATE0", "OK"
    Ask "manufacturer", "AT+CGMI"
    Ask "model", "AT+CGMM"
    Ask "signal", "AT+CSQ"
    Ask "registration", "AT+CREG?"
    Expect "an unknown command is refused", "AT+NOSUCHTHING", "ERROR"
    code = handset.SendNormalAtCmd(0, "")
    Report "an empty command is not sent", code = 8199, Describe(code)

    WScript.Echo "Identity"
    Identity "software version", 0
    Identity "IMEI", 2
    Identity "one-time-programmable area", 10
    WriteIdentity "serial number", 3, "SN0001"

    WScript.Echo "Request protocol"
    handset.SwitchOperateMode 3, 0, code   ' requests wait for the handset's OK
    RfTest "RF general test", 5, &H102, "05000201"
    Dim object
    object = "00112233445566778899AABBCCDDEEFF"
    code = handset.WriteE2PObject(&H1234, 1, object)
    Report "E2P object written", code = 0, Describe(code)
    CompareObject "read back", "00112233445566778899AABBCCDDEEFF"
    Dim length, part
    length = 4
    part = "FFEE"
    code = handset.WriteE2PObjectEx(&H1234, 1, 6, length, part)
    Report "a range rewritten", code = 0, length & " characters"
    CompareObject "read back", "001122FFEE5566778899AABBCCDDEEFF"
    Dim reply
    code = handset.HciAction(0, "0102", reply)
    Report "HCI action", code = 0, reply
    code = handset.WiFiAction(&H21, "AABB", reply)
    Report "WiFi action", code = 0, reply

    WScript.Echo "Background mode"
    Background 5

    handset.ResetCmdManager 0, code
    Report "close the port", code = 0, Describe(code)
End If

handset.ActivateMovaLogging tracePath, 0, 0
ShowTrace 14

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
    Dim answer
    answer = Exchange(command)
    Report what, InStr(answer, result) > 0, command & " -> " & answer
End Sub

Sub Ask(what, command)
    Dim answer
    answer = Exchange(command)
    Report what, InStr(answer, "OK") > 0, Information(answer)
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

Sub Identity(what, question)
    Dim result, answer
    result = handset.SpecificInfo(question, 0, "", answer)
    Report what, result = 0 And answer <> "", Tidy(answer)
End Sub

Sub WriteIdentity(what, question, text)
    Dim written, readBack, result
    written = handset.SpecificInfo(question, 1, text, result)
    readBack = handset.SpecificInfo(question, 0, "", result)
    Report what & " written", written = 0 And readBack = 0 And result = text, result
End Sub

Sub RfTest(what, service, index, expected)
    Dim result, remained, characters, failed, confirmation
    handset.RfGeneralTestReq service, index, result
    confirmation = ""
    If result = 0 Then handset.FetchQueuedCnfTextItem remained, characters, failed, confirmation
    Report what & " confirmed", confirmation = expected, Describe(result) & ", " & confirmation
End Sub

Sub CompareObject(what, expected)
    Dim result, text
    text = ""
    result = handset.ReadE2PObject(&H1234, 1, text)
    Report what, result = 0 And text = expected, text
End Sub

' The component reads the port by itself and queues a confirmation at each OK, while the script does other things.
Sub Background(count)
    Dim started, result, sent, arrived, remained, characters, failed, text
    started = Timer
    handset.SwitchOperateMode 5, 0, result
    For sent = 1 To count
        handset.RfGeneralTestReq 5, sent, result
    Next
    arrived = 0
    Do While arrived < count And Elapsed(started) < 5
        handset.FetchQueuedCnfTextItem remained, characters, failed, text
        If characters > 0 Then
            arrived = arrived + 1
        Else
            Pause 5
        End If
    Loop
    handset.SwitchOperateMode 0, 0, result
    Report "confirmations from the queue", arrived = count, arrived & " of " & count
End Sub

Function TemporaryPath(name)
    Const TemporaryFolder = 2
    Dim files
    Set files = CreateObject("Scripting.FileSystemObject")
    TemporaryPath = files.GetSpecialFolder(TemporaryFolder).Path & "\" & name
    If files.FileExists(TemporaryPath) Then files.DeleteFile TemporaryPath
End Function

Sub ShowTrace(lines)
    Dim file, text, first, i
    Set file = CreateObject("Scripting.FileSystemObject").OpenTextFile(tracePath, 1)
    text = Split(Replace(file.ReadAll, vbCr, ""), vbLf)
    file.Close
    WScript.Echo "Trace: the last lines of " & tracePath
    first = UBound(text) - lines
    If first < 0 Then first = 0
    For i = first To UBound(text) - 1
        WScript.Echo "  " & Replace(text(i), vbTab & vbTab & vbTab & vbTab, "   ")
    Next
End Sub

Function Tidy(text)
    Tidy = Replace(text, "~", " / ")
    Do While Right(Tidy, 3) = " / "
        Tidy = Left(Tidy, Len(Tidy) - 3)
    Loop
End Function

' The time is that since the step before.
Sub Report(what, good, detail)
    Dim mark
    steps = steps + 1
    mark = "pass"
    If Not good Then
        mark = "FAIL"
        failures = failures + 1
    End If
    WScript.Echo "  " & mark & "  " & Left(what & Space(32), 32) & Right(Space(6) & Seconds(stepBefore), 6) & " s  " & detail
    stepBefore = Timer
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
