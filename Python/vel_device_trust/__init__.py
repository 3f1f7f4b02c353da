# SPDX-License-Identifier: Apache-2.0
"""Posture checks for this machine: a thin layer over the C interface of the library.

    import vel_device_trust

    request = {"mac": [{"type": "minimumOSVersion", "version": "12"}]}
    result = vel_device_trust.Runner().run(request)
    passed = result.get("pass") is True and len(result["checks"]) == len(request["mac"])

The library is loaded when it is first needed, not when the module is imported.
"""

from __future__ import annotations

import atexit
import ctypes
import enum
import functools
import itertools
import json
import sys
import threading
import weakref
from collections.abc import Callable, Mapping
from typing import Any, NamedTuple

__all__ = ["DESCRIBED_LIBRARY", "LIBRARY", "Logger", "LogLevel", "LogMessage", "Runner", "version"]

#: The library that is loaded if no other path is given, found as the system finds shared libraries.
LIBRARY = ("vel_device_trust.framework/vel_device_trust" if sys.platform == "darwin"
           else "libvel_device_trust.so.1")

#: The library with described Macs, for `Runner.described`.
DESCRIBED_LIBRARY = ("libvel_device_trust_described.1.dylib" if sys.platform == "darwin"
                     else "libvel_device_trust_described.so.1")


class LogLevel(enum.IntEnum):
    """Levels of log messages. The library never filters by level: the logger decides."""

    TRACE = 0
    """One line per item inside a loop over many items."""
    INFORMATION = 1
    """Inputs and outputs of a request, the start of each check, values read from the system."""
    WARNING = 2
    """Something suspicious that does not stop the check."""
    ERROR = 3
    """A failure to carry out work."""


class LogMessage(NamedTuple):
    """One message of the library. All but `level` and `text` are for display only."""

    level: LogLevel
    text: str
    file: str
    function: str
    line: int


Logger = Callable[[LogMessage], object]
"""What receives the library's messages. See `Runner`."""

_LogFunction = ctypes.CFUNCTYPE(
    None, ctypes.c_void_p, ctypes.POINTER(ctypes.c_char), ctypes.c_size_t, ctypes.c_int64,
    ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int32)
_ReleaseFunction = ctypes.CFUNCTYPE(None, ctypes.c_void_p)


class _Registered(NamedTuple):
    library: ctypes.CDLL
    logger: Logger


# The loggers that a library may still call, by the context that it hands back with a message.
_loggers: dict[int, _Registered] = {}
_next_context = itertools.count(1)
_logger_released = threading.Condition()
_exiting = False


class _Requests(threading.local):
    """For each request under way on a thread, the innermost last: what its logger raised."""

    def __init__(self) -> None:
        self.failures: list[list[BaseException]] = []


_requests = _Requests()


@_LogFunction
def _log(context: int, message: Any, length: int, level: int, file: bytes, function: bytes,
         line: int) -> None:
    try:
        _loggers[context].logger(LogMessage(
            LogLevel(level), ctypes.string_at(message, length).decode(), file.decode(),
            function.decode(), line))
    except BaseException as failure:
        if not _requests.failures:
            raise  # a request of somebody else in this process: goes to sys.unraisablehook
        _requests.failures[-1].append(failure)


@_ReleaseFunction
def _release(context: int) -> None:
    del _loggers[context]
    with _logger_released:
        _logger_released.notify_all()


def _create(library: ctypes.CDLL, logger: Logger | None,
            make: Callable[..., int | None]) -> int | None:
    """What `make` makes of the three arguments that stand for the logger: a runner or None."""
    if logger is None or _exiting:
        return make(_LogFunction(), None, _ReleaseFunction())
    context = next(_next_context)
    _loggers[context] = _Registered(library, logger)
    return make(_log, context, _release)


# Python ends daemon threads when it exits. In the middle of a message that would unwind the
# library's frames, and abort the process: no message may be under way by then.
@atexit.register
def _stop_logging() -> None:
    global _exiting
    _exiting = True
    for library in {id(it.library): it.library for it in list(_loggers.values())}.values():
        library.vel_runner_free(_create(library, None, library.vel_runner_create))
    with _logger_released:
        _logger_released.wait_for(lambda: not _loggers, timeout=10)


@functools.lru_cache(maxsize=None)
def _load(path: str) -> ctypes.CDLL:
    library = ctypes.CDLL(path)
    library.vel_version.argtypes = []
    library.vel_version.restype = ctypes.c_char_p
    library.vel_runner_create.argtypes = [_LogFunction, ctypes.c_void_p, _ReleaseFunction]
    library.vel_runner_create.restype = ctypes.c_void_p
    library.vel_runner_run.argtypes = [
        ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(ctypes.c_size_t)]
    library.vel_runner_run.restype = ctypes.c_void_p
    library.vel_result_free.argtypes = [ctypes.c_void_p]
    library.vel_result_free.restype = None
    library.vel_runner_free.argtypes = [ctypes.c_void_p]
    library.vel_runner_free.restype = None
    return library


def version(library: str = LIBRARY) -> str:
    """The version of the library, such as "1.0.0". Raises `OSError` if it cannot be loaded."""
    text: bytes = _load(library).vel_version()
    return text.decode()


class Runner:
    """Runs requests on this machine, with all check types of the library.

    A runner may be used by several threads at once; other Python threads run meanwhile. It is
    freed when nothing refers to it any more.

    `logger` becomes the logger of the whole process, also for runners made earlier, and outlives
    the runner; None switches logging off. It is called on the thread that runs the request, on
    several threads at once if several run requests, and may run requests itself. If it raises an
    exception, `run` raises the first one when the request has ended. If the request was not run
    from Python, the exception goes to `sys.unraisablehook`.

    `library` is the path of the library, absolute or found as the system finds shared libraries.
    A relative path with a folder keeps it from finding its helper programs.

    Raises `OSError` if the library cannot be loaded, `MemoryError` if there is no memory.
    """

    def __init__(self, logger: Logger | None = None, *, library: str = LIBRARY) -> None:
        loaded = _load(library)
        handle = _create(loaded, logger, loaded.vel_runner_create)
        if not handle:
            raise MemoryError
        self._own(loaded, handle)

    @classmethod
    def described(cls, machine: Mapping[str, Any], logger: Logger | None = None, *,
                  library: str = DESCRIBED_LIBRARY) -> Runner:
        """A runner for the Mac that `machine` describes, for tests of hosts.

        `machine` is a machine description, see the schema machine-description. The runner asks
        nothing of this machine, and its results are the same on every run. The library with
        described Macs has a logger of its own, separate from that of `Runner`.

        Raises `ValueError` with what is wrong with the description and where, `OSError` if the
        library cannot be loaded (Debian has it in libvel-device-trust-dev).
        """
        try:
            loaded = _load(library)
            create = loaded.vel_described_runner_create
        except (OSError, AttributeError) as failure:
            raise OSError(f"described Macs need the library {library}: {failure}") from failure
        create.argtypes = [ctypes.c_char_p, ctypes.c_size_t, _LogFunction, ctypes.c_void_p,
                           _ReleaseFunction, ctypes.POINTER(ctypes.c_void_p)]
        create.restype = ctypes.c_void_p
        text = json.dumps(dict(machine), allow_nan=False).encode()
        error = ctypes.c_void_p()
        handle = _create(loaded, logger, lambda *log: create(text, len(text), *log, error))
        if not handle:
            if not error.value:
                raise MemoryError
            message = ctypes.string_at(error.value).decode()
            loaded.vel_result_free(error)
            raise ValueError(message)
        runner = cls.__new__(cls)
        runner._own(loaded, handle)
        return runner

    def _own(self, library: ctypes.CDLL, handle: int) -> None:
        self._library = library
        self._handle = handle
        # Not at exit: a daemon thread may still be running a request.
        weakref.finalize(self, library.vel_runner_free, handle).atexit = False

    def run(self, request: Mapping[str, Any]) -> dict[str, Any]:
        """Runs a request and returns its result.

        A request that the library refuses gives a result with the single key "error". A
        device-trust result has "pass": true for a request without checks: compare the length of
        "checks" with that of the request. In an entry look for "error" before "pass".

        Raises `TypeError`, `ValueError` or `RecursionError` for a request that JSON cannot
        express, and the first exception that the logger raised.
        """
        result: dict[str, Any] = json.loads(
            self.run_document(json.dumps(dict(request), allow_nan=False).encode()))
        return result

    def run_document(self, document: bytes) -> bytes:
        """Runs a request document and returns the result document, both JSON in UTF-8.

        `document` is passed on unchanged; one that is not valid gives an error result. Raises the
        first exception that the logger raised.
        """
        failures: list[BaseException] = []
        length = ctypes.c_size_t()
        _requests.failures.append(failures)
        try:
            result = self._library.vel_runner_run(
                self._handle, document, len(document), ctypes.byref(length))
        finally:
            _requests.failures.pop()
        try:
            answer = ctypes.string_at(result, length.value)
        finally:
            self._library.vel_result_free(result)
        if failures:
            raise failures[0]
        return answer
