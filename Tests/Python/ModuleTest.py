# SPDX-License-Identifier: Apache-2.0
"""Tests of the Python module, as it is found: the caller sets PYTHONPATH and LD_LIBRARY_PATH, or has
the package installed.

usage: ModuleTest.py [TEST...]
"""

import gc
import json
import subprocess
import sys
import threading
import unittest
import weakref
from unittest import mock

import vel_device_trust
from vel_device_trust import LogLevel, Runner

UNKNOWN = ('Error: Error Domain=com.vel.posturecheck Code=1 UserInfo={"com.vel.posturecheck.'
           'unlocalized-description":"Unknown posture check type: notAType."}')
REQUEST = {"mac": [{"type": "minimumOSVersion", "version": "0"}, {"type": "notAType"}]}


class Answers(unittest.TestCase):
    def test_DeviceTrustRequest(self):
        result = Runner().run(REQUEST)
        self.assertEqual(set(result), {"checks", "pass", "metrics"})
        self.assertEqual(result["checks"], [
            {"type": "minimumOSVersion", "version": "0", "pass": True},
            {"type": "notAType", "error": "Unknown posture check type: notAType."}])
        self.assertIs(result["pass"], False)

    def test_IdentityRequest(self):
        result = Runner().run({"identity_params": []})
        self.assertEqual(result["identity_params"], {})

    def test_RefusedRequestIsAnErrorResult(self):
        self.assertEqual(Runner().run({"mac": [1]}), {"error": "mac[0] is not an object"})

    def test_Document(self):
        answer = Runner().run_document(b'{"identity_params":[]}')
        self.assertEqual(json.loads(answer)["identity_params"], {})
        self.assertEqual(json.loads(Runner().run_document(b"\xff\0"))["error"],
                         json.loads(Runner().run_document(b"\xff"))["error"])

    def test_TextsOfAllKinds(self):
        entry = {"type": "notAType", "text": "é\U0001f34f\0\n\"", "number": 2**63 - 1, "none": None}
        answered = Runner().run({"mac": [entry]})["checks"][0]
        self.assertEqual(answered, {**entry, "error": "Unknown posture check type: notAType."})

    def test_WhatJSONCannotExpressIsRaised(self):
        runner = Runner()
        with self.assertRaises(ValueError):
            runner.run({"mac": [{"type": "notAType", "number": float("nan")}]})
        with self.assertRaises(TypeError):
            runner.run({"mac": [{"type": b"notAType"}]})

    def test_Version(self):
        self.assertRegex(vel_device_trust.version(), r"^1\.\d+\.\d+$")

    def test_MissingLibraryIsNamed(self):
        with self.assertRaisesRegex(OSError, "/nowhere/libvel_device_trust.so.1"):
            Runner(library="/nowhere/libvel_device_trust.so.1")

    def test_RunnerIsFreedWithItsLastReference(self):
        library = vel_device_trust._load(vel_device_trust.LIBRARY)
        with mock.patch.object(library, "vel_runner_free", wraps=library.vel_runner_free) as free:
            runner = Runner()
            handle = runner._handle
            gc.collect()
            free.assert_not_called()
            del runner
            gc.collect()
            free.assert_called_once_with(handle)


class DescribedMachines(unittest.TestCase):
    def described(self, machine, logger=None):
        try:
            vel_device_trust._load(vel_device_trust.DESCRIBED_LIBRARY)
        except OSError as missing:
            self.skipTest(str(missing))
        return Runner.described(machine, logger)

    def test_Answers(self):
        request = {"mac": [{"type": "minimumOSVersion", "version": "14.0"}]}
        for version, passed in (("14.5", True), ("13.6", False)):
            result = self.described({"productVersion": version}).run(request)
            self.assertIs(result["pass"], passed)

    def test_MistakeInTheDescription(self):
        with self.assertRaisesRegex(ValueError, '^unknown key "productversion"$'):
            self.described({"productversion": "14.5"})

    def test_LoggerIsNotThatOfThisMachine(self):
        own, described = [], []
        runner = Runner(own.append)
        self.described({}, described.append).run(REQUEST)
        self.assertEqual(own, [])
        self.assertNotEqual(described, [])
        runner.run({"mac": []})
        self.assertNotEqual(own, [])

    def test_MissingLibraryIsNamed(self):
        with self.assertRaisesRegex(
                OSError, "^described Macs need the library /nowhere/described.so: /nowhere/"):
            Runner.described({}, library="/nowhere/described.so")

    def test_LibraryWithoutDescribedMachinesIsNamed(self):
        with self.assertRaisesRegex(OSError, "vel_described_runner_create"):
            Runner.described({}, library=vel_device_trust.LIBRARY)


class Logging(unittest.TestCase):
    def tearDown(self):
        Runner()  # no logger

    def test_Messages(self):
        messages = []
        Runner(messages.append).run(REQUEST)
        error = [message for message in messages if message.level == LogLevel.ERROR]
        self.assertEqual([message.text for message in error], [UNKNOWN])
        self.assertEqual(error[0].function, "SetPostureCheckError")
        self.assertTrue(error[0].file.startswith("Classes/Shared/"), error[0].file)
        self.assertGreater(error[0].line, 0)
        self.assertIn(LogLevel.INFORMATION, [message.level for message in messages])

    def test_LastLoggerServesAllRunners(self):
        first, second = [], []
        runner = Runner(first.append)
        Runner(second.append)
        gc.collect()
        runner.run(REQUEST)
        self.assertEqual(first, [])
        self.assertNotEqual(second, [])

    def test_ReplacedLoggerIsForgotten(self):
        class Collector:
            def __call__(self, message):
                pass

        collector = Collector()
        reference = weakref.ref(collector)
        Runner(collector)
        del collector
        gc.collect()
        self.assertIsNotNone(reference())
        Runner()
        gc.collect()
        self.assertIsNone(reference())

    def test_ExceptionOfALoggerIsRaisedWhenTheRequestHasEnded(self):
        messages = []

        def failing(message):
            messages.append(message)
            raise KeyError(f"message {len(messages)}")

        with self.assertRaisesRegex(KeyError, "message 1'"):
            Runner(failing).run(REQUEST)
        self.assertGreater(len(messages), 2)

    def test_InterruptOfALoggerIsNotLost(self):
        def interrupted(_message):
            raise KeyboardInterrupt

        with self.assertRaises(KeyboardInterrupt):
            Runner(interrupted).run(REQUEST)

    def test_ExceptionBelongsToTheRequestThatRaisedIt(self):
        inner = []

        def nested(message):
            if message.text == UNKNOWN and not inner:
                inner.append(None)
                inner[0] = Runner().run(REQUEST)["pass"]
                raise LookupError("after the inner request")

        with self.assertRaisesRegex(LookupError, "after the inner request"):
            Runner(nested).run(REQUEST)
        self.assertEqual(inner, [False])

    def test_ExceptionOutsideARequestOfPythonGoesToTheHook(self):
        def failing(_message):
            raise KeyError("nobody to raise it to")

        runner = Runner(failing)
        caught = []
        with mock.patch.object(sys, "unraisablehook", lambda it: caught.append(it.exc_value)):
            result = runner._library.vel_runner_run(runner._handle, b"{}", 2, None)
            runner._library.vel_result_free(result)
        self.assertEqual({str(it) for it in caught}, {"'nobody to raise it to'"})

    def test_ThreadsAtOnce(self):
        messages, results = [], []
        runner = Runner(lambda message: messages.append(threading.current_thread()))

        def work():
            for _ in range(20):
                results.append(runner.run(REQUEST)["checks"][0]["pass"])

        threads = [threading.Thread(target=work) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(results, [True] * 80)
        self.assertEqual(len(set(messages)), 4)

    def test_ExitWithALoggerAndARequestUnderWay(self):
        program = (
            "import threading, vel_device_trust as v\n"
            "started = threading.Event()\n"
            "runner = v.Runner(lambda message: started.set())\n"
            "def work():\n"
            "    while True: runner.run({'mac': [{'type': 'notAType'}]})\n"
            "threading.Thread(target=work, daemon=True).start()\n"
            "started.wait()\n")
        ended = subprocess.run([sys.executable, "-c", program], stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True)
        self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "", ""))


if __name__ == "__main__":
    unittest.main()
