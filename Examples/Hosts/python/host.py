#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0

"""A host in Python: passes a request to the library and prints the verdict.

    host.py REQUEST.json

Exit status: 0 passed, 1 did not pass, 2 no result.
"""

import json
import sys

from vel_device_trust import LogLevel, Runner


def print_warning(message):
    """Prints warnings and errors; the other levels are for troubleshooting."""
    if message.level >= LogLevel.WARNING:
        print("log:", message.text, file=sys.stderr)


def print_checks(checks):
    for check in checks:
        # An entry of the request can have a "pass" of its own: look for the error first.
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
    result = json.loads(Runner(print_warning).run_document(request))
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
