#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0

"""A test of a host in Python: whether it lets its user in on Macs that the test describes.

VEL_DEVICE_TRUST_LIBRARY is the absolute path of the library with described Macs, if the system does
not find it.
"""

import ctypes
import json
import os
import unittest

PATH = os.environ.get("VEL_DEVICE_TRUST_LIBRARY", "libvel_device_trust_described.so.1")
LIBRARY = ctypes.CDLL(PATH)
LIBRARY.vel_described_runner_create.argtypes = [
    ctypes.c_char_p, ctypes.c_size_t, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p,
    ctypes.POINTER(ctypes.c_void_p)]
LIBRARY.vel_described_runner_create.restype = ctypes.c_void_p
LIBRARY.vel_runner_run.argtypes = [
    ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(ctypes.c_size_t)]
LIBRARY.vel_runner_run.restype = ctypes.c_void_p
LIBRARY.vel_runner_free.argtypes = [ctypes.c_void_p]
LIBRARY.vel_runner_free.restype = None
LIBRARY.vel_result_free.argtypes = [ctypes.c_void_p]
LIBRARY.vel_result_free.restype = None

REQUEST = b'{"mac": [{"type": "minimumOSVersion", "version": "14.0"}]}'


def lets_in(run):
    """The host under test: `run` answers a request document, of this machine or of a described one."""
    result = json.loads(run(REQUEST))
    # A request without checks passes: before giving access, make sure that there were some.
    return bool(result.get("checks")) and result["pass"]


class DescribedMac:
    def __init__(self, description):
        text = json.dumps(description).encode()
        error = ctypes.c_void_p()
        self.runner = LIBRARY.vel_described_runner_create(
            text, len(text), None, None, None, ctypes.byref(error))
        if not self.runner:
            message = ctypes.string_at(error.value).decode() if error.value else "out of memory"
            LIBRARY.vel_result_free(error)
            raise ValueError(message)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        LIBRARY.vel_runner_free(self.runner)

    def run(self, request):
        result = LIBRARY.vel_runner_run(self.runner, request, len(request), None)
        try:
            return ctypes.string_at(result)
        finally:
            LIBRARY.vel_result_free(result)


class HostTest(unittest.TestCase):
    def test_new_system_is_let_in(self):
        with DescribedMac({"productVersion": "14.5"}) as mac:
            self.assertTrue(lets_in(mac.run))

    def test_old_and_unknown_systems_are_kept_out(self):
        for description in ({"productVersion": "13.6"}, {}):
            with DescribedMac(description) as mac:
                self.assertFalse(lets_in(mac.run), description)

    def test_mistake_in_the_description(self):
        with self.assertRaisesRegex(ValueError, '^unknown key "productversion"$'):
            DescribedMac({"productversion": "14.5"})


if __name__ == "__main__":
    unittest.main()
