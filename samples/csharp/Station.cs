// A first station in C#: open, an AT command, a request, a confirmation, an error, close.
//
//   tlbimp MovaCmdSvr.dll /out:MOVACMDSVRLib.dll
//   csc /platform:x64 /reference:MOVACMDSVRLib.dll Station.cs       (or add a COM reference in the project)
//   Station.exe [port number]
using System;
using System.Threading;
using MOVACMDSVRLib;

static class Station
{
    static int failures;

    static void Step(string what, bool good, object detail)
    {
        if (!good) failures++;
        Console.WriteLine("  {0}  {1}: {2}", good ? "pass" : "FAIL", what, detail);
    }

    static bool Succeeded(uint code)
    {
        return code == (uint)MovaCode.movaCodeSuccess;
    }

    // Events come on the component's thread; a single-threaded apartment gets them there directly.
    [STAThread]
    static int Main(string[] arguments)
    {
        var handset = new VeCmdManager();
        handset.CommPortId = arguments.Length > 0 ? int.Parse(arguments[0]) : 1;
        handset.BaudRate = 115200;
        uint code;
        handset.InitCmdManager(0, out code);
        Step("open the port", Succeeded(code), code);

        Step("an AT command is sent", Succeeded((uint)handset.SendNormalAtCmd(0, "AT+CGMI")), "");
        Thread.Sleep(300);
        int length;
        string answer;
        int collected = handset.GetNormalAtResult((int)MovaCollect.movaCollectWholeRecord, out length, out answer);
        Step("its answer", Succeeded((uint)collected) && length > 0, answer);

        // Requests wait for the handset's OK.
        handset.SwitchOperateMode((uint)MovaMode.movaModeSynchronousOk, 0, out code);
        handset.RfGeneralTestReq(5, 0x0102, out code);
        Step("RF test", Succeeded(code), code);
        int remained, error;
        string confirmation;
        handset.FetchQueuedCnfTextItem(out remained, out length, out error, out confirmation);
        Step("its confirmation", length == 8, confirmation);

        string data;
        int result = handset.ReadE2PObject(0x7777, 1, out data);
        Step("no such object", result == (int)MovaCode.movaCodeE2pStatus3, result);
        handset.ResetCmdManager(0, out code);
        Step("close the port", Succeeded(code), code);
        Console.WriteLine(failures == 0 ? "VERDICT: PASS" : "VERDICT: FAIL");
        return failures;
    }
}
