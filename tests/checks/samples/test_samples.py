#!/usr/bin/env python3
"""What samples.py has to find: each mistake is planted in one line of a sample."""
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
from samples import ENUMERATIONS, INTERFACE, Samples  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[3]


class Planted(unittest.TestCase):
    def found(self, name, old, new):
        with tempfile.TemporaryDirectory() as folder:
            tree = pathlib.Path(folder)
            for path in (INTERFACE, ENUMERATIONS, name):
                (tree / path).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / path, tree / path)
            text = (tree / name).read_text()
            self.assertEqual(text.count(old), 1, old)
            (tree / name).write_text(text.replace(old, new))
            return Samples(tree).check()

    def finds(self, words, name, old, new):
        failures = self.found(name, old, new)
        self.assertEqual(len(failures), 1, failures)
        self.assertIn(words, failures[0])

    def test_sound_samples_are_left_alone(self):
        self.assertEqual(self.found("samples/vba/Station.bas", "WaitMilliseconds 300", "WaitMilliseconds 301"), [])

    def test_names_that_there_are_not(self):
        self.finds("there is no SendAtCmd", "samples/vbscript/station.vbs", 'handset.SendNormalAtCmd(0, "")', 'handset.SendAtCmd(0, "")')
        self.finds("there is no SendAtCmd", "samples/jscript/station.js", 'handset.SendNormalAtCmd(0, "")', 'handset.SendAtCmd(0, "")')
        self.finds("there is no SendAtCmd", "samples/powershell/station.ps1", "handset.SendNormalAtCmd(", "handset.SendAtCmd(")
        self.finds("there is no SendAtCmd", "samples/python/station.py", "handset.SendNormalAtCmd(", "handset.SendAtCmd(")
        self.finds("there is no Baud", "samples/vba/Station.bas", "handset.BaudRate = 115200", "handset.Baud = 115200")
        self.finds("SendAtCmd", "samples/csharp/Station.cs", "handset.SendNormalAtCmd(", "handset.SendAtCmd(")

    def test_case_counts_in_jscript_and_python(self):
        self.finds("there is no wiFiAction", "samples/jscript/station.js", "handset.WiFiAction(", "handset.wiFiAction(")
        self.finds("there is no readE2PObject", "samples/python/station.py", "handset.ReadE2PObject(", "handset.readE2PObject(")
        self.assertEqual(self.found("samples/vba/Station.bas", "handset.ReadE2PObject(", "handset.readE2Pobject("), [])

    def test_wrong_numbers_of_arguments(self):
        self.finds("SwitchOperateMode takes 3 arguments, not 2", "samples/vba/Station.bas", "SwitchOperateMode movaModeSynchronousOk, 0, code", "SwitchOperateMode movaModeSynchronousOk, 0")
        self.finds("SpecificInfo takes 4 arguments, not 3", "samples/vbscript/station.vbs", 'SpecificInfo(question, 0, "", answer)', 'SpecificInfo(question, "", answer)')
        self.finds("VbSetAtCmdProperty takes 2 arguments, not 1", "samples/jscript/station.js", "VbSetAtCmdProperty(101, 0)", "VbSetAtCmdProperty(101)")
        self.finds("GetNormalAtResult takes 1 arguments, not 2", "samples/python/station.py", "GetNormalAtResult(2)", "GetNormalAtResult(2, 0)")
        self.finds("error CS1501", "samples/csharp/Station.cs", "ReadE2PObject(0x7777, 1, out data)", "ReadE2PObject(0x7777, out data)")

    def test_names_of_numbers_that_there_are_not(self):
        self.finds("there is no number movaCollectWhole", "samples/vba/Station.bas", "movaCollectWholeRecord", "movaCollectWhole")
        self.finds("error CS0117", "samples/csharp/Station.cs", "movaCollectWholeRecord", "movaCollectWhole")
        self.finds("error CS0103", "samples/csharp/Station.cs", "MovaMode.", "MovaModes.")
        self.finds("there is no number movaCollectWhole", "samples/cpp/early_bound.cpp", "movaCollectWholeRecord", "movaCollectWhole")
        self.finds("there is no number movaModeNight", "samples/python/station.py", "MODE_WAIT_FOR_OK = 3",
                   "MODE_WAIT_FOR_OK = win32com.client.constants.movaModeNight")
        self.finds("there is no number movaModeNight", "samples/powershell/station.ps1", "SwitchOperateMode(3,",
                   "SwitchOperateMode([MOVACMDSVRLib.MovaMode]::movaModeNight,")
        self.finds("VBScript has no name movaModeSynchronousOk", "samples/vbscript/station.vbs", "SwitchOperateMode 3,", "SwitchOperateMode movaModeSynchronousOk,")
        self.assertEqual(self.found("samples/vba/Station.bas", "movaCollectWholeRecord", "movaCollectWholerecord"), [])

    def test_results_and_references(self):
        self.finds("GetNormalAtResult gives 3 results, not 2", "samples/python/station.py", "code, length, answer = handset", "length, answer = handset")
        self.finds("RfGeneralTestReq: $code for pulResult", "samples/powershell/station.ps1", "0x0102, [ref]$code", "0x0102, $code")
        self.finds("error CS1620", "samples/csharp/Station.cs", "0x0102, out code", "0x0102, code")
        self.finds("error CS1503", "samples/csharp/Station.cs", "out length, out answer", "out code, out answer")

    def test_what_the_languages_refuse(self):
        self.finds("error CS1525", "samples/csharp/Station.cs", "Thread.Sleep(300);", "Thread.Sleep(300;")
        self.finds("undefined name 'clock'", "samples/python/station.py", "time.sleep(0.3)", "time.sleep(clock)")
        self.finds("was never closed", "samples/python/station.py", "time.sleep(0.3)", "time.sleep(0.3")


if __name__ == "__main__":
    unittest.main()
