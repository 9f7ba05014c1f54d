Attribute VB_Name = "Station"
' A first station in VBA (Excel, Word, ...): open, an AT command, a request, a confirmation, an error, close.
' Import this module and run Station.Run; the results are in the Immediate window. The component must be registered in the
' bitness of Office. The object is late bound; the names of the numbers come with a reference to "MovaCmdSvr 1.0 Type Library"
' (Tools, References).
Option Explicit

Private failures As Long

Public Sub Run(Optional ByVal port As Long = 1)
    Dim handset As Object, code As Long, length As Long, answer As String
    Dim remained As Long, problem As Long, confirmation As String, data As String
    failures = 0
    Set handset = CreateObject("MovaCmdSvr.VeCmdManager")
    handset.CommPortId = port
    handset.BaudRate = 115200
    code = handset.VbInitCmdManager(0)
    Report "open the port", code = movaCodeSuccess, Hex$(code)

    Report "an AT command is sent", handset.SendNormalAtCmd(0, "AT+CGMI") = movaCodeSuccess, ""
    WaitMilliseconds 300
    code = handset.GetNormalAtResult(movaCollectWholeRecord, length, answer)
    Report "its answer", code = movaCodeSuccess And length > 0, answer

    handset.SwitchOperateMode movaModeSynchronousOk, 0, code    ' requests wait for the handset's OK
    handset.RfGeneralTestReq 5, &H102, code
    Report "RF test", code = movaCodeSuccess, Hex$(code)
    handset.FetchQueuedCnfTextItem remained, length, problem, confirmation
    Report "its confirmation", length = 8, confirmation

    code = handset.ReadE2PObject(&H7777, 1, data)
    Report "no such object", code = movaCodeE2pStatus3, Hex$(code)
    code = handset.ProprietaryCloseComPort(0)
    Report "close the port", code = movaCodeSuccess, Hex$(code)
    Debug.Print IIf(failures = 0, "VERDICT: PASS", "VERDICT: FAIL")
End Sub

Private Sub Report(ByVal what As String, ByVal good As Boolean, ByVal detail As String)
    If Not good Then failures = failures + 1
    Debug.Print "  " & IIf(good, "pass", "FAIL") & "  " & what & ": " & detail
End Sub

Private Sub WaitMilliseconds(ByVal milliseconds As Long)
    Dim start As Single
    start = Timer
    Do While (Timer - start) * 1000 < milliseconds And Timer >= start
        DoEvents
    Loop
End Sub
