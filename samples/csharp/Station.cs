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

    // Events come on the component's thread; a single-threaded apartment gets them there directly.
    [STAThread]
    static int Main(string[] arguments)
    {
        var handset = new VeCmdManager();
        handset.CommPortId = arguments.Length > 0 ? int.Parse(arguments[0]) : 1;
        handset.BaudRate = 115200;
        uint code;
        handset.InitCmdManager(0, out code);
        Step("open the port", code == 0, code);

        Step("an AT command is sent", handset.SendNormalAtCmd(0, "AT+CGMI") == 0, "");
        Thread.Sleep(300);
        int length;
        string answer;
        Step("its answer", handset.GetNormalAtResult(2, out length, out answer) == 0 && length > 0, answer);

        handset.SwitchOperateMode(3, 0, out code);   // requests wait for the handset's OK
        handset.RfGeneralTestReq(5, 0x0102, out code);
        Step("RF test", code == 0, code);
        int remained, error;
        string confirmation;
        handset.FetchQueuedCnfTextItem(out remained, out length, out error, out confirmation);
        Step("its confirmation", length == 8, confirmation);

        string data;
        int result = handset.ReadE2PObject(0x7777, 1, out data);
        Step("no such object", result == 0x8202, result);
        handset.ResetCmdManager(0, out code);
        Step("close the port", code == 0, code);
        Console.WriteLine(failures == 0 ? "VERDICT: PASS" : "VERDICT: FAIL");
        return failures;
    }
}
