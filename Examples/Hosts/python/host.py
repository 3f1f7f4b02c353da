#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0

"""A host in Python: uses the C interface of the library and needs no package.

    host.py REQUEST.json

VEL_DEVICE_TRUST_LIBRARY is the absolute path of the library, if the system does not find it.
Exit status: 0 passed, 1 did not pass, 2 no result.
"""

import ctypes
import json
import os
import sys

LogFunction = ctypes.CFUNCTYPE(
    None, ctypes.c_void_p, ctypes.POINTER(ctypes.c_char), ctypes.c_size_t, ctypes.c_int64,
    ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int32)
ReleaseFunction = ctypes.CFUNCTYPE(None, ctypes.c_void_p)
LOG_WARNING = 2


@LogFunction
def log_error(_context, message, length, level, _file, _function, _line):
    """Prints warnings and errors. The library can call it until the process exits."""
    if level >= LOG_WARNING:
        print("log:", ctypes.string_at(message, length).decode(), file=sys.stderr)


class Library:
    """The functions of the C interface that this host uses."""

    def __init__(self, path):
        library = ctypes.CDLL(path)
        self.create = library.vel_runner_create
        self.create.argtypes = [LogFunction, ctypes.c_void_p, ReleaseFunction]
        self.create.restype = ctypes.c_void_p
        self.run_request = library.vel_runner_run
        self.run_request.argtypes = [
            ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(ctypes.c_size_t)]
        self.run_request.restype = ctypes.c_void_p
        self.free_result = library.vel_result_free
        self.free_result.argtypes = [ctypes.c_void_p]
        self.free_result.restype = None
        self.free_runner = library.vel_runner_free
        self.free_runner.argtypes = [ctypes.c_void_p]
        self.free_runner.restype = None

    def answer(self, request):
        """The result document of a request document, both in bytes."""
        runner = self.create(log_error, None, ReleaseFunction())
        if not runner:
            raise MemoryError
        length = ctypes.c_size_t()
        result = self.run_request(runner, request, len(request), ctypes.byref(length))
        try:
            return ctypes.string_at(result, length.value)
        finally:
            self.free_result(result)
            self.free_runner(runner)


def print_checks(checks):
    for check in checks:
        # An entry may bring a "pass" of its own, so the error is asked for first.
        outcome = f"error: {check['error']}" if "error" in check else (
            "pass" if check["pass"] else "fail")
        print(f"{check.get('type', '(no type)')}: {outcome}")


def main():
    try:
        with open(sys.argv[1], "rb") as file:
            request = file.read()
    except (IndexError, OSError) as error:
        print(f"usage: host.py REQUEST.json ({error})", file=sys.stderr)
        return 2
    library = Library(os.environ.get("VEL_DEVICE_TRUST_LIBRARY", "libvel_device_trust.so.1"))
    result = json.loads(library.answer(request))
    if "checks" not in result:
        print("not answered:", json.dumps(result), file=sys.stderr)
        return 2
    print_checks(result["checks"])
    # A request without checks passes: before giving access, make sure that there were some.
    passed = result["pass"] and bool(result["checks"])
    print("PASSED" if passed else "NOT PASSED")
    return 0 if passed else 1


if __name__ == "__main__":
    sys.exit(main())
