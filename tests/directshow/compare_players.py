#!/usr/bin/env python3
"""Plays every sample file with the 32-bit and the 64-bit player and compares what they delivered.

    compare_players.py

A sample's log line holds its times, flags, length and a hash of its bytes: the two logs must be the same line by line.
Files that are refused must be refused by both with exit status 1 and one message. Exit status 77 (skipped) when one of
the two builds is not there.
"""

import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
NOT_VIDEO = {"mpeg2-generated.dcm"}  # pulled by a parser of the system, no samples of ours
NATIVE = ("bare-", "be-", "cine-", "implicit-", "le-", "rle-")  # files that need no codec: these must play


def play(preset, file):
    build = ROOT / "build" / preset
    command = [ROOT / "scripts/wine-run", build / "tools/dicplay.exe", "--server",
               build / "filter/directshow/TVDicRd2.ax", "--null", "--no-clock", "--log-samples", file]
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, timeout=300)
    return done.returncode, done.stdout.splitlines()


def check(file):
    results = {preset: play(preset, file) for preset in ("win32", "win64")}
    status, lines = results["win64"]
    if results["win32"] != results["win64"]:
        different = [pair for pair in zip(results["win32"][1], lines) if pair[0] != pair[1]]
        return f"32 and 64 bits differ: status {results['win32'][0]} and {status}, {different[:2]}"
    if not file.name.startswith(NATIVE) and status == 1:
        return None if len(lines) == 1 else f"refused with more than one message: {lines}"
    samples = [line for line in lines if line.startswith("sample ")]
    summary = next((line for line in lines if line.startswith("played ")), "no summary")
    frames = f"played {len(samples)} frames ({len(samples)} in the file, 0 dropped)"
    return None if status == 0 and samples and summary.startswith(frames) else f"status {status}, {lines[-3:]}"


def main():
    if not all((ROOT / "build" / preset / "tools/dicplay.exe").exists() for preset in ("win32", "win64")):
        print("needs the builds win32 and win64")
        return 77
    files = sorted((ROOT / "tests/data/samples").glob("*.dcm")) + [ROOT / "assets/cine-us.dcm"]
    problems = 0
    for file in files:
        if file.name in NOT_VIDEO:
            continue
        problem = check(file)
        print(f"{file.name}: {problem or 'same'}")
        problems += problem is not None
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
