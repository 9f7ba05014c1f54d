"""Stands in for the package of the same name on Windows, as far as a test station needs it:

    from mova import win32com

in place of "import win32com.client", and the rest of the script runs on Linux.
"""
from . import client

__all__ = ["client"]
