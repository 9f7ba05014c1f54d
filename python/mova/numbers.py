"""Names for the numbers of the interface; the library has them, and its header mova/Numbers.h tells what each means."""
import enum

from . import _native

NAMES = ("Code", "Mode", "Timeout", "Property", "Info", "OutputSignal", "InputSignal", "FlowControl")

for _name in NAMES:
    globals()[_name] = enum.IntEnum(_name, _native.numbers[_name], module=__name__)
