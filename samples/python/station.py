"""A first station in Python: open, an AT command, a request, a confirmation, an error, close.

On Windows, where the component must be registered in Python's own bitness:

    py -m pip install pywin32
    py station.py [port number]

On Linux, with the Python module mova; port n is the link /dev/COMn:

    python3 station.py [port number]
"""
import sys
import time

try:
    import win32com.client
except ImportError:
    from mova import win32com

MODE_WAIT_FOR_OK = 3


def main(port):
    failures = 0

    def step(what, good, detail=""):
        nonlocal failures
        failures += not good
        print(f"  {'pass' if good else 'FAIL'}  {what}: {detail}")

    # EnsureDispatch reads the type library: out-parameters come back as a tuple, the return value first.
    handset = win32com.client.gencache.EnsureDispatch("MovaCmdSvr.VeCmdManager")
    handset.CommPortId = port
    handset.BaudRate = 115200
    code = handset.VbInitCmdManager(0)
    step("open the port", code == 0, hex(code))

    step("an AT command is sent", handset.SendNormalAtCmd(0, "AT+CGMI") == 0)
    time.sleep(0.3)
    code, length, answer = handset.GetNormalAtResult(2)
    step("its answer", code == 0 and length > 0, answer)

    handset.VbSwitchOperateMode(MODE_WAIT_FOR_OK, 0)
    step("RF test", handset.RfGeneralTestReq(5, 0x0102) == 0)
    remained, length, error, confirmation = handset.FetchQueuedCnfTextItem()
    step("its confirmation", length == 8, confirmation)

    code, _ = handset.ReadE2PObject(0x7777, 1)
    step("no such object", code == 0x8202, hex(code))
    step("close the port", handset.ProprietaryCloseComPort(0) == 0)
    print("VERDICT:", "FAIL" if failures else "PASS")
    return failures


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1]) if len(sys.argv) > 1 else 1))
