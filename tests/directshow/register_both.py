#!/usr/bin/env python3
"""Registers the 64-bit and the 32-bit component beside each other with regsvr32 and removes them one by one.

    register_both.py

Each bitness has keys of its own and must not touch the other's, but for the type library, whose key they share. Exit status 77 (skipped) when one of the two builds is
not there.
"""

import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
READER = "{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}"
PATTERN = r"Media Type\{73646976-0000-0010-8000-00AA00389B71}\{59524754-0000-0010-8000-00AA00389B71}"
LIBRARY = r"TypeLib\{E2B7DDB7-38C5-11D5-91F6-00104BDB8FF9}\1.0\0"
BUILDS = {64: ROOT / "build/win64/filter/directshow/TVDicRd2.ax", 32: ROOT / "build/win32/filter/directshow/TVDicRd2.ax"}
TOOLS = {64: "regsvr32", 32: r"C:\windows\syswow64\regsvr32.exe"}


def wine(*command):
    done = subprocess.run([str(ROOT / "scripts/wine-run"), *map(str, command)], capture_output=True, text=True, timeout=120)
    return done.returncode, done.stdout


def states():
    """What is registered for each bitness: whether there is a server, the byte pattern, the library of its kind."""
    keys = [(bits, key) for bits in BUILDS
            for key in (rf"CLSID\{READER}\InprocServer32", PATTERN, rf"{LIBRARY}\win{bits}")]
    # A key that is there is told by its full name.
    with tempfile.NamedTemporaryFile("w", suffix=".bat") as batch:
        batch.write("@echo off\n")
        batch.writelines(f'echo question\nreg query "HKCR\\{key}" /ve /reg:{bits}\n' for bits, key in keys)
        batch.flush()
        answers = wine("cmd", "/c", "Z:" + batch.name.replace("/", "\\"))[1].split("question")[1:]
    found = ["HKEY_CLASSES_ROOT" in answer for answer in answers]
    return {64: tuple(found[:3]), 32: tuple(found[3:])}


def main():
    if not all(path.exists() for path in BUILDS.values()):
        print("needs the builds win32 and win64")
        return 77
    problems = []

    everything, nothing = (True, True, True), (False, False, False)

    def step(arguments, bits, of64, of32):
        status, text = wine(TOOLS[bits], "/s", *arguments, BUILDS[bits])
        if status != 0:
            problems.append(f"regsvr32 {arguments} of {bits} bits: status {status} {text}")
        if (now := states()) != {64: of64, 32: of32}:
            problems.append(f"after regsvr32 {arguments} of {bits} bits: {now}")

    step([], 64, everything, nothing)
    step([], 32, everything, everything)
    step([], 32, everything, everything)  # once more is no error
    # Removing always names the 32-bit library, a 64-bit component's its own too.
    step(["/u"], 64, nothing, (True, True, False))
    step(["/u"], 64, nothing, (True, True, False))  # nothing to remove is no error
    step([], 32, nothing, everything)
    step(["/u"], 32, nothing, nothing)
    print("\n".join(problems) or "both registered and removed")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
