"""The library beside this file: loading, calling conventions, statuses, and its one life cycle in a process."""

import atexit
import contextlib
import ctypes
import enum
import os
import pathlib
import sys
import threading
from typing import Any, Dict, Iterator, Tuple, Type

_WINDOWS = sys.platform == "win32"
_PATH = str(pathlib.Path(__file__).with_name("KyvMath.dll" if _WINDOWS else "libKyvMath.so"))

# Both loaders release the interpreter lock during a call. In a 32-bit Windows process the working functions are
# __stdcall and the life-cycle pair is __cdecl; everywhere else the two loaders do the same.
_lifecycle = ctypes.CDLL(_PATH)
_working = getattr(ctypes, "WinDLL" if _WINDOWS else "CDLL")(_PATH)

_image = [ctypes.c_void_p, ctypes.c_int, ctypes.c_int, ctypes.c_int]
_region = [ctypes.c_int] * 4
_working.KyvMathResizeWithRegion.argtypes = [ctypes.c_uint, ctypes.c_int, ctypes.c_int] + _image + _region + _image
_conversions = {(True, False): _working.KyvMathConvertOtfFromPsf, (True, True): _working.KyvMathConvertOtfFromPsf_D,
                (False, False): _working.KyvMathConvertPsfFromOtf, (False, True): _working.KyvMathConvertPsfFromOtf_D}
for _function in _conversions.values():
    _function.argtypes = [ctypes.c_void_p] * 4 + [ctypes.c_int] * 3
for _function in (_lifecycle.KyvMathInitialize, _lifecycle.KyvMathTerminate, _working.KyvMathResizeWithRegion,
                  *_conversions.values()):
    _function.restype = ctypes.c_uint


class Status(enum.IntEnum):
    """What the library answers."""

    OK = 0
    RESIZE_FAILED = 2
    FAILED = 10
    NOT_INITIALIZED = 12
    BAD_ARGUMENT = 96


_MESSAGES: Dict[int, str] = {
    Status.OK: "done",
    Status.RESIZE_FAILED: "the resize was rejected or ran out of memory",
    Status.FAILED: "out of memory",
    Status.NOT_INITIALIZED: "the library is not initialised",
    Status.BAD_ARGUMENT: "a pointer is null, a size is zero or two views do not match",
}


class KyvMathError(Exception):
    """A status other than OK, in `status`. A rejected request is a ValueError as well, missing memory a MemoryError."""

    def __init__(self, status: int):
        super().__init__(_MESSAGES.get(status, f"unknown status {int(status)}"))
        self.status = status

    def __reduce__(self) -> Tuple[Any, ...]:  # so that it travels between processes
        return _error, (int(self.status),)


class _Rejected(KyvMathError, ValueError):
    pass


class _NoMemory(KyvMathError, MemoryError):
    pass


def _error(code: int) -> KyvMathError:
    status = Status(code) if code in _MESSAGES else code
    kinds: Dict[int, Type[KyvMathError]] = {
        Status.RESIZE_FAILED: _Rejected, Status.BAD_ARGUMENT: _Rejected, Status.FAILED: _NoMemory}
    return kinds.get(status, KyvMathError)(status)


def _check(code: int) -> None:
    if code != Status.OK:
        raise _error(code)


class _LifeCycle:
    """Initialisation, counted. The library's own pair is not, and must not overlap any other call: so each running
    call is a user, and from the first call until the interpreter exits this module is one too. The first user
    starts the library, the last one ends it: a thread that still computes at exit keeps it alive."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._users = 0
        atexit.register(self._at_exit)
        if hasattr(os, "register_at_fork"):
            os.register_at_fork(before=self._lock.acquire, after_in_parent=self._lock.release,
                                after_in_child=self._after_in_child)

    def _add_user(self) -> None:
        if self._users == 0:
            _check(_lifecycle.KyvMathInitialize())
            self._users = 1  # the module itself
        self._users += 1

    def _remove_user(self) -> None:
        self._users -= 1
        if self._users == 0:
            _lifecycle.KyvMathTerminate()

    @contextlib.contextmanager
    def call(self) -> Iterator[None]:
        with self._lock:
            self._add_user()
        try:
            yield
        finally:
            with self._lock:
                self._remove_user()

    def _at_exit(self) -> None:
        with self._lock:
            if self._users > 0:
                self._remove_user()

    def _after_in_child(self) -> None:
        """Of the parent's threads, and so of its running calls, only the forking one is there; it is in no call."""
        self._users = min(self._users, 1)
        self._lock.release()


life_cycle = _LifeCycle()


def resize_with_region(*arguments: int) -> None:
    with life_cycle.call():
        _check(_working.KyvMathResizeWithRegion(*arguments))


def convert(forward: bool, double: bool, *arguments: int) -> None:
    with life_cycle.call():
        _check(_conversions[forward, double](*arguments))
