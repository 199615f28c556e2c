#!/usr/bin/env python3
"""Checks of what the builds made: exported names and imported libraries. Prints one line a check, as check_tree.py.

    scripts/check_component.py native|win32|win64
"""

import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build"

PLAIN = ["fltLoadBufferCMP", "fltSaveBufferCMP", "fltJ2KDecompressFrame"]
# The decoration is part of the name in both bitnesses: hosts look the functions up with it.
DECORATED = ["_fltLoadBufferCMP@36", "_fltSaveBufferCMP@36", "_fltJ2KDecompressFrame@12"]
SERVER = ["DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"]
# Libraries of every Windows; anything else would have to be shipped with the component.
SYSTEM_LIBRARIES = {"advapi32.dll", "comctl32.dll", "comdlg32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll",
                    "ole32.dll", "oleaut32.dll", "shell32.dll", "user32.dll", "version.dll", "winmm.dll"}


def report(state, name, detail=""):
    print(f"{state} {name}" + (f" {detail}" if detail else ""))
    return state != "fail"


def compare(name, found, expected):
    missing, extra = sorted(set(expected) - set(found)), sorted(set(found) - set(expected))
    if missing or extra:
        return report("fail", name, f"missing: {missing}, not expected: {extra}")
    return report("pass", name)


def check_file(name, file, exports=None):
    """Imports and protection of one file that is handed out, and its exports where they are given."""
    if not file.exists():
        return report("skip", name, f"{file.name} is not built")
    dump = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", file], check=True, capture_output=True,
                          text=True).stdout
    good = True
    if exports is not None:
        table = dump.split("[Ordinal/Name Pointer] Table", 1)
        found = re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+)?(?:[0-9a-f]+\s+)?(\S+)$",
                           table[1].split("\n\n")[0], re.MULTILINE) if len(table) == 2 else []
        good = compare(f"{name}.exports", found, exports)
    foreign = sorted({library.lower() for library in re.findall(r"DLL Name: (\S+)", dump)} - SYSTEM_LIBRARIES)
    good = report("fail" if foreign else "pass", f"{name}.imports", f"not part of the system: {foreign}" if foreign else "") \
        and good
    # Placed at random (which needs the table of what to adjust), and no data run as code.
    missing = [text for text in ("DYNAMIC_BASE", "NX_COMPAT", "Base Relocations") if text not in dump]
    return report("fail" if missing else "pass", f"{name}.protection", f"missing: {missing}" if missing else "") and good


def check_windows(preset):
    servers, tools = BUILD / preset / "filter/directshow", BUILD / preset / "tools"
    return all([check_file(preset, servers / "TVDicRd2.ax", DECORATED + SERVER),
                check_file(f"{preset}.grey", servers / "TVGreyDisplay.ax", SERVER),
                check_file(f"{preset}.dicplay", tools / "dicplay.exe"),
                check_file(f"{preset}.talvdicom", tools / "talvdicom/talvdicom.exe")])


def check_native():
    found = sorted((BUILD / "native").rglob("libtalvcodecs.so"))
    if not found:
        return report("skip", "native.exports", "libtalvcodecs.so is not built")
    symbols = subprocess.run(["nm", "-D", "--defined-only", found[0]], check=True, capture_output=True, text=True).stdout
    # Weak symbols are the language's own (inline functions, type names); every library repeats them.
    names = [line.split()[-1] for line in symbols.splitlines() if line.split()[-2] in "TDBR"]
    return compare("native.exports", names, PLAIN)


if __name__ == "__main__":
    if len(sys.argv) != 2 or sys.argv[1] not in ("native", "win32", "win64"):
        sys.exit(__doc__)
    sys.exit(0 if (check_native() if sys.argv[1] == "native" else check_windows(sys.argv[1])) else 1)
