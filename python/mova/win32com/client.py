"""Dispatch and its relatives, for the one class that there is: MovaCmdSvr.VeCmdManager."""
from __future__ import annotations

from typing import Any, Optional

from ..automation import VARIANT, VeCmdManager

__all__ = ["Dispatch", "DispatchEx", "DispatchWithEvents", "WithEvents", "VARIANT", "gencache", "dynamic"]

_PROG_ID = "movacmdsvr.vecmdmanager"


def _check(prog_id: str) -> None:
    name = prog_id.lower()
    if name != _PROG_ID and not (name.startswith(_PROG_ID + ".") and name[len(_PROG_ID) + 1:].isdigit()):
        raise ValueError(f"there is no class {prog_id}, only MovaCmdSvr.VeCmdManager")


def Dispatch(dispatch: str, userName: Optional[str] = None, resultCLSID: Any = None, typeinfo: Any = None,
             clsctx: int = 0) -> VeCmdManager:
    """A new object."""
    _check(dispatch)
    return VeCmdManager()


def DispatchEx(clsid: str, machine: Optional[str] = None, *_: Any) -> VeCmdManager:
    """A new object, as Dispatch gives; there is no other machine."""
    if machine is not None:
        raise ValueError("objects are on this machine alone")
    return Dispatch(clsid)


def WithEvents(disp: VeCmdManager, user_event_class: type) -> Any:
    """An instance of the class whose method OnOnCpGetMovaCnf(lType, lParam, bstrDataBuffer) is called for each event, on the
    background thread. The events come as long as the instance or the object lives; close() ends them."""
    sink = type("Events", (user_event_class,), {})()
    handler = getattr(sink, "OnOnCpGetMovaCnf", None)
    if handler is not None:
        disp.Advise(handler)

    def close() -> None:
        if handler is not None:
            disp.Unadvise(handler)

    sink.close = close
    return sink


def DispatchWithEvents(clsid: str, user_event_class: type) -> Any:
    """A new object that is an instance of the class as well, and whose events go to its own methods."""
    _check(clsid)
    import weakref

    both = type("VeCmdManagerWithEvents", (VeCmdManager, user_event_class), {})
    instance = both()
    if hasattr(instance, "OnOnCpGetMovaCnf"):
        itself = weakref.ref(instance)  # the object must not keep itself alive

        def told(kind: int, parameter: int, data: str) -> None:
            known = itself()
            if known is not None:
                known.OnOnCpGetMovaCnf(kind, parameter, data)

        instance.Advise(told)
    return instance


class gencache:
    """There is no cache; the names are the same."""

    @staticmethod
    def EnsureDispatch(prog_id: str, bForDemand: int = 1) -> VeCmdManager:
        return Dispatch(prog_id)


class dynamic:
    """Late binding has the same results."""

    @staticmethod
    def Dispatch(prog_id: str, *_: Any) -> VeCmdManager:
        return Dispatch(prog_id)
