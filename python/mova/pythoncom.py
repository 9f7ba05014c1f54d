"""What a test station uses of the module of the same name on Windows: types of arrays, and calls that have nothing to do
here, because events come on the background thread."""
from __future__ import annotations

import time

from .automation import VT_ARRAY, VT_BYREF, VT_UI1, VT_UI2, VT_VARIANT

__all__ = ["VT_ARRAY", "VT_BYREF", "VT_UI1", "VT_UI2", "VT_VARIANT", "Missing", "Empty", "CoInitialize", "CoUninitialize",
           "PumpWaitingMessages"]

Missing = None  #: in place of an out-argument
Empty = None


def CoInitialize() -> None:
    """Does nothing."""


def CoUninitialize() -> None:
    """Does nothing."""


def PumpWaitingMessages() -> int:
    """Lets the background thread run."""
    time.sleep(0)
    return 0
