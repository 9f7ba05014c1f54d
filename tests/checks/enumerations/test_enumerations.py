#!/usr/bin/env python3
"""What enumerations.py has to find: each mistake is planted in one line."""
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
from enumerations import ENUMERATIONS, NUMBERS, REFERENCE, Enumerations, texts_of  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[3]
LIBRARY = sys.argv.pop(1)


class Planted(unittest.TestCase):
    def found(self, name, old, new):
        with tempfile.TemporaryDirectory() as folder:
            tree = pathlib.Path(folder)
            for path in (NUMBERS, ENUMERATIONS, REFERENCE):
                (tree / path).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / path, tree / path)
            text = (tree / name).read_text()
            self.assertEqual(text.count(old), 1, old)
            (tree / name).write_text(text.replace(old, new))
            return Enumerations(tree, texts_of(LIBRARY)).check()

    def finds(self, words, name, old, new):
        failures = self.found(name, old, new)
        self.assertTrue(any(words in failure for failure in failures), failures)

    def test_a_sound_tree_is_left_alone(self):
        self.assertEqual(self.found(ENUMERATIONS, "movaModeEvents = 1", "movaModeEvents = 0x1"), [])

    def test_numbers_that_differ(self):
        self.finds("movaModeEvents is 6, not 1", ENUMERATIONS, "movaModeEvents = 1", "movaModeEvents = 6")
        self.finds("movaModeEvents is 1, not 6", NUMBERS, "MOVA_MODE_EVENTS = 1,", "MOVA_MODE_EVENTS = 6,")
        self.finds("movaInputWholeStatus is 1, not -1", ENUMERATIONS, "movaInputWholeStatus = -1", "movaInputWholeStatus = 1")

    def test_numbers_on_one_side_alone(self):
        self.finds("movaModeNight: src", NUMBERS, "MOVA_MODE_EVENTS = 1,", "MOVA_MODE_EVENTS = 1, MOVA_MODE_NIGHT = 9,")
        self.finds("movaModeEvent: include", ENUMERATIONS, "movaModeEvents = 1", "movaModeEvent = 1")
        self.finds("movaDeviceModem: include", ENUMERATIONS, "movaDeviceSerial = 0", 'movaDeviceSerial = 0, [helpstring("x")] movaDeviceModem = 1')

    def test_members_elsewhere_and_twice(self):
        self.finds("movaOutputRts is in MovaAccess, not in MovaOutputSignal", ENUMERATIONS, "movaAccessRead = 0,",
                   'movaAccessRead = 0, [helpstring("x")] movaOutputRts = 0,')
        self.finds("movaModeevents is there twice", ENUMERATIONS, "movaModeEvents = 1",
                   'movaModeEvents = 1, [helpstring("x")] movaModeevents = 1')

    def test_texts(self):
        self.finds("movaCodeNoAnswer: 'no answer', not 'no (accepted) answer within the time'", ENUMERATIONS,
                   "no (accepted) answer within the time", "no answer")
        self.finds("movaModeEvents has no help text", ENUMERATIONS,
                   '[helpstring("A background thread; told as events; every look at the port ends an answer")] movaModeEvents', "movaModeEvents")

    def test_the_reference(self):
        self.finds("movaModeEvents is 1, not 2", REFERENCE, "`movaModeEvents` 1", "`movaModeEvents` 2")
        self.finds("does not list movaModeEvents", REFERENCE, "`movaModeEvents` 1, ", "")
        self.finds("there is no movaModeEvent", REFERENCE, "`movaModeEvents` 1", "`movaModeEvent` 1")
        self.finds("does not list movaCodeNoAnswer", REFERENCE, "| `movaCodeNoAnswer` |", "| |")
        self.finds("movaCodeNoAnswer is 16388, not 16389", REFERENCE, "`movaCodeWriteTimeout`", "`movaCodeNoAnswer`")
        self.finds("does not list MovaTrace", REFERENCE, "`MovaTrace`", "`MovaTraces`")


if __name__ == "__main__":
    unittest.main()
