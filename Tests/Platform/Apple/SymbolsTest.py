# SPDX-License-Identifier: Apache-2.0
"""What the Mac's library is compiled from wants nothing that a Mac of the oldest supported version
lacks: no call of Linux alone, none of OpenSSL, no newer part of the C++ library.

usage: SymbolsTest.py NM SOURCE_FOLDER OBJECT_FILE...
"""
import pathlib
import re
import subprocess
import sys

HEADERS = pathlib.Path(__file__).parent / "Include"

# Not in the Mac's library: it has its own platform, certificates and work queue. Of the task there is
# an object that was compiled for the Mac.
FOREIGN_OBJECTS = re.compile(
    r"/Platform/(Linux|X509|Simulated)/|/VELPOSIXWorkQueue\.|vel_objects\.dir/.*/VELPOSIXTask\.")

# Calls of the C library that a Mac has under the same name.
C_LIBRARY = set("""
    abort atoi close dladdr dlopen faccessat fcntl floor free freelocale fstat kill ldexp localeconv
    malloc memchr memcmp memcpy memmove memset modf newlocale open pipe poll pthread_atfork
    pthread_mutex_lock pthread_mutex_unlock pthread_once pow read realloc sigemptyset sigfillset
    snprintf stat strchr strcmp strlen strncmp strnlen strtod strtod_l strtof strtol strtold strtoll
    strtoull uselocale write""".split())

# What compilers and the C++ library put there themselves.
RUNTIME = re.compile(r"_GLOBAL_OFFSET_TABLE_|_Unwind_\w+|__cxa_\w+|__dso_handle|__dynamic_cast|"
                     r"__gxx_personality_v0|__assert_fail|__errno_location|__libc_single_threaded|"
                     r"__stack_chk_fail|__tls_get_addr|_ITM_\w+|__gmon_start__|__isoc\w+")

# Expat and utf8proc come with the library on every system.
LIBRARIES = re.compile(r"XML_\w+|utf8proc_\w+")

NEWER_SYMBOLS = re.compile(
    r"std::(__\w+::)?(from_chars|to_chars)\(.*\b(double|float)\b|std::(__\w+::)?(pmr::|jthread|stop_|"
    r"format|vformat|print|vprint)")
NEWER_NAMES = re.compile(
    r"std::(pmr|format|vformat|print|println|jthread|stop_token|stop_source|source_location)\b|"
    r"#include <(memory_resource|format|print|stop_token|source_location)>")
PORTABLE_FOLDERS = ("Base", "Classes", "Platform", "Tools/vel-posture", "include")


def symbols(tool, option, objects):
    """The names that `nm` lists, as the linker has them."""
    listed = subprocess.run([tool, "--format=just-symbols", option, *objects], check=True,
                            capture_output=True, text=True).stdout
    return {line for line in listed.splitlines() if line and not line.endswith(":")}


def names_of_headers():
    """The calls and constants that the stand-in headers declare."""
    names = set()
    for header in HEADERS.rglob("*Functions.h"):
        text = header.read_text(encoding="utf-8")
        names |= set(re.findall(r"\b(\w+)\(", text))
        names |= set(re.findall(r"^extern const \w+ (\w+);", text, re.MULTILINE))
    return names


def foreign_symbols(tool, objects):
    """Those that a Mac does not have, or not under this name."""
    wanted = symbols(tool, "--undefined-only", objects) - symbols(tool, "--defined-only", objects)
    declared = names_of_headers()
    found = []
    for name in sorted(wanted):
        if name.startswith("_Z"):
            continue
        plain = name.removeprefix("stand_in_")
        is_known = (plain in declared or plain in C_LIBRARY or RUNTIME.fullmatch(plain)
                    or LIBRARIES.fullmatch(plain) or plain == "waitid")
        if not is_known:
            found.append(name)
    demangled = subprocess.run([tool, "--demangle", "--undefined-only", *objects], check=True,
                               capture_output=True, text=True).stdout
    found += sorted({line.split(" U ", 1)[-1] for line in demangled.splitlines()
                     if NEWER_SYMBOLS.search(line)})
    return found


def newer_names(folder):
    """Uses in the sources of what is in headers alone."""
    found = []
    for part in PORTABLE_FOLDERS:
        for path in sorted((folder / part).rglob("*")):
            if path.suffix not in (".h", ".cpp") or "Linux" in path.parts:
                continue
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                if NEWER_NAMES.search(line):
                    found.append(f"{path.relative_to(folder)}:{number}: {line.strip()}")
    return found


def main():
    tool, folder, *objects = sys.argv[1:]
    # Among the objects of a target is its precompiled header.
    objects = [name for name in objects
               if name.endswith(".o") and not FOREIGN_OBJECTS.search(name)]
    assert any("/Platform/Apple/" in name for name in objects), "no object of the Mac's platform"
    found = foreign_symbols(tool, objects) + newer_names(pathlib.Path(folder))
    for name in found:
        print("not on every Mac:", name)
    return int(bool(found))


if __name__ == "__main__":
    sys.exit(main())
