"""Drives a mobile handset on a serial port: AT commands, the handset's requests, its confirmations.

Handset is the class for new programs. VeCmdManager has the names, arguments and results of the automation object on Windows;
with "from mova import win32com" a station script for Windows runs here.
"""
from ._native import code_name, code_text
from .automation import VARIANT, VeCmdManager
from .handset import AtError, Handset, HandsetError
from .numbers import Code, FlowControl, Info, InputSignal, Mode, OutputSignal, Property, Timeout

__all__ = ["AtError", "Code", "FlowControl", "Handset", "HandsetError", "Info", "InputSignal", "Mode", "OutputSignal",
           "Property", "Timeout", "VARIANT", "VeCmdManager", "code_name", "code_text"]
